#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/kernels/Planes.h"

namespace kestrel::kernels {

/// The four source pixels behind one result pixel: `weight[k]` in units of 1/4096 belongs to source index base - 1 + k.
struct CubicTap {
    std::int32_t base;
    std::int32_t weight[4];

    /// What the weights of one pixel add up to. The taps move in steps of one fiftieth and end at two pixels, so that
    /// the sum is 4096 or a little more.
    int Sum() const { return weight[0] + weight[1] + weight[2] + weight[3]; }
};

/// The taps of one axis from `inSize` to `outSize` pixels, both above 0. Throws `std::bad_alloc`.
std::vector<CubicTap> BuildCubicTaps(int inSize, int outSize);

/// Scales `source` to the size of `target` by a separable cubic, first along rows, then along columns. With both
/// planes the opacity weighs the colours; a plane alone is scaled as it is. A source narrower than 3 pixels or without
/// rows leaves the target as it is. False when aborted, which is looked for before each row. Throws `std::bad_alloc`.
[[nodiscard]] bool ScaleCubic(const Planes& source, const Planes& target, const AbortFlag& abort);

}  // namespace kestrel::kernels
