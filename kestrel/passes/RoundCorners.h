#pragma once
#include <cstdint>

#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Rounds the corners of a picture's mask: what lies outside a corner's circle becomes 255, the
/// pixels on its arc lose their share. Each circle touches both edges of its corner and acts in its own quarter of the
/// picture, so that a radius above one half gives pointed ends, and above both a lens. A radius below 1 does nothing.
void RoundCorners(const Planes& picture, std::int32_t radius);

}  // namespace kestrel::passes
