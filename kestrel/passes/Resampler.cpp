#include "kestrel/passes/Resampler.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kestrel/passes/CubicScale.h"
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
}

void Resampler::Prepare() {
    if (Shrinks()) {
        columnTaps_ = BuildTaps(columns_, kGaussLambda);
        rowTaps_ = BuildTaps(rows_, kGaussLambda);
        CheckWork(columnTaps_, rowTaps_);
    } else if (std::int64_t{columns_.inSize} + columns_.outSize + rows_.outSize > kLongestLines) {
        throw std::bad_alloc();
    }
}

bool Resampler::Calculate(const CWorkImage& sourceImage, CWorkImage& targetImage, kernels::OpaqueSums sums,
                          const AbortFlag& abort) {
    const Planes source = PlanesOf(sourceImage, columns_.inSize, rows_.inSize);
    const Planes target = PlanesOf(targetImage, std::max(columns_.outSize, 1), std::max(rows_.outSize, 1));
    if (Shrinks() || source.width < kNarrowestCubic) targetImage.Clear();  // the cubic makes every pixel
    if (!Shrinks()) return ScaleCubic(source, target, abort);
    const TapTable columns = std::exchange(columnTaps_, {});
    const TapTable rows = std::exchange(rowTaps_, {});
    return ReduceGauss(source, target, columns, rows, sums, abort) &&
           SharpenReduced(target, columns_.factor, rows_.factor, abort);
}

}  // namespace kestrel::passes
