#pragma once
#include <algorithm>

#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/passes/Resampler.h"

namespace kestrel {

/// How much a picture is enlarged, along rows and along columns.
struct ScaleFactors {
    double x = 1;
    double y = 1;
};

/// Prepares `resampler` for a picture of the input's size and origin and the rounded result size, which may be 0, and
/// fills size, frame and origin of the output; a size of 0 or below becomes 1. `possible` says whether such a picture
/// can be made at all.
inline void SetScaledGeometry(passes::Resampler& resampler, const FilterGeometry& in, ScaleFactors factors,
                              int outWidth, int outHeight, bool possible, FilterGeometry& out) {
    const passes::ScaleAxis columns{in.Width, std::max(outWidth, 0), in.OffsetX, factors.x};
    const passes::ScaleAxis rows{in.Height, std::max(outHeight, 0), in.OffsetY, factors.y};
    resampler.SetAxes(columns, rows, possible);
    out.Width = out.FullWidth = std::max(outWidth, 1);
    out.Height = out.FullHeight = std::max(outHeight, 1);
    if (!resampler.IsPossible()) return;
    out.OffsetX = passes::OutOrigin(columns);
    out.OffsetY = passes::OutOrigin(rows);
}

}  // namespace kestrel
