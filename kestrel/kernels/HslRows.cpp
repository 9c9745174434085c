#include "kestrel/kernels/HslRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HslRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
/// Without rounding a channel c of a pixel whose extremes have the mean m becomes m + f (c - m), with a factor f that
/// takes the saturation to 1 at most. In floats that is wrong by less than 1e-4; where the saturation is so small that
/// the exact form takes the colour for a grey, by 3e-4.
void EstimateSaturated(PartPlanes& planes, std::size_t pixels, float factor, OpenPixels& open) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const auto units = hn::Set(d, kUnits);
    for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
        const auto p = FloatLanes(d, planes.from, k);
        const auto max = hn::Max(hn::Max(p.red, p.green), p.blue);
        const auto min = hn::Min(hn::Min(p.red, p.green), p.blue);
        const auto sum = hn::Add(max, min);
        const auto spread = hn::Sub(max, min);
        const auto mean = hn::Mul(sum, hn::Set(d, 0.5f));
        // Greys stay as they are, by any factor that is finite.
        const auto largest = hn::Div(hn::Min(sum, hn::Sub(hn::Set(d, 510.0f), sum)), hn::Max(spread, hn::Set(d, 1.0f)));
        const auto times = hn::Mul(hn::Min(hn::Set(d, factor), largest), units);
        const auto middle = hn::Add(hn::Mul(mean, units), hn::Set(d, kWholeFloats));
        const auto channel = [&](auto c) HWY_ATTR { return hn::Add(hn::Mul(hn::Sub(c, mean), times), middle); };
        const auto unsure = CutEstimates(d, {channel(p.blue), channel(p.green), channel(p.red)}, planes, k);
        open.Add(di, hn::And(unsure, hn::RebindMask(di, hn::Gt(spread, hn::Zero(d)))), k);
    }
}
#endif

void SaturateRow(Row row, double factor) {
    const auto plain = [factor](Bgr p) { return SaturatePixel(p, factor); };
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    const auto change = [factor](auto d, auto& hsl) HWY_ATTR {
        hsl.saturation = hn::Min(hn::Max(hn::Mul(hsl.saturation, hn::Set(d, factor)), hn::Zero(d)), hn::Set(d, 1.0));
    };
    // No pixel's saturation grows by more than the number of bytes before it is 1.
    const auto held = static_cast<float>(std::min(std::max(factor, 0.0), 256.0));
    MapEstimated(
        row,
        [held](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateSaturated(planes, pixels, held, open); },
        [&change](PartPlanes& planes, std::size_t pixels) HWY_ATTR { ChangeHsl(planes, pixels, true, change); }, plain);
#endif
}

void ColourRow(Row row, const Colouring& c) {
    const auto wide = [&c, colour = OneHue(c.colour.hue, c.colour.saturation)](auto d, auto p) HWY_ATTR {
        auto l = hn::Add(hn::Mul(LightnessLanes(d, p), hn::Set(d, c.scale)), hn::Set(d, c.offset));
        l = hn::Max(hn::Min(l, hn::Set(d, 2.0)), hn::Zero(d));
        auto over = colour(d, l);
        if (c.intensity == 1.0) return over;
        const hn::Rebind<std::int32_t, decltype(d)> d32;
        const auto mix = [&](auto a, auto b) HWY_ATTR {
            // The low byte of the new channel, as it would be stored.
            const auto byte = hn::PromoteTo(d, hn::And(hn::DemoteTo(d32, a), hn::Set(d32, 255)));
            return hn::Add(hn::Mul(byte, hn::Set(d, c.intensity)), hn::Mul(b, hn::Set(d, 1.0 - c.intensity)));
        };
        over.blue = mix(over.blue, p.blue);
        over.green = mix(over.green, p.green);
        over.red = mix(over.red, p.red);
        return over;
    };
    MapDoubles(row, wide, [&c](Bgr p) { return ColourPixel(p, c); });
}

void TwoColourRow(Row row, const TwoColours& duo) {
    const auto wide = [&duo, dark = OneHue(duo.dark.hue, duo.dark.saturation),
                       bright = OneHue(duo.bright.hue, duo.bright.saturation)](auto d, auto p) HWY_ATTR {
        const auto zero = hn::Zero(d);
        const auto one = hn::Set(d, 1.0);
        const auto l = LightnessLanes(d, p);
        auto tone = hn::Add(hn::Mul(hn::Sub(one, l), hn::Add(l, hn::Set(d, duo.dark.lightness))),
                            hn::Mul(hn::Sub(l, hn::Set(d, duo.bright.lightness)), l));
        tone = hn::Min(hn::Max(tone, zero), one);
        const auto first = dark(d, tone);
        const auto second = bright(d, tone);
        const auto intensity = hn::Set(d, duo.intensity);
        const auto w1 = hn::Mul(hn::Sub(one, l), intensity);
        const auto w2 = hn::Mul(l, intensity);
        const auto w0 = hn::Set(d, 1.0 - duo.intensity);
        const auto mix = [&](auto a, auto b, auto old) HWY_ATTR {
            const auto sum = hn::Add(hn::Add(hn::Mul(hn::Trunc(a), w1), hn::Mul(hn::Trunc(b), w2)), hn::Mul(old, w0));
            return hn::Min(hn::Max(sum, zero), hn::Set(d, 255.0));
        };
        return BgrLanes<decltype(l)>{mix(first.blue, second.blue, p.blue), mix(first.green, second.green, p.green),
                                     mix(first.red, second.red, p.red)};
    };
    MapDoubles(row, wide, [&duo](Bgr p) { return TwoColourPixel(p, duo); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(SaturateRow);
void SaturateRow(Row row, double factor) { HWY_DYNAMIC_DISPATCH(SaturateRow)(row, factor); }

HWY_EXPORT(ColourRow);
void ColourRow(Row row, const Colouring& c) {
    // A scale that is no number, or an intensity outside 0..1, may leave 32 bits.
    const bool fits = std::isfinite(c.scale) && std::isfinite(c.offset) && c.intensity >= 0.0 && c.intensity <= 1.0;
    if (fits) return HWY_DYNAMIC_DISPATCH(ColourRow)(row, c);
    MapPixels(row, [&c](Bgr p) { return ColourPixel(p, c); });
}

HWY_EXPORT(TwoColourRow);
void TwoColourRow(Row row, const TwoColours& duo) {
    if (duo.intensity >= 0.0 && duo.intensity <= 1.0) return HWY_DYNAMIC_DISPATCH(TwoColourRow)(row, duo);
    MapPixels(row, [&duo](Bgr p) { return TwoColourPixel(p, duo); });  // sums that may leave 32 bits
}

}  // namespace kestrel::kernels
#endif
