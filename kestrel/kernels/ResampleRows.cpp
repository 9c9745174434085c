#include "kestrel/kernels/ResampleRows.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ResampleRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Interpolates all bytes: `lanes(d16, i)` and `share(i)` are the shares from byte `i` on.
template <class Lanes, class Share>
HWY_INLINE void Interpolate(ConstRow previous, ConstRow bytes, [[maybe_unused]] const Lanes& lanes, const Share& share,
                            Row to) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8;
    for (; i + hn::Lanes(d16) <= to.size(); i += hn::Lanes(d16)) {
        const auto before = hn::PromoteTo(d16, hn::LoadU(d8, previous.data() + i));
        const auto byte = hn::PromoteTo(d16, hn::LoadU(d8, bytes.data() + i));
        const auto product = hn::Add(hn::Mul(lanes(d16, i), hn::Sub(byte, before)), hn::Set(d16, 16));
        // A shift rounds down: 31 is added below zero, so that it cuts toward zero as the division does.
        const auto up = hn::And(hn::ShiftRight<15>(product), hn::Set(d16, 31));
        const auto moved = hn::ShiftRight<5>(hn::Add(product, up));
        hn::StoreU(hn::DemoteTo(d8, hn::Add(before, moved)), d8, to.data() + i);
    }
#endif
    for (; i < to.size(); ++i) to[i] = InterpolatedByte(previous[i], bytes[i], share(i));
}

void InterpolateRow(ConstRow previous, ConstRow bytes, std::span<const std::int16_t> shares, Row to) {
    Interpolate(
        previous, bytes, [shares](auto d, std::size_t i) HWY_ATTR { return hn::LoadU(d, shares.data() + i); },
        [shares](std::size_t i) { return shares[i]; }, to);
}

void InterpolateRowEvenly(ConstRow previous, ConstRow bytes, std::int16_t share, Row to) {
    Interpolate(
        previous, bytes, [share](auto d, std::size_t) HWY_ATTR { return hn::Set(d, share); },
        [share](std::size_t) { return share; }, to);
}

void CubicRow(const CubicTap& tap, const std::array<ConstRow, 4>& from, Row out) {
    std::uint8_t* const to = out.data();
    const std::size_t size = out.size();
    const OpaqueDivision divide(tap);
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int32_t> d32;
    const hn::Rebind<std::uint8_t, decltype(d32)> d8;
    const hn::Rebind<float, decltype(d32)> df;
    const std::size_t lanes = hn::Lanes(d32);
    const auto weighed = [&](std::size_t row) HWY_ATTR {
        return hn::Mul(hn::PromoteTo(d32, hn::LoadU(d8, from[row].data() + i)), hn::Set(d32, tap.weight[row]));
    };
    for (; i + lanes <= size; i += lanes) {
        const auto value = hn::Add(hn::Add(weighed(0), weighed(1)), hn::Add(weighed(2), weighed(3)));
        const auto numerator = hn::ConvertTo(df, hn::Add(hn::Add(value, value), hn::Set(d32, divide.sum)));
        const auto quotient = hn::Mul(hn::Add(numerator, hn::Set(df, 0.5F)), hn::Set(df, divide.reciprocal));
        const auto held = hn::Min(hn::Max(quotient, hn::Zero(df)), hn::Set(df, 255.0F));
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(d32, held)), d8, to + i);
    }
#endif
    for (; i < size; ++i) to[i] = divide(tap.Weigh(from[0][i], from[1][i], from[2][i], from[3][i]));
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(InterpolateRow);
void InterpolateRow(ConstRow previous, ConstRow bytes, std::span<const std::int16_t> shares, Row to) {
    HWY_DYNAMIC_DISPATCH(InterpolateRow)(previous, bytes, shares, to);
}

HWY_EXPORT(InterpolateRowEvenly);
void InterpolateRow(ConstRow previous, ConstRow bytes, std::int16_t share, Row to) {
    HWY_DYNAMIC_DISPATCH(InterpolateRowEvenly)(previous, bytes, share, to);
}

HWY_EXPORT(CubicRow);
void CubicRow(const CubicTap& tap, const std::array<ConstRow, 4>& from, Row to) {
    HWY_DYNAMIC_DISPATCH(CubicRow)(tap, from, to);
}

}  // namespace kestrel::kernels
#endif
