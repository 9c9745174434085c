#pragma once
#include <array>
#include <cstdint>
#include <functional>

#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// A rectangle of pixels, half open.
struct Area {
    int left = 0;
    int bottom = 0;
    int right = 0;
    int top = 0;
    bool operator==(const Area&) const = default;
};

/// Shares of colour differences: `T[k][255 + d]` is k/32 of the difference d, rounded.
const std::array<std::array<std::int32_t, 512>, 32>& BlendTable();

/// One shear: line r of n is moved by (r - (n - 1) / 2) × `shear` - `fraction` pixels, to the right or up when that is
/// positive. Between pixels the mask weighs the colours, so that nothing transparent bleeds in.
struct Shear {
    double shear = 0;
    double fraction = 0;
    Area area;  ///< lines that are moved and what of each is
};

/// What a shear's target holds before: something that pixels are stored over, or nothing that counts. Then each of its
/// rows is first made hidden black.
enum class TargetRows { Kept, Cleared };

/// Shears the rows of `area` from `source` into `target`, whose corner lies at (`cropX`, `cropY`) of the source. Both
/// may be one picture that is kept; the place that a row leaves is then made transparent. Pixels that land outside the
/// target are dropped. False when aborted, which is looked for before each row. Throws `std::bad_alloc`.
[[nodiscard]] bool XShear(const ConstPlanes& source, const Planes& target, const Shear& shear, int cropX, int cropY,
                          TargetRows targetRows, const AbortFlag& abort);

/// Makes rows of a sheared picture, row `first` to the one that is as many above as `target` has; `source` and `target`
/// are of its width, or one and the same picture, all of which is made. False when aborted, which is looked for before
/// each row. From any number of threads.
using ColumnShear =
    std::function<bool(const ConstPlanes& source, const Planes& target, int first, const AbortFlag& abort)>;

/// Shears the columns of `area` of pictures of this size, the bottom row of the area being the start of each line. Rows
/// of the source that are farther from a row of the result than a column moves, and one more, are not looked at. Throws
/// `std::bad_alloc`.
ColumnShear YShear(const Shear& shear, int width, int height);

}  // namespace kestrel::passes
