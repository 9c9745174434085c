#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/codec/ImageMetadata.h"

// What JP2 files keep beside their pixels, in boxes: length, name, content.
namespace kestrel {

/// EXIF, IPTC and XMP data, and the density; returns the colour profile. `file` may be a bare stream of pixels, which
/// has no boxes.
std::span<const std::uint8_t> ReadJp2Boxes(std::span<const std::uint8_t> file, ImageMetadata& metadata);
/// Adds them to a whole file that has none of them yet.
void AddJp2Boxes(std::vector<std::uint8_t>& file, const ImageMetadata& metadata);

/// Whether the stream of pixels has bytes enough for the tiles that it claims.
bool TilesArePlausible(std::span<const std::uint8_t> file);

}  // namespace kestrel
