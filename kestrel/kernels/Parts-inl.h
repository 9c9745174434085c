// Rows that are taken apart into planes, part by part: runners for rules in doubles, and for rules in which a cheaper
// estimate decides most pixels.
#if defined(KESTREL_KERNELS_PARTS_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_PARTS_INL_H
#undef KESTREL_KERNELS_PARTS_INL_H
#else
#define KESTREL_KERNELS_PARTS_INL_H
#endif
#include <algorithm>

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

/// Pixels by parts: `part(planes, pixels, at)` makes `to` from `from` for a multiple of `kBlock` pixels of the row,
/// from `at` on. Where the row ends within a block, its last pixel stands for those beyond it.
template <class Part>
void MapParts(Row row, const Part& part) {
    PartPlanes planes;
    const auto make = [&](std::uint8_t* bytes, std::size_t pixels, std::size_t at) HWY_ATTR {
        ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
            hn::Vec<decltype(d)> blue, green, red;
            hn::LoadInterleaved3(d, bytes + 3 * k, blue, green, red);
            hn::Store(blue, d, planes.from[0] + k);
            hn::Store(green, d, planes.from[1] + k);
            hn::Store(red, d, planes.from[2] + k);
        });
        part(planes, pixels, at);
        ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
            hn::StoreInterleaved3(hn::Load(d, planes.to[0] + k), hn::Load(d, planes.to[1] + k),
                                  hn::Load(d, planes.to[2] + k), d, bytes + 3 * k);
        });
    };
    const std::size_t size = row.size() / 3;
    const std::size_t whole = size / kBlock * kBlock;
    std::size_t at = 0;
    for (; at < whole; at += std::min(kPart, whole - at)) make(&row[3 * at], std::min(kPart, whole - at), at);
    if (at == size) return;
    std::uint8_t block[3 * kBlock];
    for (std::size_t k = 0; k < kBlock; ++k) Store(block + 3 * k, Load(&row[3 * std::min(at + k, size - 1)]));
    make(block, kBlock, at);
    std::copy_n(block, 3 * (size - at), &row[3 * at]);
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

/// The pixels of a part that an estimate could not decide: a bit for each while the estimate runs, then their numbers.
class OpenPixels {
public:
    /// What is open of the vector of pixels from `at` on. All vectors of a part have to be told, of one size.
    template <class D>
    HWY_INLINE void Set(D d, hn::Mask<D> which, std::size_t at) {
        hn::StoreMaskBits(d, which, bits_ + at / kAtOnce);
    }
    /// Makes the numbers of a part of so many pixels.
    HWY_INLINE void Collect(std::size_t pixels) {
        std::size_t count = 0;
        for (std::size_t at = 0; at < pixels; at += kAtOnce) {
            const std::uint8_t bits = bits_[at / kAtOnce];
            const auto lanes = hn::PromoteTo(
                kNumbers, hn::LoadU(hn::Rebind<std::uint8_t, decltype(kNumbers)>(), kSetBits[bits].data()));
            hn::StoreU(hn::Add(lanes, hn::Set(kNumbers, static_cast<std::int32_t>(at))), kNumbers, pixels_ + count);
            count += hwy::PopCount(bits);
        }
        count_ = count;
    }
    std::size_t Count() const { return count_; }
    std::size_t operator[](std::size_t i) const { return static_cast<std::size_t>(pixels_[i]); }

private:
    static constexpr hn::CappedTag<std::int32_t, 8> kNumbers{};
    static constexpr std::size_t kAtOnce = hn::MaxLanes(kNumbers);  ///< pixels of a byte of bits

    std::uint8_t bits_[kPart / 4 + 8];  // up to 8 bytes are stored
    std::size_t count_ = 0;
    std::int32_t pixels_[kPart + 8];  // whole vectors are stored
};

/// Open pixels of parts that are done, until they fill a part themselves.
template <class Exact>
class WaitingPixels {
public:
    WaitingPixels(Row row, const Exact& exact) : row_(row), exact_(exact) {}

    /// Takes the open ones of a part that begins at pixel `at` of the row and is not yet written to it.
    void Add(const PartPlanes& part, const OpenPixels& open, std::size_t at) {
        if (count_ + open.Count() > kPart) Make();
        for (std::size_t k = 0; k < open.Count(); ++k) {
            const std::size_t from = open[k];
            for (std::size_t channel = 0; channel < 3; ++channel)
                planes_.from[channel][count_ + k] = part.from[channel][from];
            places_[count_ + k] = std::min(at + from, row_.size() / 3 - 1);
        }
        count_ += open.Count();
    }
    /// Makes those that wait and writes them to the row.
    void Make() {
        if (count_ == 0) return;
        exact_(planes_, (count_ + kBlock - 1) / kBlock * kBlock);  // the last ones are left from before
        for (std::size_t k = 0; k < count_; ++k)
            Store(&row_[3 * places_[k]], {planes_.to[0][k], planes_.to[1][k], planes_.to[2][k]});
        count_ = 0;
    }

private:
    Row row_;
    const Exact& exact_;
    PartPlanes planes_{};
    std::size_t places_[kPart];  ///< pixels of the row
    std::size_t count_ = 0;
};

/// Pixels by an estimate that is far cheaper than the exact form: `estimate(planes, pixels, open)` makes the pixels
/// whose bytes it is sure of and adds the others to `open`, `exact(planes, pixels)` does these, and whole parts where
/// the estimate leaves so many that collecting them would not pay.
template <class Estimate, class Exact>
void MapEstimated(Row row, const Estimate& estimate, const Exact& exact) {
    constexpr std::size_t kSample = 128;
    constexpr std::size_t kUnpaid = 9;  // parts that are done without an estimate after one that did not pay
    std::size_t unpaid = 0;
    bool paid = false;  // did it for the part before? If not, a sample is tried first.
    WaitingPixels<Exact> waiting(row, exact);
    const auto part = [&](PartPlanes& planes, std::size_t pixels, std::size_t at) HWY_ATTR {
        OpenPixels open;
        const auto pays = [&](std::size_t count) HWY_ATTR {
            estimate(planes, count, open);
            open.Collect(count);
            return open.Count() <= count * 3 / 8;
        };
        paid = unpaid == 0 && (paid || pays(std::min(pixels, kSample))) && pays(pixels);
        if (paid) return waiting.Add(planes, open, at);
        unpaid = unpaid == 0 ? kUnpaid : unpaid - 1;
        exact(planes, pixels);
    };
    MapParts(row, part);
    waiting.Make();
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

/// An estimate that is not sure where `open` is not 0: one without a fraction.
template <class D, class V>
HWY_INLINE V UnlessOpen(D d, V open, V units) {
    return hn::IfThenElse(hn::Eq(open, hn::Zero(d)), units, hn::Set(d, kWholeFloats));
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

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
