#pragma once
#include <span>
#include <vector>

#include "kestrel/kernels/ResampleRows.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// The taps of a result pixel of an axis from `inSize` to `outSize` pixels, both above 0. They lie on its base, the
/// pixel before and the two after it; those beyond an edge take pixels near it.
kernels::CubicTap CubicTapOf(int inSize, int outSize, int pixel);
/// Those of the whole axis. Throws `std::bad_alloc`.
std::vector<kernels::CubicTap> BuildCubicTaps(int inSize, int outSize);

/// Pixels of a row below which there is nothing to scale.
inline constexpr int kNarrowestCubic = 3;

/// Scales `source` to the width of `target` and its rows to `rows`, one tap for each row of `target`, by a separable
/// cubic, first along rows, then along columns. The source may be the part of a picture that the taps lie on. With both
/// planes the opacity weighs the colours; a plane alone is scaled as it is. A source narrower than
/// `kNarrowestCubic` or without rows leaves the target as it is. False when aborted, which is looked for before each
/// row. Throws `std::bad_alloc`.
[[nodiscard]] bool ScaleCubic(const ConstPlanes& source, const Planes& target, std::span<const kernels::CubicTap> rows,
                              const AbortFlag& abort);

}  // namespace kestrel::passes
