#include "kestrel/kernels/ColourRows.h"  // plain headers first: nothing shared may be compiled for one target

#include "kestrel/kernels/Divides.h"

// Of the longer AVX-512 that has permutes of bytes.
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ColourRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/PixelSums-inl.h"
#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// `opacity` percent of `over` on `under` for 0..100 percent of bytes, in 16-bit lanes.
template <class D, class V>
HWY_INLINE V MixPercent16(D d, V over, V under, std::uint16_t opacity) {
    const auto o = hn::Set(d, opacity);
    const auto mix = hn::Add(hn::Mul(o, over), hn::Mul(hn::Sub(hn::Set(d, std::uint16_t{100}), o), under));
    return hn::ShiftRight<3>(hn::MulHigh(mix, hn::Set(d, std::uint16_t{5243})));  // mix / 100, proved below
}

/// The whole negative.
void NegativeRow(const RowPair& row) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    EachGroup(row, [d](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t i = 0; i < GroupSize(); i += hn::Lanes(d)) put(hn::Not(hn::LoadU(d, from + i)), d, to + i);
    });
#else
    for (std::size_t i = 0; i < row.size(); ++i) row.to[i] = InvertByte(row.from[i], 100);
#endif
}

void InvertRow(const RowPair& row, std::int32_t inversity) {
    const auto opacity = static_cast<std::uint16_t>(inversity);
    const auto wide = [opacity](auto d, auto p)
                          HWY_ATTR { return MixPercent16(d, hn::Sub(hn::Set(d, std::uint16_t{255}), p), p, opacity); };
    MapBytes(row, wide, [inversity](std::uint8_t p) { return InvertByte(p, inversity); });
}

void TransparencyRow(Row mask, std::uint8_t keep) {
    const auto wide = [keep](auto d, auto m) HWY_ATTR {
        const auto full = hn::Set(d, std::uint16_t{255});
        const auto opacity = hn::Mul(hn::Set(d, std::uint16_t{keep}), hn::Sub(full, m));
        // opacity / 255, proved below
        return hn::Sub(full, hn::ShiftRight<7>(hn::MulHigh(opacity, hn::Set(d, std::uint16_t{0x8081}))));
    };
    MapBytes(mask, wide, [keep](std::uint8_t m) { return TransparencyByte(m, keep); });
}

/// blue × b + green × g + red × r in 16-bit lanes, of which the low 16 bits are kept.
template <class D, class V>
HWY_INLINE V WeighLanes16(D d, V blue, V green, V red, std::uint16_t b, std::uint16_t g, std::uint16_t r) {
    return hn::Add(hn::Add(hn::Mul(blue, hn::Set(d, b)), hn::Mul(green, hn::Set(d, g))), hn::Mul(red, hn::Set(d, r)));
}

#if HWY_TARGET == HWY_AVX3_DL
void BlackWhiteRow(const RowPair& row, std::int32_t percent) {
    const hn::ScalableTag<std::uint8_t> d;
    const hn::ScalableTag<std::uint16_t> d16;
    const __m512i shares = _mm512_set1_epi16(static_cast<std::int16_t>(percent << 8 | (100 - percent)));
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        const Pixels64 pixels(from);
        Sums16 sums[4];
        pixels.Sum({71, 164, 74, 181, 3}, sums);  // in total 71, 707, 222
        Words32 greys[2];
        for (std::size_t k = 0; k < 2; ++k) {
            const auto eighths = Pack(hn::ShiftRight<3>(sums[2 * k]), hn::ShiftRight<3>(sums[2 * k + 1]));
            const auto whole = hn::Add(eighths, hn::Set(d16, std::uint16_t{128 * 1000 / 8}));
            greys[k] =
                hn::ShiftRight<6>(hn::MulHigh(whole, hn::Set(d16, std::uint16_t{33555})));  // sum / 1000, proved below
        }
        for (std::size_t k = 0; k < 3; ++k) {
            auto grey = SpreadWords(greys[0], greys[1], k);
            if (percent != 100)
                grey = MapPairs(pixels.bytes[k], grey, [&](__m512i pairs, int) HWY_ATTR {
                    const Words32 mix{_mm512_maddubs_epi16(pairs, shares)};
                    return hn::ShiftRight<3>(hn::MulHigh(mix, hn::Set(d16, 5243))).raw;  // mix / 100, proved below
                });
            put(grey, d, to + 64 * k);
        }
    });
}

/// What a half of each vector of a row, as `MapPairs` takes them, gets of the tint.
struct TintPattern {
    alignas(64) std::int16_t tints[3][2][32];
};
constexpr TintPattern kSepiaTints = [] {
    TintPattern pattern{};
    constexpr int kTints[3] = {kSepiaBlueTint, kSepiaGreenTint, kSepiaRedTint};
    for (unsigned vector = 0; vector < 3; ++vector)
        for (unsigned half = 0; half < 2; ++half)
            for (unsigned word = 0; word < 32; ++word)
                pattern.tints[vector][half][word] =
                    static_cast<std::int16_t>(kTints[(64 * vector + word / 8 * 16 + half * 8 + word % 8) % 3]);
    return pattern;
}();

void SepiaRow(const RowPair& row, std::uint8_t keep) {
    const hn::ScalableTag<std::uint8_t> d;
    const hn::ScalableTag<std::int16_t> d16;
    const auto tone = static_cast<std::int16_t>(255 - keep);
    const __m512i shares = _mm512_set1_epi16(static_cast<std::int16_t>(tone << 8 | keep));
    hn::Vec<decltype(d16)> tints[3][2];
    for (std::size_t k = 0; k < 3; ++k)
        for (std::size_t half = 0; half < 2; ++half)
            tints[k][half] = hn::Mul(hn::Load(d16, kSepiaTints.tints[k][half]), hn::Set(d16, tone));
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        const Pixels64 pixels(from);
        Sums16 sums[4];
        pixels.Sum(kLuminanceWeights, sums);
        for (std::size_t k = 0; k < 3; ++k) {
            // Both factors have 128 taken off, so that their sum misses 128 * 255. The tint saturates from 65408 on,
            // where the quotient is above 255.
            const auto mixed =
                MapPairs(Signed(pixels.bytes[k]), SpreadSecondBytes(sums, k), [&](__m512i pairs, int half) HWY_ATTR {
                    constexpr std::int16_t kMissing = 128 * 255;
                    const hn::Vec<decltype(d16)> sum{_mm512_maddubs_epi16(shares, pairs)};
                    const auto tinted = hn::Max(hn::SaturatedAdd(sum, tints[k][half]), hn::Set(d16, -kMissing));
                    const auto above =
                        hn::BitCast(hn::RebindToUnsigned<decltype(d16)>(), hn::Add(tinted, hn::Set(d16, kMissing + 1)));
                    return hn::MulHigh(above, hn::Set(hn::RebindToUnsigned<decltype(d16)>(), 257))
                        .raw;  // / 255, proved below
                });
            put(mixed, d, to + 64 * k);
        }
    });
}
#else
void BlackWhiteRow(const RowPair& row, std::int32_t percent) {
    const auto opacity = static_cast<std::uint16_t>(percent);
    const auto wide = [opacity](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        // The weights in 1/256 miss the grey by one at most, and the rest tells by how much: proved below.
        const hn::RebindToSigned<decltype(d)> di;
        const auto near = hn::ShiftRight<8>(WeighLanes16(d, blue, green, red, 18, 181, 57));
        const auto sum = WeighLanes16(d, blue, green, red, 71, 707, 222);
        const auto rest = hn::BitCast(di, hn::Sub(sum, hn::Mul(near, hn::Set(d, std::uint16_t{1000}))));
        const auto less = hn::VecFromMask(di, hn::Lt(rest, hn::Zero(di)));  // -1 where one less is right
        const auto more = hn::VecFromMask(di, hn::Gt(rest, hn::Set(di, std::int16_t{999})));
        const auto grey = hn::BitCast(d, hn::Sub(hn::Add(hn::BitCast(di, near), less), more));
        blue = MixPercent16(d, grey, blue, opacity);
        green = MixPercent16(d, grey, green, opacity);
        red = MixPercent16(d, grey, red, opacity);
    };
    MapPlanes<std::uint16_t>(row, wide, [percent](Bgr p) { return BlackWhitePixel(p, percent); });
}

void SepiaRow(const RowPair& row, std::uint8_t keep) {
    const auto wide = [keep](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        const auto stays = hn::Set(d, std::uint16_t{keep});
        const auto share = static_cast<std::uint16_t>(255 - keep);
        const auto tone = hn::Mul(hn::ShiftRight<8>(WeighLanes16(d, blue, green, red, 28, 151, 77)), hn::Set(d, share));
        const auto mix = [&](auto byte, int tint) HWY_ATTR {
            // A byte and a grey together are 65025 at most. The tint saturates: below 0 is 0, and from 65280 on the
            // quotient is above 255. Between, sum / 255 is proved below.
            const auto sum = hn::Add(hn::Mul(byte, stays), tone);
            const auto more = hn::Set(d, static_cast<std::uint16_t>(tint > 0 ? tint * share : 0));
            const auto less = hn::Set(d, static_cast<std::uint16_t>(tint < 0 ? -tint * share : 0));
            const auto tinted = hn::SaturatedSub(hn::SaturatedAdd(sum, more), less);
            const auto quotient = hn::ShiftRight<7>(hn::MulHigh(tinted, hn::Set(d, std::uint16_t{0x8081})));
            return hn::Min(quotient, hn::Set(d, std::uint16_t{255}));
        };
        blue = mix(blue, kSepiaBlueTint);
        green = mix(green, kSepiaGreenTint);
        red = mix(red, kSepiaRedTint);
    };
    MapPlanes<std::uint16_t>(row, wide, [keep](Bgr p) { return SepiaPixel(p, keep); });
}
#endif

void ShiftRow(const RowPair& row, ColourShift shift) {
#if HWY_TARGET != HWY_SCALAR
    // What is added and what is taken, three vectors of the repeating pattern blue, green, red.
    const hn::ScalableTag<std::uint8_t> d;
    HWY_ALIGN std::uint8_t more[3 * HWY_MAX_BYTES];
    HWY_ALIGN std::uint8_t less[3 * HWY_MAX_BYTES];
    for (std::size_t k = 0; k < GroupSize(); ++k) {
        const std::int64_t amount = k % 3 == 0 ? shift.blue : k % 3 == 1 ? shift.green : shift.red;
        more[k] = ClampToByte(amount);
        less[k] = ClampToByte(-amount);
    }
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t k = 0; k < GroupSize(); k += hn::Lanes(d)) {
            const auto raised = hn::SaturatedAdd(hn::LoadU(d, from + k), hn::Load(d, more + k));
            put(hn::SaturatedSub(raised, hn::Load(d, less + k)), d, to + k);
        }
    });
#else
    MapPixels(row, [shift](Bgr p) { return ShiftPixel(p, shift); });
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

static_assert(Divides(5243, 19, 100, 25500));
static_assert(Divides(0x8081, 23, 255, 65535));
static_assert(Divides(33555, 22, 125, 255 * 1000 / 8));
static_assert([] {  // and 65408 / 255 is above 255
    for (unsigned x = 0; x <= 65407; ++x)
        if (((x + 1) * 257) >> 16 != x / 255) return false;
    return true;
}());
// 18 b + 181 g + 57 r over 256 is less than 1 from 71 b + 707 g + 222 r over 1000 before either is cut.
static_assert(255 * ((0.071 - 18.0 / 256) + (181.0 / 256 - 0.707) + (57.0 / 256 - 0.222)) < 1);

constexpr bool IsPercent(std::int32_t value) { return value >= 0 && value <= 100; }

}  // namespace

HWY_EXPORT(NegativeRow);
HWY_EXPORT(InvertRow);
void InvertRow(const RowPair& row, std::int32_t inversity) {
    if (inversity == 100) return HWY_DYNAMIC_DISPATCH(NegativeRow)(row);
    if (IsPercent(inversity)) return HWY_DYNAMIC_DISPATCH(InvertRow)(row, inversity);
    std::ranges::transform(row.from, row.to.begin(), [=](std::uint8_t p) { return InvertByte(p, inversity); });
}

HWY_EXPORT(BlackWhiteRow);
void BlackWhiteRow(const RowPair& row, std::int32_t percent) {
    if (IsPercent(percent)) return HWY_DYNAMIC_DISPATCH(BlackWhiteRow)(row, percent);
    MapPixels(row, [percent](Bgr p) { return BlackWhitePixel(p, percent); });
}

HWY_EXPORT(SepiaRow);
void SepiaRow(const RowPair& row, std::uint8_t keep) { HWY_DYNAMIC_DISPATCH(SepiaRow)(row, keep); }

HWY_EXPORT(TransparencyRow);
void TransparencyRow(Row mask, std::uint8_t keep) { HWY_DYNAMIC_DISPATCH(TransparencyRow)(mask, keep); }

HWY_EXPORT(ShiftRow);
void ShiftRow(const RowPair& row, ColourShift shift) { HWY_DYNAMIC_DISPATCH(ShiftRow)(row, shift); }

}  // namespace kestrel::kernels
#endif
