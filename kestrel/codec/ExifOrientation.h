#pragma once
#include <cstdint>
#include <span>

namespace kestrel {

/// Orientation 1..8 of EXIF data, which begin with their byte order mark or with "Exif" and two zeros before it. 1, the
/// upright one, for anything that is not understood; no byte behind the data is read.
int ExifOrientation(std::span<const std::uint8_t> exif);

}  // namespace kestrel
