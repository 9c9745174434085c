#include "kestrel/filters/geometry/Resampler.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kestrel/kernels/CubicScale.h"

namespace kestrel {
namespace {

/// Pixels of the longest lines together, in and out, beyond which the line buffers of the cubic are refused.
constexpr std::int64_t kLongestLines = std::int64_t{1} << 25;

}  // namespace

void Resampler::SetGeometry(const FilterGeometry& in, int outWidth, int outHeight, bool possible, FilterGeometry* out) {
    possible_ = possible && in.Width > 0 && in.Height > 0;
    columns_ = {in.Width, std::max(outWidth, 0), in.OffsetX, m_ScaleX};
    rows_ = {in.Height, std::max(outHeight, 0), in.OffsetY, m_ScaleY};
    out->Width = out->FullWidth = std::max(outWidth, 1);
    out->Height = out->FullHeight = std::max(outHeight, 1);
    if (!possible_) return;
    out->OffsetX = kernels::OutOrigin(columns_);
    out->OffsetY = kernels::OutOrigin(rows_);
}

void Resampler::Prepare() {
    if (Shrinks()) {
        m_ColumnTaps = kernels::BuildTaps(columns_, m_GaussLambda);
        m_RowTaps = kernels::BuildTaps(rows_, m_GaussLambda);
        kernels::CheckWork(m_ColumnTaps, m_RowTaps);
    } else if (std::int64_t{columns_.inSize} + columns_.outSize + rows_.outSize > kLongestLines) {
        throw std::bad_alloc();
    }
}

bool Resampler::Calculate(const CWorkImage& sourceImage, CWorkImage& targetImage, kernels::OpaqueSums sums,
                          const AbortFlag& abort) {
    const kernels::Planes source = PlanesOf(sourceImage, columns_.inSize, rows_.inSize);
    const kernels::Planes target = PlanesOf(targetImage, std::max(columns_.outSize, 1), std::max(rows_.outSize, 1));
    targetImage.Clear();
    if (!Shrinks()) return kernels::ScaleCubic(source, target, abort);
    const kernels::TapTable columns = std::exchange(m_ColumnTaps, {});
    const kernels::TapTable rows = std::exchange(m_RowTaps, {});
    return kernels::ReduceGauss(source, target, columns, rows, sums, abort) &&
           kernels::SharpenReduced(target, m_ScaleX, m_ScaleY, abort);
}

}  // namespace kestrel
