#include "kestrel/passes/GaussReduce.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/kernels/GaussWeights.h"

namespace kestrel::passes {
namespace {
using kernels::GaussTotals;
using kernels::OpaqueSums;

/// Divides sums by a weight other than 0 and rounds. The shifts may leave a sum a little above 255 times its weight.
/// Half a unit is added to the numerator, so that the quotient stays half a weight's part away from every whole number;
/// up to 2^40 that is more than what doubles round away.
class Mean {
public:
    explicit Mean(std::uint64_t weight) : weight_(weight), reciprocal_(1.0 / static_cast<double>(weight)) {}

    std::uint8_t operator()(std::uint64_t sum) const {
        const std::uint64_t numerator = sum + weight_ / 2;
        const std::uint64_t quotient =
            weight_ < kExact ? static_cast<std::uint64_t>(
                                   (static_cast<double>(static_cast<std::int64_t>(numerator)) + 0.5) * reciprocal_)
                             : numerator / weight_;
        return static_cast<std::uint8_t>(std::min<std::uint64_t>(quotient, 255));
    }

private:
    static constexpr std::uint64_t kExact = std::uint64_t{1} << 40;
    std::uint64_t weight_;
    double reciprocal_;
};

/// Stores what a pixel has collected; the bits of `shift` have been dropped from all but the weights.
void Store(const GaussTotals& totals, int shift, std::uint8_t* pixel, std::uint8_t* mask) {
    if (const std::uint64_t weight = totals.colourWeight >> shift; pixel && weight != 0) {
        const Mean mean(weight);
        for (int c = 0; c < 3; ++c) pixel[c] = mean(totals.colour[c]);
    }
    if (!mask) return;
    const std::uint64_t total = totals.total >> shift;
    *mask = total == 0 ? std::uint8_t{255} : Mean(total)(totals.mask);
}

/// The bytes of a pixel of the result, null for a plane that is not there or not made.
std::uint8_t* PixelAt(const Planes& target, int x, int y) {
    return target.rows ? target.rows[y] + std::ptrdiff_t{x} * 3 : nullptr;
}
std::uint8_t* MaskAt(const Planes& target, bool transparent, int x, int y) {
    return transparent ? target.maskRows[y] + x : nullptr;
}

// Tap by tap

/// Weight of the taps `from` to `to` of a row of taps, all of them outside the picture.
std::uint64_t OutsideWeight(const std::uint32_t* weights, const std::int32_t* exponents, std::int64_t from,
                            std::int64_t to) {
    std::uint64_t sum = 0;
    for (std::int64_t k = from; k < to; ++k) sum += weights[exponents[k]];
    return sum;
}

/// One pixel of a picture with transparency; one with a mask alone has no colours.
GaussTotals CollectMasked(const ConstPlanes& source, const ScaleTap& column, const ScaleTap& row, int shift) {
    GaussTotals sums;
    const std::uint32_t* const gauss = kernels::GaussTable().data();
    for (std::int64_t r = 0; r < row.TapCount; ++r) {
        const std::uint32_t* const weights = gauss + row.Exponents[r];
        const bool inside = r >= row.FirstInside && r < row.EndInside;
        const std::int64_t first = inside ? column.FirstInside : column.TapCount;
        const std::int64_t end = inside ? column.EndInside : column.TapCount;
        const std::uint64_t outside = OutsideWeight(weights, column.Exponents, 0, first) +
                                      OutsideWeight(weights, column.Exponents, end, column.TapCount);
        sums.total += outside;
        std::uint64_t maskRow = outside * 255;
        for (std::int64_t k = first; k < end; ++k) {
            const std::uint32_t weight = weights[column.Exponents[k]];
            const std::uint8_t mask = source.maskRows[row.Start + r][column.Start + k];
            sums.total += weight;
            maskRow += weight * mask;
            if (mask == 255 || !source.rows) continue;
            const std::uint8_t* const pixel = source.rows[row.Start + r] + (column.Start + k) * 3;
            sums.colourWeight += weight;
            for (int c = 0; c < 3; ++c) sums.colour[c] += (weight * pixel[c]) >> shift;
        }
        sums.mask += maskRow >> shift;
    }
    return sums;
}

/// One pixel of a picture without transparency: the taps inside, colour only.
GaussTotals CollectOpaque(const ConstPlanes& source, const ScaleTap& column, const ScaleTap& row, OpaqueSums how,
                          int shift) {
    GaussTotals sums;
    const std::uint32_t* const gauss = kernels::GaussTable().data();
    const int productShift = how == OpaqueSums::ShiftProducts ? shift : 0;
    for (std::int64_t r = row.FirstInside; r < row.EndInside; ++r) {
        const std::uint32_t* const weights = gauss + row.Exponents[r];
        std::uint64_t ofRow[3] = {0, 0, 0};
        for (std::int64_t k = column.FirstInside; k < column.EndInside; ++k) {
            const std::uint32_t weight = weights[column.Exponents[k]];
            const std::uint8_t* const pixel = source.rows[row.Start + r] + (column.Start + k) * 3;
            sums.colourWeight += weight;
            for (int c = 0; c < 3; ++c) ofRow[c] += (weight * pixel[c]) >> productShift;
        }
        for (int c = 0; c < 3; ++c) sums.colour[c] += ofRow[c] >> (shift - productShift);
    }
    return sums;
}

// By rows of planes

/// Result pixels so far apart share no tap; the kernel's width and the rounding of its ends allow no more.
constexpr std::size_t kOverlap = 3;

bool OverlapsLittle(const TapTable& table) {
    const auto& taps = table.taps;
    for (std::size_t j = 0; j + kOverlap < taps.size(); ++j)
        if (taps[j].Start + taps[j].TapCount > taps[j + kOverlap].Start) return false;
    return true;
}

std::int64_t MaxTaps(const TapTable& table) {
    std::int64_t maximum = 0;
    for (const ScaleTap& tap : table.taps) maximum = std::max(maximum, tap.TapCount);
    return maximum;
}

/// The columns or rows that taps reach, half open, together with those of the picture.
struct Extent {
    std::int64_t first;
    std::int64_t end;

    Extent(const TapTable& table, int inSize) : first(0), end(inSize) {
        for (const ScaleTap& tap : table.taps) {
            first = std::min(first, tap.Start);
            end = std::max(end, tap.Start + tap.TapCount);
        }
    }
    std::size_t Size() const { return static_cast<std::size_t>(end - first); }
};

/// A reduction whose source rows are split into planes. Columns count from the first that a tap reaches; those outside
/// the picture are hidden.
class Reduction {
public:
    Reduction(const ConstPlanes& source, const TapTable& columns, const TapTable& rows, int heldRows, bool masked)
        : source_(source),
          columns_(columns),
          rows_(rows),
          extent_(columns, source.width),
          masked_(masked),
          stride_(extent_.Size() + kernels::kPlanePadding),
          holds_(static_cast<std::size_t>(heldRows), -1),
          colours_(stride_ * 3 * (holds_.size() + 1)),
          masks_(masked ? stride_ * (holds_.size() + 1) : 0, 255) {}

protected:
    const std::vector<ScaleTap>& ColumnTaps() const { return columns_.taps; }
    const std::vector<ScaleTap>& RowTaps() const { return rows_.taps; }
    const Extent& Columns() const { return extent_; }
    bool Masked() const { return masked_; }

    /// The taps that count: those outside only where there is transparency.
    std::int64_t First(const ScaleTap& tap) const { return masked_ ? 0 : tap.FirstInside; }
    std::int64_t End(const ScaleTap& tap) const { return masked_ ? tap.TapCount : tap.EndInside; }

    static std::uint32_t ColumnFactor(std::int32_t exponent) {
        return kernels::GaussFactors()[static_cast<std::size_t>(exponent)].ofColumn;
    }

    /// Tap `r` of a result row. Its planes stay until as many other rows as are held have been asked for.
    kernels::GaussTapRow TapRow(const ScaleTap& tap, std::int64_t r) {
        return {Split(tap.Start + r), kernels::GaussFactors()[static_cast<std::size_t>(tap.Exponents[r])].ofRow};
    }

private:
    /// A source row; one outside the picture is hidden.
    kernels::PlaneRow Split(std::int64_t y) {
        if (y < 0 || y >= source_.height) return At(holds_.size());
        const std::size_t slot = static_cast<std::size_t>(y) % holds_.size();
        if (holds_[slot] != y) Load(y, slot);
        return At(slot);
    }

    kernels::PlaneRow At(std::size_t slot) const {
        const std::uint8_t* const colours = colours_.data() + slot * 3 * stride_;
        const std::uint8_t* const masks = masked_ ? masks_.data() + slot * stride_ : nullptr;
        if (!source_.rows) return {masks, masks, masks, masks};  // its colours are not looked at
        return {colours, colours + stride_, colours + 2 * stride_, masks};
    }

    void Load(std::int64_t y, std::size_t slot) {
        const auto left = static_cast<std::size_t>(-extent_.first);
        std::uint8_t* const colours = colours_.data() + slot * 3 * stride_ + left;
        if (source_.rows) kernels::SplitPlanes(source_.Pixels(y), colours, colours + stride_, colours + 2 * stride_);
        if (masked_) std::ranges::copy(source_.Mask(y), masks_.data() + slot * stride_ + left);
        holds_[slot] = y;
    }

    const ConstPlanes source_;
    const TapTable& columns_;
    const TapTable& rows_;
    const Extent extent_;
    const bool masked_;
    const std::size_t stride_;
    std::vector<std::int64_t> holds_;  ///< the source row of each slot, -1 for none; one more slot is a hidden row
    std::vector<std::uint8_t> colours_;
    std::vector<std::uint8_t> masks_;
};

/// Pixels of up to 255 taps, whose sums fit into 32 bits: columns are summed down the rows of a result row and then
/// across. A line of weights for each of three result pixels that follow each other covers all columns.
class ReductionByColumns : private Reduction {
public:
    ReductionByColumns(const ConstPlanes& source, const TapTable& columns, const TapTable& rows, bool masked)
        : Reduction(source, columns, rows, static_cast<int>(MaxTaps(rows)), masked),
          lineSize_(Columns().Size() + kernels::kPlanePadding),
          factors_(lineSize_ * kOverlap),
          sums_(factors_.size()),
          masks_(masked ? factors_.size() : 0) {
        for (std::size_t j = 0; j < ColumnTaps().size(); ++j) {
            const ScaleTap& tap = ColumnTaps()[j];
            const std::size_t start = j % kOverlap * lineSize_ + static_cast<std::size_t>(tap.Start - Columns().first);
            for (std::int64_t k = 0; k < tap.TapCount; ++k)
                factors_[start + static_cast<std::size_t>(k)] = ColumnFactor(tap.Exponents[k]);
            ranges_.push_back({static_cast<std::uint32_t>(start + static_cast<std::size_t>(First(tap))),
                               static_cast<std::uint32_t>(End(tap) - First(tap))});
        }
    }

    void MakeRow(const Planes& target, int y) {
        const ScaleTap& row = RowTaps()[static_cast<std::size_t>(y)];
        tapRows_.clear();
        for (std::int64_t r = First(row); r < End(row); ++r) tapRows_.push_back(TapRow(row, r));
        const std::size_t lines = std::min(kOverlap, ranges_.size());
        for (std::size_t start = 0; start < lines * lineSize_; start += lineSize_) {
            const std::span factors(factors_.data() + start, Columns().Size());
            if (Masked())
                kernels::SumDownMasked(factors, tapRows_, sums_.data() + start, masks_.data() + start);
            else
                kernels::SumDown(factors, tapRows_, sums_.data() + start);
        }
        if (target.rows) kernels::AverageAcross(ranges_, sums_.data(), target.Pixels(y));
        if (Masked()) kernels::AverageMaskAcross(ranges_, masks_.data(), target.Mask(y));
    }

private:
    const std::size_t lineSize_;
    std::vector<std::uint32_t> factors_;  ///< of all lines, one after the other
    std::vector<kernels::GaussSums> sums_;
    std::vector<kernels::GaussMaskSums> masks_;
    std::vector<kernels::ColumnRange> ranges_;  ///< of each result pixel
    std::vector<kernels::GaussTapRow> tapRows_;
};

/// Pixels of any number of taps: each row of taps is summed for itself. Up to three result rows grow at a time, so that
/// each source row is split once.
class ReductionByRows : private Reduction {
public:
    ReductionByRows(const ConstPlanes& source, const TapTable& columns, const TapTable& rows, bool masked,
                    OpaqueSums opaqueSums)
        : Reduction(source, columns, rows, 1, masked), opaqueSums_(opaqueSums) {
        factors_.reserve(columns.exponents.size() + kernels::kPlanePadding);
        for (const std::int32_t exponent : columns.exponents) factors_.push_back(ColumnFactor(exponent));
        factors_.resize(factors_.size() + kernels::kPlanePadding);
        const std::uint32_t* factors = factors_.data();
        for (const ScaleTap& tap : columns.taps) {
            const std::int64_t first = First(tap);
            spans_.push_back({static_cast<std::size_t>(tap.Start - Columns().first + first),
                              static_cast<std::size_t>(End(tap) - first), factors + first, tap.EndInside});
            factors += tap.TapCount;
        }
        for (auto& totals : totals_) totals.resize(spans_.size());
    }

    void MakeRow(const Planes& target, int y) {
        const auto row = static_cast<std::size_t>(y);
        const ScaleTap& made = RowTaps()[row];
        const std::size_t last = std::min(row + kOverlap, RowTaps().size());
        for (next_ = std::max(next_, made.Start + First(made)); next_ < made.Start + End(made); ++next_)
            for (std::size_t j = row; j < last; ++j) Add(j, next_ - RowTaps()[j].Start);
        std::vector<GaussTotals>& totals = totals_[row % kOverlap];
        for (int x = 0; x < target.width; ++x) {
            const auto column = static_cast<std::size_t>(x);
            Store(totals[column], kernels::GaussShift(spans_[column].reach, made.EndInside), PixelAt(target, x, y),
                  MaskAt(target, Masked(), x, y));
        }
        std::ranges::fill(totals, GaussTotals{});
    }

private:
    /// Adds tap `r` of result row `j`, if it is one.
    void Add(std::size_t j, std::int64_t r) {
        const ScaleTap& row = RowTaps()[j];
        if (r < First(row) || r >= End(row)) return;
        GaussTotals* const to = totals_[j % kOverlap].data();
        if (Masked())
            kernels::AddMaskedTaps(spans_, TapRow(row, r), row.EndInside, to);
        else
            kernels::AddTaps(spans_, TapRow(row, r), row.EndInside, opaqueSums_, to);
    }

    const OpaqueSums opaqueSums_;
    std::vector<std::uint32_t> factors_;
    std::vector<kernels::GaussSpan> spans_;
    std::array<std::vector<GaussTotals>, kOverlap> totals_;         ///< of the result rows that grow
    std::int64_t next_ = std::numeric_limits<std::int64_t>::min();  ///< source row that is added next
};

/// Makes the rows of the result, each part of them by a `makeRow(y)` of its own, which `maker()` returns; it is called
/// for one row after the other. False when aborted.
bool MakeRows(const Planes& target, const AbortFlag& abort, const auto& maker) {
    return ShareRows(0, target.height, [&](std::int64_t y, std::int64_t end) {
        auto makeRow = maker();
        for (; y < end; ++y) {
            if (abort.IsSet()) return false;
            makeRow(static_cast<int>(y));
        }
        return true;
    });
}

/// Without transparency the whole result is there.
void ShowAll(const Planes& target) {
    if (!target.maskRows) return;
    for (int y = 0; y < target.height; ++y) std::ranges::fill(target.Mask(y), std::uint8_t{0});
}

/// Columns of planes beyond which taps are looked up one by one: those of a result of one pixel reach this far.
bool IsNear(const TapTable& columns, const ConstPlanes& source) {
    return Extent(columns, source.width).Size() <= static_cast<std::size_t>(source.width) * 4 + 16;
}

}  // namespace

bool HasTransparency(const ConstPlanes& picture) {
    if (!picture.maskRows) return false;
    for (int y = 0; y < picture.height; ++y) {
        const auto mask = picture.Mask(y);
        if (mask[0] != 0 || std::memcmp(mask.data(), mask.data() + 1, mask.size() - 1) != 0) return true;
    }
    return false;
}

bool ReduceGaussByTaps(const ConstPlanes& source, const Planes& target, const TapTable& columns, const TapTable& rows,
                       OpaqueSums opaqueSums, const AbortFlag& abort) {
    const bool transparent = HasTransparency(source);
    if (!transparent) ShowAll(target);
    if (!transparent && !target.rows) return true;
    const auto makeRow = [&](int y) {
        const ScaleTap& row = rows.taps[static_cast<std::size_t>(y)];
        for (int x = 0; x < target.width; ++x) {
            const ScaleTap& column = columns.taps[static_cast<std::size_t>(x)];
            const int shift = kernels::GaussShift(column.EndInside, row.EndInside);
            const GaussTotals totals = transparent ? CollectMasked(source, column, row, shift)
                                                   : CollectOpaque(source, column, row, opaqueSums, shift);
            Store(totals, shift, PixelAt(target, x, y), MaskAt(target, transparent, x, y));
        }
    };
    return MakeRows(target, abort, [&] { return makeRow; });
}

bool ReduceGauss(const ConstPlanes& source, const Planes& target, const TapTable& columns, const TapTable& rows,
                 OpaqueSums opaqueSums, const AbortFlag& abort) {
    if (!OverlapsLittle(columns) || !OverlapsLittle(rows) || !IsNear(columns, source))
        return ReduceGaussByTaps(source, target, columns, rows, opaqueSums, abort);
    if (abort.IsSet()) return false;
    const bool transparent = HasTransparency(source);
    if (!transparent) ShowAll(target);
    if (!transparent && !target.rows) return true;
    const auto run = [&](const auto& reduction) {
        return MakeRows(target, abort,
                        [&] { return [part = reduction, &target](int y) mutable { part.MakeRow(target, y); }; });
    };
    return MaxTaps(columns) * MaxTaps(rows) <= 255
               ? run(ReductionByColumns(source, columns, rows, transparent))
               : run(ReductionByRows(source, columns, rows, transparent, opaqueSums));
}

}  // namespace kestrel::passes
