#include "kestrel/kernels/HueRangeRow.h"  // plain headers first: nothing shared may be compiled for one target

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HueRangeRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// Integer division toward zero of numerators below 2^22 by 1..255. A single-precision quotient is rounded by less than
/// what separates it from the next integer, since divisor × quotient stays below 2^24. Any divisor of 0 gives garbage.
template <class D, class V>
HWY_INLINE V DivideLanes(D d, V numerator, V divisor) {
    const hn::RebindToFloat<D> df;
    return hn::ConvertTo(d, hn::Div(hn::ConvertTo(df, numerator), hn::ConvertTo(df, divisor)));
}

void HueRangeRow(Row row, std::int32_t centre, const RangeTables& tables, const HueRangeWeights& weights) {
    const auto wide = [&](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        constexpr int kSextant = kHueTurn / 6;
        const auto zero = hn::Zero(d);
        const auto greatest = hn::Max(hn::Max(blue, green), red);
        const auto spread = hn::Sub(greatest, hn::Min(hn::Min(blue, green), red));
        const auto redMax = hn::Eq(greatest, red);
        const auto greenMax = hn::Eq(greatest, green);
        const auto difference = hn::IfThenElse(redMax, hn::Sub(green, blue),
                                               hn::IfThenElse(greenMax, hn::Sub(blue, red), hn::Sub(red, green)));
        const auto start =
            hn::IfThenElse(redMax, zero, hn::IfThenElse(greenMax, hn::Set(d, 2 * kSextant), hn::Set(d, 4 * kSextant)));
        // Greys are divided by 1 and left out below; so is what has no saturation.
        const auto one = hn::Set(d, 1);
        auto hue = hn::Add(DivideLanes(d, hn::Mul(difference, hn::Set(d, kSextant)), hn::Max(spread, one)), start);
        hue = hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, hn::Set(d, kHueTurn)), hue);
        auto distance = hn::Abs(hn::Sub(hue, hn::Set(d, centre)));
        distance = hn::IfThenElse(hn::Gt(distance, hn::Set(d, kHueTurn / 2)), hn::Sub(hn::Set(d, kHueTurn), distance),
                                  distance);
        const auto inside = hn::And(hn::Gt(spread, zero), hn::Lt(distance, hn::Set(d, HueRangeWeights::kReach)));
        if (hn::AllFalse(d, inside)) return;
        const auto saturation = DivideLanes(d, hn::Mul(spread, hn::Set(d, 255)), hn::Max(greatest, one));
        const auto falloff =
            hn::GatherIndex(d, weights.falloff.data(), hn::IfThenElseZero(inside, hn::ShiftRight<5>(distance)));
        const auto strength = hn::GatherIndex(d, weights.saturation.data(), saturation);
        const auto changed = hn::And(inside, hn::Gt(saturation, zero));
        const auto weight = hn::IfThenElseZero(changed, hn::Mul(falloff, strength));
        const auto add = [&](auto byte, const std::array<std::int32_t, 256>& table) HWY_ATTR {
            const auto moved = hn::ShiftRight<16>(hn::Mul(hn::GatherIndex(d, table.data(), byte), weight));
            return hn::And(hn::Add(byte, moved), hn::Set(d, 255));
        };
        blue = add(blue, tables.blue);
        green = add(green, tables.green);
        red = add(red, tables.red);
    };
    MapPlanes<std::int32_t>(row, wide, [&](Bgr p) { return HueRangePixel(p, centre, tables, weights); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

/// Does every entry times the greatest weight, 255 × 255, fit 32 bits?
bool Fits(const std::array<std::int32_t, 256>& table) {
    std::int32_t least = 0;
    std::int32_t greatest = 0;
    for (const std::int32_t entry : table) {
        least = std::min(least, entry);
        greatest = std::max(greatest, entry);
    }
    return least >= -32768 && greatest <= 32767;
}

}  // namespace

HWY_EXPORT(HueRangeRow);
void HueRangeRow(Row row, std::int32_t centre, const RangeTables& tables, const HueRangeWeights& weights) {
    // A centre within one turn keeps all distances at or above 0.
    const bool fits = centre >= 0 && centre <= kHueTurn && Fits(tables.blue) && Fits(tables.green) && Fits(tables.red);
    if (fits) return HWY_DYNAMIC_DISPATCH(HueRangeRow)(row, centre, tables, weights);
    MapPixels(row, [&](Bgr p) { return HueRangePixel(p, centre, tables, weights); });
}

}  // namespace kestrel::kernels
#endif
