#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// Number of pixels of each tone of a 24-bit picture: luminance, red, green, blue. Empty for null.
KESTREL_API std::vector<std::array<std::uint32_t, 256>> PictureHistogram(const Dib* image);

}  // namespace kestrel
