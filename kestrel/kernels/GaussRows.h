#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Bytes that may be read beyond the end of a plane or a line of factors, and sums that may be written beyond the end
/// of theirs: whole vectors are done.
inline constexpr std::size_t kPlanePadding = 64;

/// A row of pixels as planes. Mask 255 hides a pixel; rows of a picture without transparency have no mask.
struct PlaneRow {
    const std::uint8_t* blue;
    const std::uint8_t* green;
    const std::uint8_t* red;
    const std::uint8_t* mask;
};

/// A row that a result row is made of, and the row's factor of the weights.
struct GaussTapRow {
    PlaneRow row;
    std::uint32_t factor;
};

/// Weighed colours of a column, or of a whole result pixel, and the weights that gave colour. The sums of 255 taps fit.
struct GaussSums {
    std::uint32_t blue;
    std::uint32_t green;
    std::uint32_t red;
    std::uint32_t weight;
};

/// Weighed masks of a column or a result pixel, and the weights of all its taps.
struct GaussMaskSums {
    std::uint32_t mask;
    std::uint32_t total;
};

/// Splits pixels into three planes of a byte for each.
void SplitPlanes(ConstRow pixels, std::uint8_t* blue, std::uint8_t* green, std::uint8_t* red);

/// Sums each column down the rows, at most 255 of them; `factors` holds one for each column.
void SumDown(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums);
/// The same where there is transparency.
void SumDownMasked(std::span<const std::uint32_t> factors, std::span<const GaussTapRow> rows, GaussSums* sums,
                   GaussMaskSums* masks);

/// The columns that one result pixel is made of.
struct ColumnRange {
    std::uint32_t first;
    std::uint32_t count;
};

/// Makes a row of pixels from the sums of columns: those of each range are added and divided by their weight, rounded.
/// Pixels without any weight keep their bytes.
void AverageAcross(std::span<const ColumnRange> ranges, const GaussSums* sums, Row pixels);
/// The same for masks. Each range has columns, and each column a weight.
void AverageMaskAcross(std::span<const ColumnRange> ranges, const GaussMaskSums* sums, Row mask);

/// The taps of one result pixel that lie side by side in a row.
struct GaussSpan {
    std::size_t first;             ///< column of the first tap
    std::size_t count;             ///< taps
    const std::uint32_t* factors;  ///< one for each tap
    std::int64_t reach;            ///< taps up to the last one inside the picture
};

/// Bits that the sums of a result pixel drop: those of pixels with many taps, so that 32 bits would hold them.
constexpr int GaussShift(std::int64_t columnReach, std::int64_t rowReach) {
    return columnReach * rowReach > 255 ? 8 : 0;
}

/// Where the bits are dropped in a picture without transparency. With transparency they are dropped from the products
/// of colours and from the rows of masks.
enum class OpaqueSums { ShiftRows, ShiftProducts };

/// What one result pixel collects. 64 bits hold the sums of any number of taps.
struct GaussTotals {
    std::uint64_t total = 0;         ///< weight of all taps; in pictures with transparency only
    std::uint64_t mask = 0;          ///< weighed masks; likewise
    std::uint64_t colourWeight = 0;  ///< weight of the taps that give colour
    std::uint64_t colour[3] = {0, 0, 0};
};

/// Adds one row of taps, of which the row's `reach` is `rowReach`, to each result pixel of a row.
void AddTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, OpaqueSums sums,
             GaussTotals* to);
/// The same where there is transparency.
void AddMaskedTaps(std::span<const GaussSpan> spans, const GaussTapRow& row, std::int64_t rowReach, GaussTotals* to);

}  // namespace kestrel::kernels
