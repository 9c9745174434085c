#include "kestrel/kernels/YiqRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>

#include "kestrel/kernels/Divides.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/YiqRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Parts-inl.h"

#ifndef KESTREL_KERNELS_YIQ_ROWS_ONCE
#define KESTREL_KERNELS_YIQ_ROWS_ONCE
namespace kestrel::kernels {

// What a pixel's true luminance, 299 R + 587 G + 114 B thousandths, is above the integer one, 77 R + 151 G + 28 B over
// 256, is more than -1999 thousandths, so that it is counted from there. As eighths it is divided by 125.
constexpr std::uint16_t kBelow = 1999;
constexpr std::uint16_t kBy125 = 525;
constexpr double kHighest = 255 * (114 - 28 * 1000 / 256.0);
constexpr double kLowest = 255 * (299 + 587 - (77 + 151) * 1000 / 256.0);
static_assert(kLowest > -kBelow);
static_assert(Divides(kBy125, 16, 125, static_cast<std::uint64_t>(kHighest + 1000 + kBelow) / 8));

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
/// What is found about the pixels of a part.
struct Luminances {
    HWY_ALIGN std::uint8_t tones[kPart];  ///< the integer luminance, then what becomes of it
    HWY_ALIGN std::uint8_t whole[kPart];  ///< the true luminance, rounded up
    std::uint16_t open[kPart];            ///< pixels whose true luminance is a whole number, but for greys
    std::size_t opens = 0;                ///< their number
    bool greys = false;                   ///< are there any?
};

template <class D, class V>
HWY_INLINE hn::Mask<D> IsGrey(D /*d*/, V blue, V green, V red) {
    return hn::And(hn::Eq(blue, green), hn::Eq(green, red));
}

void MeasurePart(const PartPlanes& planes, std::size_t pixels, Luminances& found) {
    ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
        const hn::RepartitionToWide<decltype(d)> d16;
        const auto set = [d16](std::uint16_t value) HWY_ATTR { return hn::Set(d16, value); };
        const auto weigh = [&](auto blue, auto green, auto red, std::uint16_t b, std::uint16_t g,
                               std::uint16_t r) HWY_ATTR {
            return hn::Add(hn::Add(hn::Mul(blue, set(b)), hn::Mul(green, set(g))), hn::Mul(red, set(r)));
        };
        const auto measure = [&](auto b, auto g, auto r, auto& tone, auto& whole) HWY_ATTR {
            tone = LuminanceLanes(d16, b, g, r);
            // The products leave 16 bits; their difference does not.
            const auto above = hn::Sub(hn::Add(weigh(b, g, r, 114, 587, 299), set(kBelow)), hn::Mul(tone, set(1000)));
            const auto thousands = hn::MulHigh(hn::ShiftRight<3>(above), set(kBy125));
            whole = hn::Sub(hn::Add(tone, thousands), set(1));
            return hn::VecFromMask(d16, hn::Eq(hn::Sub(above, hn::Mul(thousands, set(1000))), set(999)));
        };
        const auto blue = hn::Load(d, planes.from[0] + k);
        const auto green = hn::Load(d, planes.from[1] + k);
        const auto red = hn::Load(d, planes.from[2] + k);
        hn::Vec<decltype(d16)> tones[2], wholes[2];
        const auto even = measure(ByteOfLanes<0>(d16, blue), ByteOfLanes<0>(d16, green), ByteOfLanes<0>(d16, red),
                                  tones[0], wholes[0]);
        const auto odd = measure(ByteOfLanes<1>(d16, blue), ByteOfLanes<1>(d16, green), ByteOfLanes<1>(d16, red),
                                 tones[1], wholes[1]);
        hn::Store(hn::Or(LanesToByte<0>(d16, tones[0]), LanesToByte<1>(d16, tones[1])), d, found.tones + k);
        hn::Store(hn::Or(LanesToByte<0>(d16, wholes[0]), LanesToByte<1>(d16, wholes[1])), d, found.whole + k);
        const auto isWhole = hn::MaskFromVec(hn::OddEven(hn::BitCast(d, odd), hn::BitCast(d, even)));
        if (hn::AllFalse(d, isWhole)) return;
        const auto grey = IsGrey(d, blue, green, red);
        found.greys |= !hn::AllFalse(d, grey);
        std::uint8_t bits[8];
        hn::StoreMaskBits(d, hn::AndNot(grey, isWhole), bits);
        for (std::size_t i = 0; i < hn::Lanes(d); ++i)
            if (bits[i / 8] >> i % 8 & 1) found.open[found.opens++] = static_cast<std::uint16_t>(k + i);
    });
}

/// Moves the channels by what the true luminance lacks to the new one. That is the rule but for rounding: all channels
/// stand alike in the inverse of Y. Rounding moves a channel by less than a thousandth, so that it decides only where
/// the true luminance is a whole number; of these, greys have their own tables.
void ShiftPart(PartPlanes& planes, std::size_t pixels, const LuminanceCurve& curve, Luminances& found) {
    HWY_ALIGN std::uint8_t greys[3][kPart];
    if (found.greys)
        for (std::size_t channel = 0; channel < 3; ++channel) {
            std::copy_n(found.tones, pixels, greys[channel]);
            TableRow({greys[channel], pixels}, curve.greys[channel]);
        }
    TableRow({found.tones, pixels}, curve.tones);
    ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
        const auto tone = hn::Load(d, found.tones + k);
        const auto whole = hn::Load(d, found.whole + k);
        const auto up = hn::SaturatedSub(tone, whole);
        const auto down = hn::SaturatedSub(whole, tone);
        hn::Vec<decltype(d)> old[3];
        for (std::size_t channel = 0; channel < 3; ++channel) old[channel] = hn::Load(d, planes.from[channel] + k);
        const auto grey = IsGrey(d, old[0], old[1], old[2]);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            auto moved = hn::SaturatedSub(hn::SaturatedAdd(old[channel], up), down);
            if (found.greys) moved = hn::IfThenElse(grey, hn::Load(d, greys[channel] + k), moved);
            hn::Store(moved, d, planes.to[channel] + k);
        }
    });
}
#endif

void LuminanceRow(Row row, const LuminanceCurve& curve) {
    const auto plain = [&curve](Bgr p) { return curve.rule(p, curve.tones); };
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    MapParts(row, [&](PartPlanes& planes, std::size_t pixels, std::size_t /*at*/) HWY_ATTR {
        Luminances found;
        MeasurePart(planes, pixels, found);
        ShiftPart(planes, pixels, curve, found);
        Bgr old{}, made = plain(old);  // an area of one colour is made once
        for (std::size_t i = 0; i < found.opens; ++i) {
            const std::size_t k = found.open[i];
            const Bgr pixel{planes.from[0][k], planes.from[1][k], planes.from[2][k]};
            if (pixel != old) made = plain(old = pixel);
            planes.to[0][k] = made.blue;
            planes.to[1][k] = made.green;
            planes.to[2][k] = made.red;
        }
    });
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

LuminanceCurve::LuminanceCurve(const ByteTable& table, LuminanceRule* made) : tones(table), rule(made) {
    for (std::size_t i = 0; i < 256; ++i) {
        const auto tone = static_cast<std::uint8_t>(i);
        const Bgr grey = rule({tone, tone, tone}, tones);
        greys[0][i] = grey.blue;
        greys[1][i] = grey.green;
        greys[2][i] = grey.red;
    }
}

HWY_EXPORT(LuminanceRow);
void LuminanceRow(Row row, const LuminanceCurve& curve) { HWY_DYNAMIC_DISPATCH(LuminanceRow)(row, curve); }

}  // namespace kestrel::kernels
#endif
