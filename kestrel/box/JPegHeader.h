#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/storage/QvStream.h"

namespace kestrel {

/// The marker segments of a JPEG image, from its first two bytes to the marker that begins the scan, without it. Empty
/// for an image that is none or breaks off before its scan. At most seven fill bytes may stand before a marker.
KESTREL_API std::vector<std::uint8_t> ReadJPegHeader(QvInputStream& stream);
KESTREL_API std::vector<std::uint8_t> ReadJPegHeader(std::span<const std::uint8_t> bytes);

}  // namespace kestrel
