// Rows that are taken apart into planes, part by part: runners for rules in doubles, and for rules in which a cheaper
// estimate decides most pixels.
#if defined(KESTREL_KERNELS_PARTS_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_PARTS_INL_H
#undef KESTREL_KERNELS_PARTS_INL_H
#else
#define KESTREL_KERNELS_PARTS_INL_H
#endif
#include "kestrel/kernels/Rows-inl.h"
#include "kestrel/kernels/WidenLanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Vectors of the bytes 0..255 of blue, green, red as floats or doubles.
template <class V>
struct BgrLanes {
    V blue;
    V green;
    V red;
};

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

/// Steps over a multiple of `kBlock` bytes: `step(d, k)` does the vector from byte `k` on.
template <class Step>
HWY_INLINE void ForBytes(std::size_t size, const Step& step) {
    const hn::ScalableTag<std::uint8_t> large;
    const hn::FixedTag<std::uint8_t, kBlock> small;
    std::size_t k = 0;
    for (; k + hn::Lanes(large) <= size; k += hn::Lanes(large)) step(large, k);
    for (; k < size; k += kBlock) step(small, k);
}

/// Pixels by parts: `part(planes, pixels)` makes `to` from `from` for a multiple of `kBlock` pixels, `plain(Bgr)` does
/// one pixel.
template <class Part, class Plain>
void MapParts(Row row, const Part& part, const Plain& plain) {
    PartPlanes planes;
    std::size_t i = 0;
    for (std::size_t left = row.size() / (3 * kBlock) * kBlock; left > 0;) {
        const std::size_t pixels = left < kPart ? left : kPart;
        std::uint8_t* const bytes = row.data() + i;
        ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
            hn::Vec<decltype(d)> blue, green, red;
            hn::LoadInterleaved3(d, bytes + 3 * k, blue, green, red);
            hn::Store(blue, d, planes.from[0] + k);
            hn::Store(green, d, planes.from[1] + k);
            hn::Store(red, d, planes.from[2] + k);
        });
        part(planes, pixels);
        ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
            hn::StoreInterleaved3(hn::Load(d, planes.to[0] + k), hn::Load(d, planes.to[1] + k),
                                  hn::Load(d, planes.to[2] + k), d, bytes + 3 * k);
        });
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

/// The integer luminances of the pixels of a part.
HWY_INLINE void MeasureLuminance(const PartPlanes& planes, std::size_t pixels, std::uint8_t* luminance) {
    ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
        const hn::RepartitionToWide<decltype(d)> d16;
        const auto blue = hn::Load(d, planes.from[0] + k);
        const auto green = hn::Load(d, planes.from[1] + k);
        const auto red = hn::Load(d, planes.from[2] + k);
        const auto even =
            LuminanceLanes(d16, ByteOfLanes<0>(d16, blue), ByteOfLanes<0>(d16, green), ByteOfLanes<0>(d16, red));
        const auto odd =
            LuminanceLanes(d16, ByteOfLanes<1>(d16, blue), ByteOfLanes<1>(d16, green), ByteOfLanes<1>(d16, red));
        hn::Store(hn::Or(LanesToByte<0>(d16, even), LanesToByte<1>(d16, odd)), d, luminance + k);
    });
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
    const auto part = [&](PartPlanes& planes, std::size_t pixels) HWY_ATTR {
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

/// Pixels as vectors of doubles: `wide(d, BgrLanes)` returns channels whose truncation fits 32 bits and whose low
/// byte is the result, `plain(Bgr)` does one pixel.
template <class Wide, class Plain>
void MapDoubles(Row row, [[maybe_unused]] Wide wide, Plain plain) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    const hn::ScalableTag<double> d;
    const auto part = [&](PartPlanes& planes, std::size_t pixels) HWY_ATTR {
        NarrowPlanes(d, planes, 0, pixels,
                     [&](std::size_t k) HWY_ATTR { return wide(d, WidenLanes(d, planes.from, k)); });
    };
    MapParts(row, part, plain);
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
