#pragma once
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel {

/// The image resources that PSD files consist of and JPEG files carry along.
enum class ImageResource : std::uint16_t {
    Resolution = 0x03ED,
    Iptc = 0x0404,
    Profile = 0x040F,
    Exif = 0x0422,
    Xmp = 0x0424
};

/// The bytes of a resource; empty when it is not there.
std::span<const std::uint8_t> FindResource(std::span<const std::uint8_t> resources, ImageResource resource);
/// Adds a resource with its head, padded to an even length; nothing when `data` is empty. Less than 4 GB.
void AddResource(std::vector<std::uint8_t>& resources, ImageResource resource, std::span<const std::uint8_t> data);

}  // namespace kestrel
