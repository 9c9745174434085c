#include "kestrel/kernels/FadeRow.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/FadeRow.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Fades the bytes of a row by `step(x)`; `lanes(d, x, base, keep)` sets the two parts for the lanes from `x` on.
template <class Lanes, class Step>
HWY_INLINE void Fade(Row mask, [[maybe_unused]] const Lanes& lanes, const Step& step) {
    std::uint8_t* const bytes = mask.data();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int32_t> d;
    const hn::Rebind<float, decltype(d)> df;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    for (; x + hn::Lanes(d) <= mask.size(); x += hn::Lanes(d)) {
        hn::Vec<decltype(d)> base, keep;
        lanes(d, x, base, keep);
        const auto sum = hn::Add(base, hn::Mul(keep, hn::PromoteTo(d, hn::LoadU(d8, bytes + x))));
        // Exact: a sum of at most 255,000 is a float, and thousandths below 255 lie further apart than floats.
        const auto faded = hn::Div(hn::ConvertTo(df, sum), hn::Set(df, 1000.0f));
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(d, faded)), d8, bytes + x);
    }
#endif
    for (; x < mask.size(); ++x) bytes[x] = step(x)(bytes[x]);
}

void FadeRow(Row mask, FadeStep step) {
    const auto lanes = [step](auto d, std::size_t, auto& base, auto& keep) HWY_ATTR {
        base = hn::Set(d, step.base);
        keep = hn::Set(d, step.keep);
    };
    Fade(mask, lanes, [step](std::size_t) { return step; });
}

void FadeColumns(Row mask, std::span<const FadeStep> steps) {
    const FadeStep* const first = steps.data();
    const auto lanes = [first](auto d, std::size_t x, auto& base, auto& keep) HWY_ATTR {
        static_assert(sizeof(FadeStep) == 2 * sizeof(std::int32_t));
        hn::LoadInterleaved2(d, &first[x].base, base, keep);
    };
    Fade(mask, lanes, [first](std::size_t x) { return first[x]; });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(FadeRow);
void FadeRow(Row mask, FadeStep step) { HWY_DYNAMIC_DISPATCH(FadeRow)(mask, step); }

HWY_EXPORT(FadeColumns);
void FadeColumns(Row mask, std::span<const FadeStep> steps) { HWY_DYNAMIC_DISPATCH(FadeColumns)(mask, steps); }

}  // namespace kestrel::kernels
#endif
