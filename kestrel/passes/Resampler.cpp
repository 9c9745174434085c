#include "kestrel/passes/Resampler.h"

#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "kestrel/passes/GaussReduce.h"
#include "kestrel/passes/SharpenReduced.h"

namespace kestrel::passes {
namespace {

/// Pixels of the longest lines together, in and out, beyond which the line buffers of the cubic are refused.
constexpr std::int64_t kLongestLines = std::int64_t{1} << 25;

}  // namespace

void Resampler::SetAxes(const ScaleAxis& columns, const ScaleAxis& rows, bool possible) {
    columns_ = columns;
    rows_ = rows;
    possible_ = possible && columns.inSize > 0 && rows.inSize > 0;
    const std::int64_t lines = std::int64_t{columns.inSize} + columns.outSize + rows.outSize;
    bearable_ = Shrinks() || lines <= kLongestLines;
    columnTaps_ = {};
    rowTaps_ = {};
}

RowSpan Resampler::MadeRows(RowSpan output) const { return output.Widened(Shrinks() ? 1 : 0, OutHeight()); }

RowSpan Resampler::InputRows(RowSpan output) const {
    const RowSpan made = MadeRows(output);
    if (made.count == 0) return {};
    std::int64_t first, end;
    if (Shrinks()) {
        const ScaleTap lowest = PlaceOfTaps(rows_, made.first), highest = PlaceOfTaps(rows_, made.End() - 1);
        first = lowest.Start + lowest.FirstInside;
        end = highest.Start + highest.EndInside;
    } else {
        first = CubicTapOf(rows_.inSize, OutHeight(), made.first).base - 1;
        end = CubicTapOf(rows_.inSize, OutHeight(), made.End() - 1).base + 3;
    }
    // An output far from the input's origin may be made of no row at all, but nothing can be made of nothing.
    first = std::clamp<std::int64_t>(first, 0, rows_.inSize - 1);
    end = std::clamp<std::int64_t>(end, first + 1, rows_.inSize);
    return {static_cast<int>(first), static_cast<int>(end - first)};
}

void Resampler::Prepare() {
    if (!bearable_) throw std::bad_alloc();
    if (Shrinks() && rowTaps_.taps.empty()) {
        columnTaps_ = BuildTaps(columns_, kGaussLambda);
        TapTable rows = BuildTaps(rows_, kGaussLambda);
        CheckWork(columnTaps_, rows);
        rowTaps_ = std::move(rows);
    }
}

bool Resampler::Calculate(const Source& source, CWorkImage& targetImage, RowSpan output, kernels::OpaqueSums sums,
                          const AbortFlag& abort) const {
    const RowSpan made = MadeRows(output);
    const Planes target = PlanesOf(targetImage, OutWidth(), made.count);
    if (Shrinks() || HidesAll()) targetImage.ClearRows(0, made.count);  // the cubic makes every pixel
    return Shrinks() ? Reduce(source, target, made, sums, abort) : ScaleByCubic(source, target, made, abort);
}

bool Resampler::Reduce(const Source& source, const Planes& target, RowSpan made, kernels::OpaqueSums sums,
                       const AbortFlag& abort) const {
    TapTable rows;  // whose exponents those of all rows hold
    for (int y = made.first; y < made.End(); ++y) {
        rows.taps.push_back(rowTaps_.taps[static_cast<std::size_t>(y)]);
        rows.taps.back().Start -= source.rows.first;
    }
    ConstPlanes planes = source.planes;
    if (source.opaque) planes.maskRows = nullptr;  // need not be looked at
    return ReduceGauss(planes, target, columnTaps_, rows, sums, abort) &&
           SharpenReduced(target, columns_.factor, rows_.factor, abort);
}

bool Resampler::ScaleByCubic(const Source& source, const Planes& target, RowSpan made, const AbortFlag& abort) const {
    std::vector<kernels::CubicTap> rows;
    for (int y = made.first; y < made.End(); ++y) {
        rows.push_back(CubicTapOf(rows_.inSize, OutHeight(), y));
        rows.back().base -= source.rows.first;
    }
    return ScaleCubic(source.planes, target, rows, abort);
}

}  // namespace kestrel::passes
