#pragma once
#include <cstdint>
#include <vector>

namespace kestrel {

/// Drops from an XMP packet what is about the file that it came from: orientation, sizes and thumbnails. A packet that
/// is not understood stays as it is.
void UpdateXmp(std::vector<std::uint8_t>& xmp);
/// Drops the places that the picture was taken at and that it shows. A packet that is not understood goes as a whole.
void StripXmpPlace(std::vector<std::uint8_t>& xmp);

}  // namespace kestrel
