#include "kestrel/kernels/HueRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HueRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// Whole degrees of hues of 0..360, as indices of doubles.
template <class D, class V>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> DegreeLanes(D /*d*/, V hue) {
    return hn::PromoteTo(hn::RebindToSigned<D>(), hn::DemoteTo(hn::Rebind<std::int32_t, D>(), hue));
}

template <class D, class V>
HWY_INLINE V UnitLanes(D d, V value) {
    return hn::Min(hn::Max(value, hn::Zero(d)), hn::Set(d, 1.0));
}

void TuningRow(Row row, const TuningFactors& factors) {
    const auto change = [&factors](auto d, auto& hsl) HWY_ATTR {
        const auto factor = hn::GatherIndex(d, factors.data(), DegreeLanes(d, hsl.hue));
        hsl.saturation = UnitLanes(d, hn::Mul(hsl.saturation, factor));
    };
    MapHsl(row, true, change, [&factors](Bgr p) { return TuningPixel(p, factors); });
}

void HsbRow(Row row, const HsbChanges& changes) {
    static_assert(sizeof(HsbChange) == 3 * sizeof(double));  // three doubles a record are gathered one by one
    const auto change = [&changes](auto d, auto& hsl) HWY_ATTR {
        const hn::RebindToSigned<decltype(d)> d64;
        const auto zero = hn::Zero(d);
        const auto turn = hn::Set(d, 360.0);
        const auto grey = hn::Eq(hsl.saturation, zero);
        const auto record = DegreeLanes(d, hn::IfThenElse(grey, turn, hsl.hue));  // record 360 is that of the greys
        const auto index = hn::Add(hn::Add(record, record), record);
        const double* const base = &changes[0].hue;
        const auto next = [&](int i) HWY_ATTR { return hn::Add(index, hn::Set(d64, i)); };
        auto hue = hn::Add(hsl.hue, hn::GatherIndex(d, base, index));
        hue = hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, turn),
                             hn::IfThenElse(hn::Ge(hue, turn), hn::Sub(hue, turn), hue));
        hsl.hue = hn::IfThenElse(grey, hsl.hue, hue);
        const auto saturation = UnitLanes(d, hn::Mul(hsl.saturation, hn::GatherIndex(d, base, next(1))));
        hsl.saturation = hn::IfThenElse(grey, hsl.saturation, saturation);
        hsl.lightness = UnitLanes(d, hn::Add(hsl.lightness, hn::GatherIndex(d, base, next(2))));
    };
    MapHsl(row, false, change, [&changes](Bgr p) { return HsbPixel(p, changes); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(TuningRow);
void TuningRow(Row row, const TuningFactors& factors) { HWY_DYNAMIC_DISPATCH(TuningRow)(row, factors); }

HWY_EXPORT(HsbRow);
void HsbRow(Row row, const HsbChanges& changes) { HWY_DYNAMIC_DISPATCH(HsbRow)(row, changes); }

}  // namespace kestrel::kernels
#endif
