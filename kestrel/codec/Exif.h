#pragma once
#include <cstdint>
#include <span>

namespace kestrel {

/// EXIF data without the "Exif" and two zeros that may stand before the byte order mark.
std::span<const std::uint8_t> WithoutExifMark(std::span<const std::uint8_t> exif);

/// Orientation 1..8 of EXIF data, with the mark before it or without. 1, the upright one, for anything that is not
/// understood; no byte past the data is read.
int ExifOrientation(std::span<const std::uint8_t> exif);

/// Makes the orientation upright where there is one; no other byte changes.
void ResetExifOrientation(std::span<std::uint8_t> exif);

}  // namespace kestrel
