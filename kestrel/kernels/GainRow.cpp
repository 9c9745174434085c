#include "kestrel/kernels/GainRow.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/GainRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"
#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void GainRow(Row row, const LuminanceGains& gains) {
    const auto wide = [&gains](auto d, auto p) HWY_ATTR {
        const hn::Rebind<std::int32_t, decltype(d)> d32;
        const hn::Rebind<float, decltype(d)> df;
        const auto y =
            LuminanceLanes(d32, hn::DemoteTo(d32, p.blue), hn::DemoteTo(d32, p.green), hn::DemoteTo(d32, p.red));
        const auto gain = hn::PromoteTo(d, hn::GatherIndex(df, gains.data(), y));
        const auto byte = [&](auto channel) HWY_ATTR {
            return hn::Min(hn::Add(hn::Mul(channel, gain), hn::Set(d, 0.5)), hn::Set(d, 255.0));
        };
        return BgrLanes<decltype(gain)>{byte(p.blue), byte(p.green), byte(p.red)};
    };
    MapDoubles(row, wide, [&gains](Bgr p) { return GainPixel(p, gains); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(GainRow);
void GainRow(Row row, const LuminanceGains& gains) {
    constexpr float kMost = 65536.0f;  // far above 255, the most that an even spread asks for
    const bool fits = std::all_of(gains.begin(), gains.end(), [](float g) { return g >= 0.0f && g <= kMost; });
    if (fits) return HWY_DYNAMIC_DISPATCH(GainRow)(row, gains);
    MapPixels(row, [&gains](Bgr p) { return GainPixel(p, gains); });
}

}  // namespace kestrel::kernels
#endif
