#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/codec/ImageMetadata.h"

// What WebP files keep beside their pixels, in chunks: name, length, content, padded to even lengths.
namespace kestrel {

struct WebPExtras {
    std::vector<std::uint8_t> exif, profile, xmp;
};
WebPExtras ReadWebPChunks(std::span<const std::uint8_t> file);

/// A file with the chunks of `encoded`, which is a whole file of a size and maybe with alpha, and those of the
/// metadata.
std::vector<std::uint8_t> WithWebPChunks(std::span<const std::uint8_t> encoded, std::uint32_t width,
                                         std::uint32_t height, bool alpha, const ImageMetadata& metadata);

}  // namespace kestrel
