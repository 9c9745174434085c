#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// A picture of 24-bit rows and its mask in one heap block. Pixels are blue, green, red; a mask byte of 0 is visible
/// and of 255 is nothing at all. Rows are padded to four bytes and listed in stored order, the bottom row first.
class KESTREL_API CWorkImage {
public:
    /// A picture of at least 1 × 1 with undefined bytes; throws `std::bad_alloc` when memory does not suffice.
    CWorkImage(int width, int height, bool withImage = true, bool withMask = true);

    int Width() const;
    int Height() const;
    /// Row tables, one pointer for each row; null when the picture has no such plane.
    std::uint8_t* const* Rows() const;
    std::uint8_t* const* MaskRows() const;

    /// Colour 0 and mask 255 everywhere: nothing there.
    void Clear();
};

}  // namespace kestrel
