#pragma once
#include "kestrel/codec/CodecError.h"
#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// Converts the colours of a 24-bit picture from those of its profile to sRGB (relative colorimetric, black point
/// compensated), in place, and takes the profile out of the metadata. A picture without a profile is sRGB already.
[[nodiscard]] KESTREL_API CodecError ConvertToSrgb(Dib* image, ImageMetadata& metadata);

/// The name that an ICC profile gives itself; empty for one that has none.
KESTREL_API std::string ProfileName(const std::vector<std::uint8_t>& profile);

}  // namespace kestrel
