// The colour model of Hsl.h on vectors of doubles: the same operations in the same order, so the same bits.
#if defined(KESTREL_KERNELS_HSL_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_HSL_INL_H
#undef KESTREL_KERNELS_HSL_INL_H
#else
#define KESTREL_KERNELS_HSL_INL_H
#endif
#include "kestrel/kernels/WidenLanes-inl.h"

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

/// Bytes divided by 255.
template <class D, class V>
HWY_INLINE V ShareLanes(D d, V byte) {
    return hn::Add(hn::Mul(byte, hn::Set(d, kShareHigh)), hn::Mul(byte, hn::Set(d, kShareLow)));
}

/// The lightness alone: of two channels, since a share grows with its byte.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V LightnessLanes(D d, BgrLanes<V> p) {
    const V max = ShareLanes(d, hn::Max(hn::Max(p.red, p.green), p.blue));
    const V min = ShareLanes(d, hn::Min(hn::Min(p.red, p.green), p.blue));
    return hn::Mul(hn::Add(max, min), hn::Set(d, 0.5));
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE HslLanes<V> RgbToHslLanes(D d, BgrLanes<V> p) {
    const V r = ShareLanes(d, p.red);
    const V g = ShareLanes(d, p.green);
    const V b = ShareLanes(d, p.blue);
    const V max = hn::Max(hn::Max(r, g), b);
    const V min = hn::Min(hn::Min(r, g), b);
    const V sum = hn::Add(max, min);
    const V spread = hn::Sub(max, min);
    const V two = hn::Set(d, 2.0);
    const V lightness = hn::Mul(sum, hn::Set(d, 0.5));
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

/// The lower and the upper of the values that channels of a lightness and a saturation lie between.
template <class V>
struct ChannelRange {
    V lower;
    V upper;
};
template <class D, class V>
HWY_INLINE ChannelRange<V> ChannelRangeLanes(D d, V lightness, V saturation) {
    const V one = hn::Set(d, 1.0);
    const V lower = hn::IfThenElse(hn::Le(lightness, hn::Set(d, 0.5)), hn::Mul(hn::Sub(one, saturation), lightness),
                                   hn::Sub(lightness, hn::Mul(hn::Sub(one, lightness), saturation)));
    return {lower, hn::Sub(hn::Mul(hn::Set(d, 2.0), lightness), lower)};
}

/// Colours of one hue and saturation, of which only the lightness varies from pixel to pixel.
class OneHue {
public:
    OneHue(double hue, double saturation) : saturation_(saturation), grey_(saturation <= 0.000001) {
        const double h = (hue >= 360 ? 0.0 : hue) / 60;
        const int sextant = h < 1 ? 0 : h < 2 ? 1 : h < 3 ? 2 : h < 4 ? 3 : h < 5 ? 4 : 5;
        const int even = (sextant + 1) / 2 * 2;
        distance_ = sextant % 2 == 0 ? h - even : even - h;
        // Which of the lower, the upper and the one between blue, green and red are.
        constexpr int kParts[6][3] = {{0, 2, 1}, {0, 1, 2}, {2, 1, 0}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}};
        for (int i = 0; i < 3; ++i) parts_[i] = kParts[sextant][i];
    }
    /// Channels scaled to 255, as doubles that are still to be truncated.
    template <class D, class V>
    HWY_INLINE BgrLanes<V> operator()(D d, V lightness) const {
        const V full = hn::Set(d, 255.0);
        if (grey_) {
            const V all = hn::Mul(lightness, full);
            return {all, all, all};
        }
        const auto range = ChannelRangeLanes(d, lightness, V{hn::Set(d, saturation_)});
        const V between = hn::Add(hn::Mul(hn::Sub(range.upper, range.lower), hn::Set(d, distance_)), range.lower);
        const V values[3] = {hn::Mul(range.lower, full), hn::Mul(range.upper, full), hn::Mul(between, full)};
        return {values[parts_[0]], values[parts_[1]], values[parts_[2]]};
    }

private:
    double saturation_;
    double distance_;
    int parts_[3];
    bool grey_;
};

/// Back to channels scaled to 255, as doubles that are still to be truncated, for hues of 0 and more.
template <class D, class V = hn::Vec<D>>
HWY_INLINE BgrLanes<V> HslToRgbLanes(D d, HslLanes<V> c) {
    const V one = hn::Set(d, 1.0);
    const V full = hn::Set(d, 255.0);
    const V two = hn::Set(d, 2.0);
    const auto range = ChannelRangeLanes(d, c.lightness, c.saturation);
    const auto grey = hn::Le(c.saturation, hn::Set(d, 0.000001));
    const V m1 = hn::IfThenElse(grey, c.lightness, range.lower);
    const V m2 = hn::IfThenElse(grey, c.lightness, range.upper);
    const V hue = hn::IfThenZeroElse(hn::Ge(c.hue, hn::Set(d, 360.0)), c.hue);
    const V h = hn::Div(hue, hn::Set(d, 60.0));
    const auto below1 = hn::Lt(h, one);
    const auto below2 = hn::Lt(h, two);
    const auto below3 = hn::Lt(h, hn::Set(d, 3.0));
    const auto below4 = hn::Lt(h, hn::Set(d, 4.0));
    const auto below5 = hn::Lt(h, hn::Set(d, 5.0));
    // The one channel that lies between m1 and m2 goes by the distance to the nearest of 0, 2, 4, 6. Doubles of this
    // size are even; half way between two both are as far.
    const V even = hn::Set(d, 0x1.8p53);
    const V distance = hn::Abs(hn::Sub(h, hn::Sub(hn::Add(h, even), even)));
    const V between = hn::Add(hn::Mul(hn::Sub(m2, m1), distance), m1);
    const V red = hn::IfThenElse(
        below1, m2, hn::IfThenElse(below2, between, hn::IfThenElse(below4, m1, hn::IfThenElse(below5, between, m2))));
    const V green = hn::IfThenElse(below1, between, hn::IfThenElse(below3, m2, hn::IfThenElse(below4, between, m1)));
    const V blue = hn::IfThenElse(below2, m1, hn::IfThenElse(below3, between, hn::IfThenElse(below5, m2, between)));
    return {hn::Mul(blue, full), hn::Mul(green, full), hn::Mul(red, full)};
}

#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
/// Pixels that are taken apart at once, and of these the ones that are doubles at the same time: both stay in the
/// nearest cache.
constexpr std::size_t kPart = 576;
constexpr std::size_t kChunk = 192;
/// Pixels come in multiples of this.
constexpr std::size_t kBlock = 16;

/// Blue, green, red of a part of a row, and what becomes of them. Read and written at other places, so that no wide
/// load waits for narrow stores that were made just before.
struct PartPlanes {
    HWY_ALIGN std::uint8_t from[3][kPart];
    HWY_ALIGN std::uint8_t to[3][kPart];
};

/// Pixels by parts: `part(planes, pixels, at)` makes `to` from `from` for a multiple of `kBlock` pixels of the row,
/// from `at` on, `plain(Bgr)` does one pixel.
template <class Part, class Plain>
void MapParts(Row row, Part part, Plain plain) {
    std::size_t i = 0;
    const hn::FixedTag<std::uint8_t, kBlock> small;
    const hn::ScalableTag<std::uint8_t> large;
    PartPlanes planes;
    for (std::size_t left = row.size() / (3 * kBlock) * kBlock; left > 0;) {
        const std::size_t pixels = left < kPart ? left : kPart;
        std::uint8_t* const bytes = row.data() + i;
        const auto split = [&](auto d8, std::size_t k) HWY_ATTR {
            hn::Vec<decltype(d8)> blue, green, red;
            hn::LoadInterleaved3(d8, bytes + 3 * k, blue, green, red);
            hn::Store(blue, d8, planes.from[0] + k);
            hn::Store(green, d8, planes.from[1] + k);
            hn::Store(red, d8, planes.from[2] + k);
        };
        const auto join = [&](auto d8, std::size_t k) HWY_ATTR {
            hn::StoreInterleaved3(hn::Load(d8, planes.to[0] + k), hn::Load(d8, planes.to[1] + k),
                                  hn::Load(d8, planes.to[2] + k), d8, bytes + 3 * k);
        };
        const std::size_t end = pixels / hn::Lanes(large) * hn::Lanes(large);
        for (std::size_t k = 0; k < end; k += hn::Lanes(large)) split(large, k);
        for (std::size_t k = end; k < pixels; k += kBlock) split(small, k);
        part(planes, pixels, i / 3);
        for (std::size_t k = 0; k < end; k += hn::Lanes(large)) join(large, k);
        for (std::size_t k = end; k < pixels; k += kBlock) join(small, k);
        i += 3 * pixels;
        left -= pixels;
    }
    MapPixels(row.subspan(i), plain);
}

/// Bytes of three planes as doubles.
template <class D>
HWY_INLINE BgrLanes<hn::Vec<D>> WidenLanes(D d, const std::uint8_t (&planes)[3][kPart], std::size_t at) {
    return {WidenLanes(d, planes[0] + at), WidenLanes(d, planes[1] + at), WidenLanes(d, planes[2] + at)};
}

/// The low bytes of two vectors of doubles whose truncation fits 32 bits.
template <class D, class V>
HWY_INLINE void NarrowLanes(D /*d*/, V first, V second, std::uint8_t* to) {
    const hn::Rebind<std::int32_t, D> half;
    const hn::Twice<decltype(half)> d32;
    const hn::Rebind<std::uint8_t, decltype(d32)> d8;
    const auto both = hn::Combine(d32, hn::DemoteTo(half, second), hn::DemoteTo(half, first));
    hn::StoreU(hn::DemoteTo(d8, hn::And(both, hn::Set(d32, 255))), d8, to);
}

/// Pairs of vectors of doubles: `make(at)` returns the channels of the pixels from `at` on, as `NarrowLanes` takes
/// them.
template <class D, class Make>
HWY_INLINE void NarrowPlanes(D d, PartPlanes& planes, std::size_t first, std::size_t end, const Make& make) {
    for (std::size_t k = first; k < end; k += 2 * hn::Lanes(d)) {
        const auto one = make(k);
        const auto two = make(k + hn::Lanes(d));
        NarrowLanes(d, one.blue, two.blue, planes.to[0] + k);
        NarrowLanes(d, one.green, two.green, planes.to[1] + k);
        NarrowLanes(d, one.red, two.red, planes.to[2] + k);
    }
}

/// The pixels of a part by their hue, lightness and saturation: `change(d, HslLanes&)` changes them. Each of the three
/// loops has chains short enough that several vectors are under way at once. With `keepsGreys` pixels without
/// saturation stay as they are.
template <class Change>
HWY_INLINE void ChangeHsl(PartPlanes& planes, std::size_t pixels, bool keepsGreys, const Change& change) {
    const hn::ScalableTag<double> d;
    using V = hn::Vec<decltype(d)>;
    HWY_ALIGN double hue[kChunk];
    HWY_ALIGN double lightness[kChunk];
    HWY_ALIGN double saturation[kChunk];
    for (std::size_t first = 0; first < pixels; first += kChunk) {
        const std::size_t count = pixels - first < kChunk ? pixels - first : kChunk;
        for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
            const auto hsl = RgbToHslLanes(d, WidenLanes(d, planes.from, first + k));
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
            HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            const auto grey = hn::Eq(hsl.saturation, hn::Zero(d));
            change(d, hsl);
            if (keepsGreys) hsl.saturation = hn::IfThenElse(grey, hn::Set(d, -1.0), hsl.saturation);
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        NarrowPlanes(d, planes, first, first + count, [&](std::size_t at) HWY_ATTR {
            const std::size_t k = at - first;
            const HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            auto out = HslToRgbLanes(d, hsl);
            if (keepsGreys) {
                const auto kept = hn::Lt(hsl.saturation, hn::Zero(d));
                const auto old = WidenLanes(d, planes.from, at);
                out.blue = hn::IfThenElse(kept, old.blue, out.blue);
                out.green = hn::IfThenElse(kept, old.green, out.green);
                out.red = hn::IfThenElse(kept, old.red, out.red);
            }
            return out;
        });
    }
}

/// The pixels of a part that an estimate could not decide.
class OpenPixels {
public:
    /// Adds the lanes of `which`, the first of which is pixel `at`.
    template <class D>
    HWY_INLINE void Add(D d, hn::Mask<D> which, std::size_t at) {
        std::uint8_t bits[8];
        hn::StoreMaskBits(d, which, bits);
        const hn::CappedTag<std::int32_t, 8> numbers;
        for (std::size_t i = 0; i < hn::Lanes(d); i += hn::Lanes(numbers)) {
            const std::uint8_t set = bits[i / 8];
            const auto lanes =
                hn::PromoteTo(numbers, hn::LoadU(hn::Rebind<std::uint8_t, decltype(numbers)>(), kSetBits[set].data()));
            hn::StoreU(hn::Add(lanes, hn::Set(numbers, static_cast<std::int32_t>(at + i))), numbers, pixels_ + count_);
            count_ += hwy::PopCount(set);
        }
    }
    std::size_t Count() const { return count_; }
    std::size_t operator[](std::size_t i) const { return static_cast<std::size_t>(pixels_[i]); }

private:
    std::size_t count_ = 0;
    std::int32_t pixels_[kPart + 8];  // whole vectors are stored
};

/// Pixels by an estimate that is far cheaper than the exact form: `estimate(planes, pixels, open)` makes the pixels
/// whose bytes it is sure of and adds the others to `open`, `exact(planes, pixels)` does these, and whole parts where
/// the estimate leaves so many that collecting them would not pay. `plain(Bgr)` does one pixel.
template <class Estimate, class Exact, class Plain>
void MapEstimated(Row row, const Estimate& estimate, const Exact& exact, Plain plain) {
    constexpr std::size_t kUnpaid = 9;  // parts that are done without an estimate after one that did not pay
    std::size_t unpaid = 0;
    PartPlanes few{};
    const auto part = [&](PartPlanes& planes, std::size_t pixels, std::size_t /*at*/) HWY_ATTR {
        if (unpaid > 0) {
            --unpaid;
            return exact(planes, pixels);
        }
        OpenPixels open;
        estimate(planes, pixels, open);
        if (open.Count() > pixels * 3 / 8) {
            unpaid = kUnpaid;
            return exact(planes, pixels);
        }
        if (open.Count() == 0) return;
        for (std::size_t channel = 0; channel < 3; ++channel)
            for (std::size_t k = 0; k < open.Count(); ++k) few.from[channel][k] = planes.from[channel][open[k]];
        exact(few, (open.Count() + kBlock - 1) / kBlock * kBlock);  // the last ones are left from before
        for (std::size_t channel = 0; channel < 3; ++channel)
            for (std::size_t k = 0; k < open.Count(); ++k) planes.to[channel][open[k]] = few.to[channel][k];
    };
    MapParts(row, part, plain);
}

/// Estimates of channels are floats in units of 1 / 1024 above `kWholeFloats`, from where on floats are whole numbers,
/// so that the last addition rounds them. Where they are less than half a unit from what the exact form computes, the
/// byte is sure unless the unit is the first of a byte.
constexpr int kUnitBits = 10;
constexpr float kUnits = 1 << kUnitBits;
constexpr float kWholeFloats = 1 << 23;

/// Stores the bytes of estimates of 0..255 for the pixels from `at` on; returns the lanes that are not sure.
template <class D, class DI = hn::RebindToSigned<D>>
HWY_INLINE hn::Mask<DI> CutEstimates(D /*d*/, BgrLanes<hn::Vec<D>> units, PartPlanes& planes, std::size_t at) {
    const hn::RebindToUnsigned<DI> du;
    const hn::Rebind<std::uint8_t, D> d8;
    const auto cut = [&](auto channel, std::uint8_t* to) HWY_ATTR {
        const auto whole = hn::BitCast(du, channel);
        const auto byte = hn::And(hn::ShiftRight<kUnitBits>(whole), hn::Set(du, 255));
        hn::StoreU(hn::U8FromU32(byte), d8, to + at);
        return hn::And(whole, hn::Set(du, (1 << kUnitBits) - 1));
    };
    const auto blue = cut(units.blue, planes.to[0]);
    const auto green = cut(units.green, planes.to[1]);
    const auto red = cut(units.red, planes.to[2]);
    return hn::RebindMask(DI(), hn::Eq(hn::Min(hn::Min(blue, green), red), hn::Zero(du)));
}

/// Bytes of three planes as floats.
template <class D>
HWY_INLINE BgrLanes<hn::Vec<D>> FloatLanes(D d, const std::uint8_t (&planes)[3][kPart], std::size_t at) {
    const auto widen = [&](const std::uint8_t* bytes) HWY_ATTR {
        return hn::ConvertTo(
            d, hn::PromoteTo(hn::RebindToSigned<D>(), hn::LoadU(hn::Rebind<std::uint8_t, D>(), bytes + at)));
    };
    return {widen(planes[0]), widen(planes[1]), widen(planes[2])};
}
#endif

/// Pixels as vectors of doubles: `wide(d, BgrLanes, at)` returns channels whose truncation fits 32 bits and whose low
/// byte is the result, for the pixels of the row from `at` on, `plain(Bgr)` does one pixel.
template <class Wide, class Plain>
void MapDoubles(Row row, [[maybe_unused]] Wide wide, Plain plain) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    const hn::ScalableTag<double> d;
    const auto part = [&](PartPlanes& planes, std::size_t pixels, std::size_t at) HWY_ATTR {
        NarrowPlanes(d, planes, 0, pixels,
                     [&](std::size_t k) HWY_ATTR { return wide(d, WidenLanes(d, planes.from, k), at + k); });
    };
    MapParts(row, part, plain);
#endif
}

/// Pixels by their hue, lightness and saturation, as `ChangeHsl` takes them; `plain(Bgr)` does one pixel.
template <class Change, class Plain>
void MapHsl(Row row, [[maybe_unused]] bool keepsGreys, [[maybe_unused]] Change change, Plain plain) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    const auto part = [&](PartPlanes& planes, std::size_t pixels, std::size_t /*at*/)
                          HWY_ATTR { ChangeHsl(planes, pixels, keepsGreys, change); };
    MapParts(row, part, plain);
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
