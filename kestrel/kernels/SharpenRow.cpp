#include "kestrel/kernels/SharpenRow.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/SharpenRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void SharpenRow(const SharpenWeights& weights, const HiddenRow& below, const HiddenRow& row, const HiddenRow& above,
                std::size_t step, Row to) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::int32_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    for (; i + hn::Lanes(d) <= to.size(); i += hn::Lanes(d)) {
        const auto centre8 = hn::LoadU(d8, row.bytes.data() + i + step);
        const auto side = [&](const HiddenRow& from, std::size_t at) HWY_ATTR {
            const auto there = hn::Eq(hn::LoadU(d8, from.hidden.data() + at), hn::Zero(d8));
            return hn::PromoteTo(d, hn::IfThenElse(there, hn::LoadU(d8, from.bytes.data() + at), centre8));
        };
        const auto around = hn::Add(hn::Add(side(below, i + step), side(above, i + step)),
                                    hn::Add(side(row, i), side(row, i + 2 * step)));
        const auto sum = hn::Add(hn::Mul(around, hn::Set(d, weights.side)),
                                 hn::Mul(hn::PromoteTo(d, centre8), hn::Set(d, weights.centre)));
        const auto sharpened = hn::DemoteTo(d8, hn::ShiftRight<16>(sum));
        const auto there = hn::Eq(hn::LoadU(d8, row.hidden.data() + i + step), hn::Zero(d8));
        hn::StoreU(hn::IfThenElse(there, sharpened, centre8), d8, to.data() + i);
    }
#endif
    for (; i < to.size(); ++i) {
        const std::size_t at = i + step;
        const int centre = row.bytes[at];
        const auto side = [&](const HiddenRow& from, std::size_t other) {
            return from.hidden[other] ? centre : from.bytes[other];
        };
        const int around = side(below, at) + side(above, at) + side(row, at - step) + side(row, at + step);
        to[i] = row.hidden[at] ? row.bytes[at] : SharpenedByte(weights, around, centre);
    }
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(SharpenRow);
void SharpenRow(const SharpenWeights& weights, const HiddenRow& below, const HiddenRow& row, const HiddenRow& above,
                std::size_t step, Row to) {
    HWY_DYNAMIC_DISPATCH(SharpenRow)(weights, below, row, above, step, to);
}

}  // namespace kestrel::kernels
#endif
