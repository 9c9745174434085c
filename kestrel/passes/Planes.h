#pragma once
#include <cstdint>

#include "kestrel/foundation/AbortFlag.h"
#include "kestrel/image/WorkImage.h"

namespace kestrel::passes {

/// A picture as row tables, the bottom row first: 24-bit rows of blue, green, red and 8-bit mask rows beside them, 255
/// where nothing is. A picture may have either plane alone; the table of the other is then null. Owns nothing.
struct Planes {
    std::uint8_t* const* rows = nullptr;
    std::uint8_t* const* maskRows = nullptr;
    int width = 0;   ///< pixels that count; the rows may be longer
    int height = 0;  ///< rows that count
};

/// The planes of a work image of which `width` × `height` pixels are in use.
inline Planes PlanesOf(const CWorkImage& image, int width, int height) {
    return {image.Rows(), image.MaskRows(), width, height};
}

}  // namespace kestrel::passes
