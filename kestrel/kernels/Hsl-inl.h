// The colour model of Hsl.h on vectors of doubles: the same operations in the same order, so the same bits.
#if defined(KESTREL_KERNELS_HSL_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_HSL_INL_H
#undef KESTREL_KERNELS_HSL_INL_H
#else
#define KESTREL_KERNELS_HSL_INL_H
#endif
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Three vectors of one kind: hue, lightness, saturation, or the bytes 0..255 of blue, green, red as doubles.
template <class V>
struct HslLanes {
    V hue;
    V lightness;
    V saturation;
};
template <class V>
struct BgrLanes {
    V blue;
    V green;
    V red;
};

template <class D, class V = hn::Vec<D>>
HWY_INLINE HslLanes<V> RgbToHslLanes(D d, BgrLanes<V> p) {
    const V full = hn::Set(d, 255.0);
    const V r = hn::Div(p.red, full);
    const V g = hn::Div(p.green, full);
    const V b = hn::Div(p.blue, full);
    const V max = hn::Max(hn::Max(r, g), b);
    const V min = hn::Min(hn::Min(r, g), b);
    const V sum = hn::Add(max, min);
    const V spread = hn::Sub(max, min);
    const V two = hn::Set(d, 2.0);
    const V lightness = hn::Div(sum, two);
    const auto grey = hn::Eq(max, min);
    const V base = hn::IfThenElse(hn::Le(lightness, hn::Set(d, 0.5)), sum, hn::Sub(two, sum));
    const auto redMax = hn::Eq(r, max);
    const auto greenMax = hn::Eq(g, max);
    const V difference = hn::IfThenElse(redMax, hn::Sub(g, b), hn::IfThenElse(greenMax, hn::Sub(b, r), hn::Sub(r, g)));
    const V start = hn::IfThenElseZero(hn::Not(redMax), hn::IfThenElse(greenMax, two, hn::Set(d, 4.0)));
    V hue = hn::Mul(hn::Add(start, hn::Div(difference, spread)), hn::Set(d, 60.0));
    hue = hn::IfThenElse(hn::Lt(hue, hn::Zero(d)), hn::Add(hue, hn::Set(d, 360.0)), hue);
    return {hn::IfThenZeroElse(grey, hue), lightness, hn::IfThenZeroElse(grey, hn::Div(spread, base))};
}

/// Back to channels scaled to 255, as doubles that are still to be truncated.
template <class D, class V = hn::Vec<D>>
HWY_INLINE BgrLanes<V> HslToRgbLanes(D d, HslLanes<V> c) {
    const V one = hn::Set(d, 1.0);
    const V full = hn::Set(d, 255.0);
    const V m1 = hn::IfThenElse(hn::Le(c.lightness, hn::Set(d, 0.5)), hn::Mul(hn::Sub(one, c.saturation), c.lightness),
                                hn::Sub(c.lightness, hn::Mul(hn::Sub(one, c.lightness), c.saturation)));
    const V m2 = hn::Sub(hn::Mul(hn::Set(d, 2.0), c.lightness), m1);
    const V hue = hn::IfThenZeroElse(hn::Ge(c.hue, hn::Set(d, 360.0)), c.hue);
    const V h = hn::Div(hue, hn::Set(d, 60.0));
    const V spread = hn::Sub(m2, m1);
    const auto below1 = hn::Lt(h, one);
    const auto below2 = hn::Lt(h, hn::Set(d, 2.0));
    const auto below3 = hn::Lt(h, hn::Set(d, 3.0));
    const auto below4 = hn::Lt(h, hn::Set(d, 4.0));
    const auto below5 = hn::Lt(h, hn::Set(d, 5.0));
    // The one channel that lies between m1 and m2: spread * (distance from the sextant's end) + m1.
    const V distance =
        hn::IfThenElse(below1, h,
                       hn::IfThenElse(below2, hn::Sub(hn::Set(d, 2.0), h),
                                      hn::IfThenElse(below3, hn::Sub(h, hn::Set(d, 2.0)),
                                                     hn::IfThenElse(below4, hn::Sub(hn::Set(d, 4.0), h),
                                                                    hn::IfThenElse(below5, hn::Sub(h, hn::Set(d, 4.0)),
                                                                                   hn::Sub(hn::Set(d, 6.0), h))))));
    const V between = hn::Add(hn::Mul(spread, distance), m1);
    const V red = hn::IfThenElse(
        below1, m2, hn::IfThenElse(below2, between, hn::IfThenElse(below4, m1, hn::IfThenElse(below5, between, m2))));
    const V green = hn::IfThenElse(below1, between, hn::IfThenElse(below3, m2, hn::IfThenElse(below4, between, m1)));
    const V blue = hn::IfThenElse(below2, m1, hn::IfThenElse(below3, between, hn::IfThenElse(below5, m2, between)));
    const auto grey = hn::Le(c.saturation, hn::Set(d, 0.000001));
    return {hn::Mul(hn::IfThenElse(grey, c.lightness, blue), full),
            hn::Mul(hn::IfThenElse(grey, c.lightness, green), full),
            hn::Mul(hn::IfThenElse(grey, c.lightness, red), full)};
}

/// Doubles that fit 32 bits, truncated.
template <class D, class V>
HWY_INLINE V TruncateLanes(D d, V value) {
    const hn::Rebind<std::int32_t, D> d32;
    return hn::PromoteTo(d, hn::DemoteTo(d32, value));
}

/// Pixels that are taken apart at once: their planes and what is made of them stay in the nearest cache.
constexpr std::size_t kChunk = 192;

/// Blue, green, red of a chunk of pixels, and what becomes of them. Read and written at other places, so that no wide
/// load waits for narrow stores that were made just before.
struct ChunkPlanes {
    HWY_ALIGN std::uint8_t from[3][kChunk];
    HWY_ALIGN std::uint8_t to[3][kChunk];
};

/// Pixels by chunks: `chunk(planes, pixels)` makes `to` from `from` for a multiple of 16 pixels, `plain(Bgr)` does one
/// pixel.
template <class Chunk, class Plain>
void MapChunks(Row row, [[maybe_unused]] const Chunk& chunk, const Plain& plain) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    constexpr std::size_t kBlock = 16;
    const hn::FixedTag<std::uint8_t, kBlock> block;
    ChunkPlanes planes;
    for (std::size_t left = row.size() / (3 * kBlock) * kBlock; left > 0;) {
        const std::size_t pixels = left < kChunk ? left : kChunk;
        std::uint8_t* const bytes = row.data() + i;
        for (std::size_t k = 0; k < pixels; k += kBlock) {
            hn::Vec<decltype(block)> blue, green, red;
            hn::LoadInterleaved3(block, bytes + 3 * k, blue, green, red);
            hn::Store(blue, block, planes.from[0] + k);
            hn::Store(green, block, planes.from[1] + k);
            hn::Store(red, block, planes.from[2] + k);
        }
        chunk(planes, pixels);
        for (std::size_t k = 0; k < pixels; k += kBlock)
            hn::StoreInterleaved3(hn::Load(block, planes.to[0] + k), hn::Load(block, planes.to[1] + k),
                                  hn::Load(block, planes.to[2] + k), block, bytes + 3 * k);
        i += 3 * pixels;
        left -= pixels;
    }
#endif
    MapPixels(row.subspan(i), plain);
}

/// Bytes of three planes as doubles.
template <class D>
HWY_INLINE BgrLanes<hn::Vec<D>> WidenLanes(D d, const std::uint8_t (&planes)[3][kChunk], std::size_t at) {
    const hn::Rebind<std::int32_t, D> d32;
    const hn::Rebind<std::uint8_t, D> d8;
    return {hn::PromoteTo(d, hn::PromoteTo(d32, hn::LoadU(d8, planes[0] + at))),
            hn::PromoteTo(d, hn::PromoteTo(d32, hn::LoadU(d8, planes[1] + at))),
            hn::PromoteTo(d, hn::PromoteTo(d32, hn::LoadU(d8, planes[2] + at)))};
}

/// The low bytes of doubles whose truncation fits 32 bits.
template <class D, class V>
HWY_INLINE void NarrowLanes(D /*d*/, V value, std::uint8_t* to) {
    const hn::Rebind<std::int32_t, D> d32;
    const hn::Rebind<std::uint8_t, D> d8;
    hn::StoreU(hn::DemoteTo(d8, hn::And(hn::DemoteTo(d32, value), hn::Set(d32, 255))), d8, to);
}

/// Pixels as vectors of doubles: `wide(d, BgrLanes)` returns channels whose truncation fits 32 bits and whose low byte
/// is the result, `plain(Bgr)` does one pixel.
template <class Wide, class Plain>
void MapDoubles(Row row, const Wide& wide, const Plain& plain) {
    const hn::ScalableTag<double> d;
    const auto chunk = [&](ChunkPlanes& planes, std::size_t pixels) HWY_ATTR {
        for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
            const auto out = wide(d, WidenLanes(d, planes.from, k));
            NarrowLanes(d, out.blue, planes.to[0] + k);
            NarrowLanes(d, out.green, planes.to[1] + k);
            NarrowLanes(d, out.red, planes.to[2] + k);
        }
    };
    MapChunks(row, chunk, plain);
}

/// Pixels by their hue, lightness and saturation: `change(d, HslLanes&)` changes them, `plain(Bgr)` does one pixel.
/// Each of the three loops has chains short enough that several vectors are under way at once. With `keepsGreys`
/// pixels without saturation stay as they are.
template <class Change, class Plain>
void MapHsl(Row row, [[maybe_unused]] bool keepsGreys, const Change& change, const Plain& plain) {
    const hn::ScalableTag<double> d;
    const auto chunk = [&](ChunkPlanes& planes, std::size_t pixels) HWY_ATTR {
        HWY_ALIGN double hue[kChunk];
        HWY_ALIGN double lightness[kChunk];
        HWY_ALIGN double saturation[kChunk];
        using V = hn::Vec<decltype(d)>;
        for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
            const auto hsl = RgbToHslLanes(d, WidenLanes(d, planes.from, k));
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
            HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            const auto grey = hn::Eq(hsl.saturation, hn::Zero(d));
            change(d, hsl);
            if (keepsGreys) hsl.saturation = hn::IfThenElse(grey, hn::Set(d, -1.0), hsl.saturation);
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
            const HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            auto out = HslToRgbLanes(d, hsl);
            if (keepsGreys) {
                const auto kept = hn::Lt(hsl.saturation, hn::Zero(d));
                const auto old = WidenLanes(d, planes.from, k);
                out.blue = hn::IfThenElse(kept, old.blue, out.blue);
                out.green = hn::IfThenElse(kept, old.green, out.green);
                out.red = hn::IfThenElse(kept, old.red, out.red);
            }
            NarrowLanes(d, out.blue, planes.to[0] + k);
            NarrowLanes(d, out.green, planes.to[1] + k);
            NarrowLanes(d, out.red, planes.to[2] + k);
        }
    };
    MapChunks(row, chunk, plain);
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
