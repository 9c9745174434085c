#pragma once
#include <cstddef>
#include <cstdint>

#include "kestrel/image/Dib.h"

namespace kestrel {

/// A picture whose rows are in memory, all of them or those that are needed now: row y lies at place y modulo `kept`.
/// Owns nothing. Null planes: there is no picture, or no mask.
struct RowWindow {
    int width = 0;  ///< of the picture
    int height = 0;
    bool hasMask = false;  ///< of the picture, also while no row of it is in memory
    int kept = 1;          ///< rows in memory, above 0
    const std::uint8_t* pixels = nullptr;
    const std::uint8_t* mask = nullptr;
    std::size_t pixelStride = 0;  ///< bytes from row to row
    std::size_t maskStride = 0;

    /// All rows of a 24-bit record and of a mask of its size; either may be null.
    static RowWindow Of(const Dib* image, const Dib* mask) {
        RowWindow all;
        if (!image || image->biHeight < 1) return all;
        all.width = image->biWidth;
        all.height = all.kept = image->biHeight;
        all.hasMask = mask != nullptr;
        all.pixels = DibRow(image, 0);
        all.pixelStride = DibRowSize(image);
        if (mask) all.mask = DibRow(mask, 0);
        if (mask) all.maskStride = DibRowSize(mask);
        return all;
    }

    /// Where the row lies in a plane, in bytes.
    std::size_t PixelsAt(int y) const { return static_cast<std::size_t>(y % kept) * pixelStride; }
    std::size_t MaskAt(int y) const { return static_cast<std::size_t>(y % kept) * maskStride; }
};

}  // namespace kestrel
