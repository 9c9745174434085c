#include "kestrel/kernels/HslRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HslRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void SaturateRow(Row row, double factor) {
    const auto plain = [factor](Bgr p) { return SaturatePixel(p, factor); };
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    const auto change = [factor](auto d, auto& hsl) HWY_ATTR {
        hsl.saturation = hn::Min(hn::Max(hn::Mul(hsl.saturation, hn::Set(d, factor)), hn::Zero(d)), hn::Set(d, 1.0));
    };
    const auto estimate = [held = HeldFactor(factor)](auto d, const auto& extremes, const auto& p, std::size_t)
                              HWY_ATTR { return SaturatedUnits(d, extremes, p, hn::Set(d, held)); };
    MapEstimated(
        row,
        [&estimate](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateHsl(planes, pixels, true, estimate, open); },
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
