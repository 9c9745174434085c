#include "kestrel/kernels/GainRow.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/GainRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Parts-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
/// The factor of each pixel of a part.
struct Factors {
    Factors(const PartPlanes& planes, std::size_t pixels, const LuminanceGains& gains) {
        HWY_ALIGN std::uint8_t luminance[kPart];
        MeasureLuminance(planes, pixels, luminance);
        // A loop of its own: gathered lane by lane they took a third of the time.
        for (std::size_t k = 0; k < pixels; ++k) at[k] = gains[luminance[k]];
    }
    HWY_ALIGN float at[kPart];
};

/// In floats the products are wrong by less than a hundredth of a unit.
void EstimateGained(PartPlanes& planes, std::size_t pixels, const LuminanceGains& gains, OpenPixels& open) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const Factors factors(planes, pixels, gains);
    for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
        const auto p = FloatLanes(d, planes.from, k);
        const auto factor = hn::Mul(hn::Load(d, factors.at + k), hn::Set(d, kUnits));
        const auto channel = [&](auto c) HWY_ATTR {
            const auto gained = hn::Add(hn::Mul(c, factor), hn::Set(d, 0.5f * kUnits + kWholeFloats));
            return hn::Min(gained, hn::Set(d, 255.5f * kUnits + kWholeFloats));
        };
        open.Set(di, CutEstimates(d, {channel(p.blue), channel(p.green), channel(p.red)}, planes, k), k);
    }
}

void Gain(PartPlanes& planes, std::size_t pixels, const LuminanceGains& gains) {
    const hn::ScalableTag<double> d;
    const Factors factors(planes, pixels, gains);
    NarrowPlanes(d, planes, 0, pixels, [&](std::size_t k) HWY_ATTR {
        const auto p = WidenLanes(d, planes.from, k);
        const auto factor = hn::PromoteTo(d, hn::LoadU(hn::Rebind<float, decltype(d)>(), factors.at + k));
        const auto byte = [&](auto channel) HWY_ATTR {
            return hn::Min(hn::Add(hn::Mul(channel, factor), hn::Set(d, 0.5)), hn::Set(d, 255.0));
        };
        return BgrLanes<decltype(factor)>{byte(p.blue), byte(p.green), byte(p.red)};
    });
}
#endif

void GainRow(Row row, const LuminanceGains& gains) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [&gains](Bgr p) { return GainPixel(p, gains); });
#else
    MapEstimated(
        row,
        [&gains](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateGained(planes, pixels, gains, open); },
        [&gains](PartPlanes& planes, std::size_t pixels) HWY_ATTR { Gain(planes, pixels, gains); });
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(GainRow);
void GainRow(Row row, const LuminanceGains& gains) {
    constexpr float kMaximum = 65536.0f;  // far above 255, the largest that an even spread asks for
    const bool fits = std::all_of(gains.begin(), gains.end(), [](float g) { return g >= 0.0f && g <= kMaximum; });
    if (!fits) return MapPixels(row, [&gains](Bgr p) { return GainPixel(p, gains); });
    HWY_DYNAMIC_DISPATCH(GainRow)(row, gains);
}

}  // namespace kestrel::kernels
#endif
