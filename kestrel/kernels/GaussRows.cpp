#include "kestrel/kernels/GaussRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>

#include "kestrel/kernels/GaussWeights.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/GaussRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
using D32 = hn::ScalableTag<std::uint32_t>;
using V32 = hn::Vec<D32>;
using D64 = hn::Repartition<std::uint64_t, D32>;

/// Factors of as many columns, ready to be multiplied by those of rows.
class ColumnFactors {
public:
    HWY_INLINE explicit ColumnFactors(const std::uint32_t* factors)
        : even_(hn::LoadU(D32(), factors)), odd_(hn::BitCast(D32(), hn::ShiftRight<32>(hn::BitCast(D64(), even_)))) {}

    /// `GaussWeight` of each column.
    HWY_INLINE V32 Weights(std::uint32_t ofRow) const {
        const D32 d;
        const auto row = hn::Set(d, ofRow);
        const auto even = hn::BitCast(d, hn::ShiftRight<32>(hn::MulEven(even_, row)));
        const auto odd = hn::BitCast(d, hn::MulEven(odd_, row));
        const auto product = hn::OddEven(odd, even);
        return hn::IfThenElse(hn::Lt(product, hn::Set(d, kSmallestGaussProduct)), hn::Set(d, 1),
                              hn::ShiftRight<kGaussProductBits>(product));
    }

private:
    V32 even_;
    V32 odd_;
};

HWY_INLINE V32 LoadBytes(const std::uint8_t* bytes) {
    const D32 d;
    return hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, D32>(), bytes));
}

/// The sum of all lanes, which may take more than 32 bits.
HWY_INLINE std::uint64_t Total(V32 lanes) {
    const D64 d;
    const auto wide = hn::BitCast(d, lanes);
    return hn::GetLane(hn::SumOfLanes(d, hn::Add(hn::And(wide, hn::Set(d, 0xFFFFFFFF)), hn::ShiftRight<32>(wide))));
}
#endif

void SplitPlanes(ConstRow pixels, std::uint8_t* blue, std::uint8_t* green, std::uint8_t* red) {
    const std::size_t width = pixels.size() / 3;
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    for (; x + hn::Lanes(d) <= width; x += hn::Lanes(d)) {
        hn::Vec<decltype(d)> b, g, r;
        hn::LoadInterleaved3(d, pixels.data() + x * 3, b, g, r);
        hn::StoreU(b, d, blue + x);
        hn::StoreU(g, d, green + x);
        hn::StoreU(r, d, red + x);
    }
#endif
    for (; x < width; ++x) {
        blue[x] = pixels[x * 3];
        green[x] = pixels[x * 3 + 1];
        red[x] = pixels[x * 3 + 2];
    }
}

#if HWY_TARGET != HWY_SCALAR
template <bool kMasked>
HWY_INLINE void SumLanes(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums,
                         GaussMaskSums* masks) {
    const D32 d;
    for (std::size_t x = 0; x < factors.size(); x += hn::Lanes(d)) {
        const ColumnFactors columns(factors.data() + x);
        auto blue = hn::Zero(d), green = blue, red = blue, weights = blue, mask = blue, total = blue;
        for (const GaussTapRow& tap : rows) {
            auto weight = columns.Weights(tap.factor);
            if constexpr (kMasked) {
                const auto masked = LoadBytes(tap.row.mask + x);
                total = hn::Add(total, weight);
                mask = hn::Add(mask, hn::Mul(weight, masked));
                weight = hn::IfThenZeroElse(hn::Eq(masked, hn::Set(d, 255)), weight);
            }
            blue = hn::Add(blue, hn::Mul(weight, LoadBytes(tap.row.blue + x)));
            green = hn::Add(green, hn::Mul(weight, LoadBytes(tap.row.green + x)));
            red = hn::Add(red, hn::Mul(weight, LoadBytes(tap.row.red + x)));
            weights = hn::Add(weights, weight);
        }
        hn::StoreInterleaved4(blue, green, red, weights, d, &sums[x].blue);
        if constexpr (kMasked) hn::StoreInterleaved2(mask, total, d, &masks[x].mask);
    }
}
#else
template <bool kMasked>
void SumLanes(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums,
              GaussMaskSums* masks) {
    for (std::size_t x = 0; x < factors.size(); ++x) {
        GaussSums sum{};
        GaussMaskSums maskSum{};
        for (const GaussTapRow& tap : rows) {
            const std::uint32_t weight = GaussWeight(factors[x], tap.factor);
            if constexpr (kMasked) {
                maskSum.total += weight;
                maskSum.mask += weight * tap.row.mask[x];
                if (tap.row.mask[x] == 255) continue;
            }
            sum.blue += weight * tap.row.blue[x];
            sum.green += weight * tap.row.green[x];
            sum.red += weight * tap.row.red[x];
            sum.weight += weight;
        }
        sums[x] = sum;
        if constexpr (kMasked) masks[x] = maskSum;
    }
}
#endif

void SumDown(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums) {
    SumLanes<false>(factors, rows, sums, nullptr);
}

void SumDownMasked(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums,
                   GaussMaskSums* masks) {
    SumLanes<true>(factors, rows, sums, masks);
}

/// A sum divided by its weight, which is not 0, and rounded.
constexpr std::uint8_t MeanByte(std::uint32_t sum, std::uint32_t weight) {
    return static_cast<std::uint8_t>((std::uint64_t{sum} + weight / 2) / weight);
}

#if HWY_TARGET != HWY_SCALAR
/// `MeanByte` of sums of at most 255 times their weights, none of which is 0. The quotient in single precision is at
/// most one off, which the remainder tells; a sum and half its weight stay inside 32 bits.
HWY_INLINE hn::Vec<hn::Rebind<std::uint8_t, D32>> MeanLanes(V32 sum, V32 weight) {
    const hn::Rebind<std::int32_t, D32> d;
    const hn::Rebind<float, D32> df;
    const auto numerator = hn::Add(sum, hn::ShiftRight<1>(weight));
    const auto divisor = hn::BitCast(d, weight);
    const auto half = hn::ConvertTo(df, hn::BitCast(d, hn::ShiftRight<1>(numerator)));
    const auto quotient = hn::ConvertTo(d, hn::Div(hn::Add(half, half), hn::ConvertTo(df, divisor)));
    const auto rest = hn::Sub(hn::BitCast(d, numerator), hn::Mul(quotient, divisor));
    const auto tooMany = hn::VecFromMask(d, hn::Lt(rest, hn::Zero(d)));  // true is -1
    const auto enough = hn::VecFromMask(d, hn::Lt(rest, divisor));
    return hn::DemoteTo(hn::Rebind<std::uint8_t, D32>(),
                        hn::Add(hn::Add(quotient, hn::Set(d, 1)), hn::Add(tooMany, enough)));
}
#endif

/// Adds the columns of each range.
template <class Sums>
HWY_INLINE void AddColumns(std::span<const ColumnRange> ranges, const Sums* sums, Sums* to) {
    constexpr std::size_t kNumbers = sizeof(Sums) / sizeof(std::uint32_t);
    const hn::CappedTag<std::uint32_t, kNumbers> d;
    for (const ColumnRange& range : ranges) {
        auto* const out = reinterpret_cast<std::uint32_t*>(to++);
        for (std::size_t i = 0; i < kNumbers; i += hn::Lanes(d)) {
            const auto* from = reinterpret_cast<const std::uint32_t*>(sums + range.first) + i;
            auto sum = hn::Zero(d);
            for (std::size_t k = 0; k < range.count; ++k, from += kNumbers) sum = hn::Add(sum, hn::LoadU(d, from));
            hn::StoreU(sum, d, out + i);
        }
    }
}

/// Result pixels that are divided together: whole vectors of any instruction set.
constexpr std::size_t kBlock = 16;

void AverageAcross(std::span<const ColumnRange> ranges, const GaussSums* sums, Row pixels) {
    GaussSums added[kBlock];
    for (std::size_t x = 0; x < ranges.size(); x += kBlock) {
        const std::size_t size = std::min(kBlock, ranges.size() - x);
        std::uint8_t* const to = pixels.data() + x * 3;
        AddColumns(ranges.subspan(x, size), sums, added);
#if HWY_TARGET != HWY_SCALAR
        const D32 d;
        if (size == kBlock && std::ranges::none_of(added, [](const GaussSums& sum) { return sum.weight == 0; })) {
            for (std::size_t i = 0; i < kBlock; i += hn::Lanes(d)) {
                V32 blue, green, red, weight;
                hn::LoadInterleaved4(d, &added[i].blue, blue, green, red, weight);
                hn::StoreInterleaved3(MeanLanes(blue, weight), MeanLanes(green, weight), MeanLanes(red, weight),
                                      hn::Rebind<std::uint8_t, D32>(), to + i * 3);
            }
            continue;
        }
#endif
        for (std::size_t i = 0; i < size; ++i) {
            const GaussSums& sum = added[i];
            if (sum.weight == 0) continue;
            to[i * 3] = MeanByte(sum.blue, sum.weight);
            to[i * 3 + 1] = MeanByte(sum.green, sum.weight);
            to[i * 3 + 2] = MeanByte(sum.red, sum.weight);
        }
    }
}

void AverageMaskAcross(std::span<const ColumnRange> ranges, const GaussMaskSums* sums, Row mask) {
    GaussMaskSums added[kBlock];
    for (std::size_t x = 0; x < ranges.size(); x += kBlock) {
        const std::size_t size = std::min(kBlock, ranges.size() - x);
        AddColumns(ranges.subspan(x, size), sums, added);
#if HWY_TARGET != HWY_SCALAR
        const D32 d;
        if (size == kBlock) {  // all taps weigh, so that no total is 0
            for (std::size_t i = 0; i < kBlock; i += hn::Lanes(d)) {
                V32 sum, total;
                hn::LoadInterleaved2(d, &added[i].mask, sum, total);
                hn::StoreU(MeanLanes(sum, total), hn::Rebind<std::uint8_t, D32>(), mask.data() + x + i);
            }
            continue;
        }
#endif
        for (std::size_t i = 0; i < size; ++i) mask[x + i] = MeanByte(added[i].mask, added[i].total);
    }
}

/// Sums of one row of a result pixel's taps; colours are products whose low bits `productShift` has dropped.
struct RowTotals {
    std::uint64_t blue = 0, green = 0, red = 0, weight = 0, mask = 0, total = 0;
};

#if HWY_TARGET != HWY_SCALAR
template <bool kMasked>
HWY_INLINE RowTotals TotalsOf(const GaussSpan& span, const GaussTapRow& tap, int productShift) {
    const D32 d;
    const std::size_t lanes = hn::Lanes(d);
    RowTotals totals;
    std::size_t k = 0;
    while (k < span.count) {
        const std::size_t end = std::min(span.count, k + 256 * lanes);  // a lane holds 257 products
        auto blue = hn::Zero(d), green = blue, red = blue, weights = blue, mask = blue, total = blue;
        for (; k < end; k += lanes) {
            const std::size_t x = span.first + k;
            auto weight = ColumnFactors(span.factors + k).Weights(tap.factor);
            if (span.count - k < lanes) weight = hn::IfThenElseZero(hn::FirstN(d, span.count - k), weight);
            if constexpr (kMasked) {
                const auto masked = LoadBytes(tap.row.mask + x);
                total = hn::Add(total, weight);
                mask = hn::Add(mask, hn::Mul(weight, masked));
                weight = hn::IfThenZeroElse(hn::Eq(masked, hn::Set(d, 255)), weight);
            }
            const auto product = [&](const std::uint8_t* plane) HWY_ATTR {
                return hn::ShiftRightSame(hn::Mul(weight, LoadBytes(plane + x)), productShift);
            };
            blue = hn::Add(blue, product(tap.row.blue));
            green = hn::Add(green, product(tap.row.green));
            red = hn::Add(red, product(tap.row.red));
            weights = hn::Add(weights, weight);
        }
        totals.blue += Total(blue);
        totals.green += Total(green);
        totals.red += Total(red);
        totals.weight += Total(weights);
        if constexpr (kMasked) {
            totals.mask += Total(mask);
            totals.total += Total(total);
        }
    }
    return totals;
}
#else
template <bool kMasked>
RowTotals TotalsOf(const GaussSpan& span, const GaussTapRow& tap, int productShift) {
    RowTotals totals;
    for (std::size_t k = 0; k < span.count; ++k) {
        const std::size_t x = span.first + k;
        const std::uint32_t weight = GaussWeight(span.factors[k], tap.factor);
        if constexpr (kMasked) {
            totals.total += weight;
            totals.mask += weight * tap.row.mask[x];
            if (tap.row.mask[x] == 255) continue;
        }
        totals.blue += (weight * tap.row.blue[x]) >> productShift;
        totals.green += (weight * tap.row.green[x]) >> productShift;
        totals.red += (weight * tap.row.red[x]) >> productShift;
        totals.weight += weight;
    }
    return totals;
}
#endif

void AddTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, OpaqueSums sums,
             GaussTotals* to) {
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const int shift = GaussShift(spans[i].reach, rowReach);
        const int productShift = sums == OpaqueSums::ShiftProducts ? shift : 0;
        const int rowShift = shift - productShift;
        const RowTotals totals = TotalsOf<false>(spans[i], row, productShift);
        to[i].colour[0] += totals.blue >> rowShift;
        to[i].colour[1] += totals.green >> rowShift;
        to[i].colour[2] += totals.red >> rowShift;
        to[i].colourWeight += totals.weight;
    }
}

void AddMaskedTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, GaussTotals* to) {
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const int shift = GaussShift(spans[i].reach, rowReach);
        const RowTotals totals = TotalsOf<true>(spans[i], row, shift);
        to[i].total += totals.total;
        to[i].mask += totals.mask >> shift;
        to[i].colour[0] += totals.blue;
        to[i].colour[1] += totals.green;
        to[i].colour[2] += totals.red;
        to[i].colourWeight += totals.weight;
    }
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(AverageAcross);
void AverageAcross(std::span<const ColumnRange> ranges, const GaussSums* sums, Row pixels) {
    HWY_DYNAMIC_DISPATCH(AverageAcross)(ranges, sums, pixels);
}

HWY_EXPORT(AverageMaskAcross);
void AverageMaskAcross(std::span<const ColumnRange> ranges, const GaussMaskSums* sums, Row mask) {
    HWY_DYNAMIC_DISPATCH(AverageMaskAcross)(ranges, sums, mask);
}

HWY_EXPORT(SplitPlanes);
void SplitPlanes(ConstRow pixels, std::uint8_t* blue, std::uint8_t* green, std::uint8_t* red) {
    HWY_DYNAMIC_DISPATCH(SplitPlanes)(pixels, blue, green, red);
}

HWY_EXPORT(SumDown);
void SumDown(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums) {
    HWY_DYNAMIC_DISPATCH(SumDown)(factors, rows, sums);
}

HWY_EXPORT(SumDownMasked);
void SumDownMasked(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums,
                   GaussMaskSums* masks) {
    HWY_DYNAMIC_DISPATCH(SumDownMasked)(factors, rows, sums, masks);
}

HWY_EXPORT(AddTaps);
void AddTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, OpaqueSums sums,
             GaussTotals* to) {
    HWY_DYNAMIC_DISPATCH(AddTaps)(spans, row, rowReach, sums, to);
}

HWY_EXPORT(AddMaskedTaps);
void AddMaskedTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, GaussTotals* to) {
    HWY_DYNAMIC_DISPATCH(AddMaskedTaps)(spans, row, rowReach, to);
}

}  // namespace kestrel::kernels
#endif
