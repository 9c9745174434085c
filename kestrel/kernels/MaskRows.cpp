#include "kestrel/kernels/MaskRows.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "kestrel/kernels/Divides.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/MaskRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef KESTREL_KERNELS_MASK_ROWS_ONCE
#define KESTREL_KERNELS_MASK_ROWS_ONCE
namespace kestrel::kernels {

/// Where the three rows begin, a byte before the first column that is made. Held by value, so that a store of a byte
/// cannot change them.
struct MaskStarts {
    explicit MaskStarts(const MaskNeighbours& rows)
        : below(rows.below.data()), row(rows.row.data()), above(rows.above.data()) {}

    const std::uint8_t* below;
    const std::uint8_t* row;
    const std::uint8_t* above;
};

/// Sum of the eight neighbours of column `x`.
inline std::uint32_t RingSum(const MaskStarts& rows, std::size_t x) {
    const auto three = [x](const std::uint8_t* row) -> std::uint32_t {
        return static_cast<std::uint32_t>(row[x] + row[x + 1] + row[x + 2]);
    };
    return three(rows.below) + rows.row[x] + rows.row[x + 2] + three(rows.above);
}

// Divisions as products that lose 16 bits and those of a shift. `kOver37` and `kOver185` are the rule, although they
// cut more than a division would; a mask that is 255 all over stays so. `kBy185` and `kBy255` divide exactly.
constexpr int kSumBits = 16;
constexpr std::uint32_t kOver37 = 7085, kOver37Shift = 2;
constexpr std::uint32_t kOver185 = 1417, kOver185Shift = 2;
constexpr std::uint32_t kBy185 = 45344, kBy185Shift = 7;
static_assert((37 * 255 * kOver37) >> (kSumBits + kOver37Shift) == 255);
static_assert((185 * 255 * kOver185) >> (kSumBits + kOver185Shift) == 255);
static_assert(Divides(kBy185, kSumBits + kBy185Shift, 185, 185 * 255));
constexpr std::uint32_t kBy255 = 32897, kBy255Shift = 7;
static_assert(Divides(kBy255, kSumBits + kBy255Shift, 255, 255 * 255));

/// Weights of an embossing stay below this where 32 bits hold the sum.
constexpr std::int32_t kLargestSlope = 1 << 19;

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
/// Three neighbouring columns of a row in the lanes of a number.
template <class D>
struct Three {
    hn::Vec<D> left, middle, right;
    HWY_INLINE hn::Vec<D> Ends() const { return hn::Add(left, right); }
};

/// Columns of a row widened to lanes.
template <class D>
HWY_INLINE Three<D> Columns(D d, const std::uint8_t* at) {
    const hn::Rebind<std::uint8_t, D> d8;
    return {hn::PromoteTo(d, hn::LoadU(d8, at)), hn::PromoteTo(d, hn::LoadU(d8, at + 1)),
            hn::PromoteTo(d, hn::LoadU(d8, at + 2))};
}

/// The even columns of a vector of bytes, and the odd ones, in lanes of 16 bits. Bytes are taken from wide lanes and
/// put back without crossing them, and what is right of one column is left of another: two loads make six vectors.
template <class D>
struct Pairs {
    Three<D> even, odd;
    HWY_INLINE Pairs(D d, const std::uint8_t* at) {
        const hn::Repartition<std::uint8_t, D> d8;
        const auto first = hn::BitCast(d, hn::LoadU(d8, at));
        const auto second = hn::BitCast(d, hn::LoadU(d8, at + 2));
        const auto low = hn::Set(d, 255);
        even = {hn::And(first, low), hn::ShiftRight<8>(first), hn::And(second, low)};
        odd = {even.middle, even.right, hn::ShiftRight<8>(second)};
    }
};

/// Lanes that hold 0..255 as bytes.
template <class D, class V>
HWY_INLINE void StoreBytes(D, V numbers, std::uint8_t* to) {
    const hn::RebindToSigned<D> di;
    const hn::Rebind<std::uint8_t, D> d8;
    hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di, numbers)), d8, to);
}
#endif

/// Makes a row in lanes of a number: `wide(d, below, row, above)` from three columns of each row, `plain(x)` the
/// columns that are left.
template <class Number, class Wide, class Plain>
HWY_INLINE void MapMask([[maybe_unused]] const MaskStarts& rows, Row out, [[maybe_unused]] const Wide& wide,
                        const Plain& plain) {
    std::uint8_t* const to = out.data();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<Number> d;
    if constexpr (sizeof(Number) == 2) {
        const hn::Repartition<std::uint8_t, decltype(d)> d8;
        for (; x + hn::Lanes(d8) <= out.size(); x += hn::Lanes(d8)) {
            const Pairs below(d, rows.below + x), row(d, rows.row + x), above(d, rows.above + x);
            const auto even = wide(d, below.even, row.even, above.even);
            const auto odd = wide(d, below.odd, row.odd, above.odd);
            hn::StoreU(hn::BitCast(d8, hn::Or(even, hn::ShiftLeft<8>(odd))), d8, to + x);
        }
    }
    for (; x + hn::Lanes(d) <= out.size(); x += hn::Lanes(d))
        StoreBytes(d, wide(d, Columns(d, rows.below + x), Columns(d, rows.row + x), Columns(d, rows.above + x)),
                   to + x);
#endif
    for (; x < out.size(); ++x) to[x] = static_cast<std::uint8_t>(plain(x));
}

void BinomialMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto wide = [](auto, const auto& below, const auto& row, const auto& above) HWY_ATTR {
        const auto ends = hn::Add(below.Ends(), above.Ends());
        const auto cross = hn::Add(hn::Add(below.middle, above.middle), row.Ends());
        const auto sum = hn::Add(hn::Add(ends, hn::Add(cross, cross)), hn::ShiftLeft<2>(row.middle));
        return hn::ShiftRight<4>(sum);
    };
    const auto three = [](const std::uint8_t* row, std::size_t x) { return row[x] + 2 * row[x + 1] + row[x + 2]; };
    MapMask<std::uint16_t>(rows, out, wide, [&](std::size_t x) {
        return (three(rows.below, x) + 2 * three(rows.row, x) + three(rows.above, x)) >> 4;
    });
}

#if HWY_TARGET != HWY_SCALAR
/// Sum of the eight neighbours: at most 2040.
template <class Columns>
HWY_INLINE auto RingLanes(const Columns& below, const Columns& row, const Columns& above) {
    return hn::Add(hn::Add(hn::Add(below.Ends(), below.middle), hn::Add(above.Ends(), above.middle)), row.Ends());
}
#endif

void SmoothMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto wide = [](auto d, const auto& below, const auto& row, const auto& above) HWY_ATTR {
        const auto all = hn::Add(RingLanes(below, row, above), row.middle);
        const auto sum = hn::Add(hn::ShiftLeft<2>(all), row.middle);
        return hn::ShiftRight<kOver37Shift>(hn::MulHigh(sum, hn::Set(d, kOver37)));
    };
    MapMask<std::uint16_t>(rows, out, wide, [&](std::size_t x) {
        return (4 * RingSum(rows, x) + 5u * rows.row[x + 1]) * kOver37 >> (kSumBits + kOver37Shift);
    });
}

void SmoothMaskRowInPart(int fifths, const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto neighbour = static_cast<std::uint16_t>(4 * fifths);
    const auto centre = static_cast<std::uint16_t>(185 - 8 * neighbour);
    const auto make = [&](std::uint16_t factor, auto drop) HWY_ATTR {
        constexpr int kDrop = decltype(drop)::value;
        const auto wide = [=](auto d, const auto& below, const auto& row, const auto& above) HWY_ATTR {
            const auto sum = hn::Add(hn::Mul(RingLanes(below, row, above), hn::Set(d, neighbour)),
                                     hn::Mul(row.middle, hn::Set(d, centre)));
            return hn::ShiftRight<kDrop>(hn::MulHigh(sum, hn::Set(d, factor)));
        };
        MapMask<std::uint16_t>(rows, out, wide, [&, factor](std::size_t x) {
            const std::uint32_t sum = neighbour * RingSum(rows, x) + std::uint32_t{centre} * rows.row[x + 1];
            return sum * factor >> (kSumBits + kDrop);
        });
    };
    if (fifths == 2)
        make(kOver185, std::integral_constant<int, kOver185Shift>());
    else
        make(kBy185, std::integral_constant<int, kBy185Shift>());
}

void MinimumMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    std::uint8_t* const to = out.data();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    const auto three = [=](const std::uint8_t* at) HWY_ATTR {
        return hn::Min(hn::Min(hn::LoadU(d, at), hn::LoadU(d, at + 1)), hn::LoadU(d, at + 2));
    };
    for (; x + hn::Lanes(d) <= out.size(); x += hn::Lanes(d))
        hn::StoreU(hn::Min(hn::Min(three(rows.below + x), three(rows.row + x)), three(rows.above + x)), d, to + x);
#endif
    const auto least = [](const std::uint8_t* at) { return std::min({at[0], at[1], at[2]}); };
    for (; x < out.size(); ++x) to[x] = std::min({least(rows.below + x), least(rows.row + x), least(rows.above + x)});
}

void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto wide = [&weights](auto d, const auto& below, const auto& row, const auto& above) HWY_ATTR {
        const auto times = [d](std::int32_t weight, auto bytes) HWY_ATTR { return hn::Mul(hn::Set(d, weight), bytes); };
        const auto three = [&times](const auto& w, const auto& columns) HWY_ATTR {
            return hn::Add(hn::Add(times(w[0], columns.left), times(w[1], columns.middle)), times(w[2], columns.right));
        };
        const auto middle = hn::Add(times(weights[1][0], row.left), times(weights[1][2], row.right));
        const auto sum = hn::Add(hn::Add(three(weights[0], below), middle), three(weights[2], above));
        const auto towardZero = hn::And(hn::ShiftRight<31>(sum), hn::Set(d, 4095));
        const auto slope = hn::ShiftRight<12>(hn::Add(sum, towardZero));
        return hn::Min(hn::Max(hn::Add(slope, hn::Set(d, 128)), hn::Zero(d)), hn::Set(d, 255));
    };
    const auto three = [](const std::array<std::int32_t, 3>& w, const std::uint8_t* at) {
        return std::int64_t{w[0]} * at[0] + std::int64_t{w[1]} * at[1] + std::int64_t{w[2]} * at[2];
    };
    const std::array<std::int32_t, 3> middle{weights[1][0], 0, weights[1][2]};
    const auto plain = [&](std::size_t x) {
        const std::int64_t sum =
            three(weights[0], rows.below + x) + three(middle, rows.row + x) + three(weights[2], rows.above + x);
        return std::clamp<std::int64_t>(sum / 4096 + 128, 0, 255);
    };
    bool fits = true;
    for (const auto& row : weights)
        for (const std::int32_t weight : row) fits = fits && weight > -kLargestSlope && weight < kLargestSlope;
    if (fits)
        MapMask<std::int32_t>(rows, out, wide, plain);
    else
        for (std::size_t x = 0; x < out.size(); ++x) out[x] = static_cast<std::uint8_t>(plain(x));
}

void ApplyReliefRow(Row pixels, ConstRow relief, bool sunken) {
    std::uint8_t* const to = pixels.data();
    const std::uint8_t* const slopes = relief.data();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    const auto flat = hn::Set(d, 128);
    for (; x + hn::Lanes(d) <= relief.size(); x += hn::Lanes(d)) {
        const auto slope = hn::LoadU(d, slopes + x);
        const auto up = hn::SaturatedSub(slope, flat);
        const auto down = hn::SaturatedSub(flat, slope);
        const auto light = sunken ? down : up;
        const auto shade = sunken ? up : down;
        const auto lit = [=](auto bytes) HWY_ATTR { return hn::SaturatedSub(hn::SaturatedAdd(bytes, light), shade); };
        hn::Vec<decltype(d)> blue, green, red;
        hn::LoadInterleaved3(d, to + 3 * x, blue, green, red);
        hn::StoreInterleaved3(lit(blue), lit(green), lit(red), d, to + 3 * x);
    }
#endif
    for (; x < relief.size(); ++x) {
        const int light = sunken ? 128 - slopes[x] : slopes[x] - 128;
        for (std::size_t i = 3 * x; i < 3 * x + 3; ++i)
            to[i] = static_cast<std::uint8_t>(std::clamp(to[i] + light, 0, 255));
    }
}

void OutsideMaskRow(Row shadow, ConstRow picture) {
    std::uint8_t* const to = shadow.data();
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const auto all = hn::Set(d, 255);
    for (; x + hn::Lanes(d) <= shadow.size(); x += hn::Lanes(d)) {
        const auto seen = hn::Sub(all, hn::PromoteTo(d, hn::LoadU(d8, picture.data() + x)));
        const auto both = hn::Mul(seen, hn::PromoteTo(d, hn::LoadU(d8, to + x)));
        StoreBytes(d, hn::Sub(all, hn::ShiftRight<kBy255Shift>(hn::MulHigh(both, hn::Set(d, kBy255)))), to + x);
    }
#endif
    for (; x < shadow.size(); ++x) to[x] = OutsideMask(to[x], picture[x]);
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(BinomialMaskRow);
void BinomialMaskRow(const MaskNeighbours& rows, Row out) { HWY_DYNAMIC_DISPATCH(BinomialMaskRow)(rows, out); }

HWY_EXPORT(SmoothMaskRow);
void SmoothMaskRow(const MaskNeighbours& rows, Row out) { HWY_DYNAMIC_DISPATCH(SmoothMaskRow)(rows, out); }

HWY_EXPORT(SmoothMaskRowInPart);
void SmoothMaskRowInPart(int fifths, const MaskNeighbours& rows, Row out) {
    HWY_DYNAMIC_DISPATCH(SmoothMaskRowInPart)(fifths, rows, out);
}

HWY_EXPORT(MinimumMaskRow);
void MinimumMaskRow(const MaskNeighbours& rows, Row out) { HWY_DYNAMIC_DISPATCH(MinimumMaskRow)(rows, out); }

HWY_EXPORT(EmbossMaskRow);
void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& rows, Row out) {
    HWY_DYNAMIC_DISPATCH(EmbossMaskRow)(weights, rows, out);
}

HWY_EXPORT(ApplyReliefRow);
void ApplyReliefRow(Row pixels, ConstRow relief, bool sunken) {
    HWY_DYNAMIC_DISPATCH(ApplyReliefRow)(pixels, relief, sunken);
}

HWY_EXPORT(OutsideMaskRow);
void OutsideMaskRow(Row shadow, ConstRow picture) { HWY_DYNAMIC_DISPATCH(OutsideMaskRow)(shadow, picture); }

}  // namespace kestrel::kernels
#endif
