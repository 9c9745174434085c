#pragma once
#include "kestrel/kernels/GaussRows.h"
#include "kestrel/passes/GaussTaps.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// True when a mask byte is not 0.
bool HasTransparency(const ConstPlanes& picture);

/// Averages `source` down into `target`, whose sizes are those of the tables. Where there is transparency the mask
/// weighs the colours, mask 255 gives none, and what lies outside the picture is transparent; without it the outside
/// counts for nothing and the result's mask is 0. Pixels that nothing visible reaches keep their colour.
/// False when aborted, which is looked for before each row. Throws `std::bad_alloc`.
[[nodiscard]] bool ReduceGauss(const ConstPlanes& source, const Planes& target, const TapTable& columns,
                               const TapTable& rows, kernels::OpaqueSums sums, const AbortFlag& abort);

/// The same tap by tap: the definition, and the form for tables that reach far beyond the picture.
[[nodiscard]] bool ReduceGaussByTaps(const ConstPlanes& source, const Planes& target, const TapTable& columns,
                                     const TapTable& rows, kernels::OpaqueSums sums, const AbortFlag& abort);

}  // namespace kestrel::passes
