#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/kernels/ResampleRows.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// The taps of one axis from `inSize` to `outSize` pixels, both above 0. Throws `std::bad_alloc`.
std::vector<kernels::CubicTap> BuildCubicTaps(int inSize, int outSize);

/// Pixels of a row below which there is nothing to scale.
inline constexpr int kNarrowestCubic = 3;

/// Scales `source` to the size of `target` by a separable cubic, first along rows, then along columns. With both
/// planes the opacity weighs the colours; a plane alone is scaled as it is. A source that is narrower than that or
/// without rows leaves the target as it is. False when aborted, which is looked for before each row. Throws
/// `std::bad_alloc`.
[[nodiscard]] bool ScaleCubic(const ConstPlanes& source, const Planes& target, const AbortFlag& abort);

}  // namespace kestrel::passes
