#pragma once
#include "kestrel/kernels/Dust.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Copies `source` to `target`, a picture of the same size, and replaces each speck of dust in it by the mean of the
/// nine pixels around it in the source. The outermost pixels stay, and so does the mask. False when aborted, which is
/// looked for before each row of either step. Throws `std::bad_alloc`.
[[nodiscard]] bool RepairDust(const ConstPlanes& source, const Planes& target, kernels::DustRule rule,
                              const AbortFlag& abort);

}  // namespace kestrel::passes
