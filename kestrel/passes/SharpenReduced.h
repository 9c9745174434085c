#pragma once
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Sharpens a reduced picture in place, the more the further it was reduced. Neighbours outside or of mask 255 count
/// as the pixel itself; pixels of mask 255 and the mask stay. A mask alone is sharpened like a colour. False when
/// aborted. Throws `std::bad_alloc`.
[[nodiscard]] bool SharpenReduced(const Planes& picture, double scaleX, double scaleY, const AbortFlag& abort);

}  // namespace kestrel::passes
