#pragma once
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Copies both planes of `source`, turned counterclockwise by quarters of a circle, to (`offsetX`, `offsetY`) of the
/// target; with `mirror` the picture is flipped left-right before it turns. Each pixel moves once. What does not fit
/// into the target is dropped. False when aborted, which is looked for before each row or block of pixels.
[[nodiscard]] bool TurnQuarter(const ConstPlanes& source, const Planes& target, int turns, bool mirror, int offsetX,
                               int offsetY, const AbortFlag& abort);

}  // namespace kestrel::passes
