#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrel {

/// One request for pixels: a part of a link's output picture and the caller's rows that it goes into.
struct PixelRequest {
    int dstX;  ///< where the corner lands in the caller's rows, pixels
    int dstY;
    int srcX;  ///< corner in the output picture of the link that is asked
    int srcY;
    int width;
    int height;
    std::uint8_t* const* rows;      ///< 24-bit rows by number, bottom row first
    std::uint8_t* const* maskRows;  ///< 8-bit mask rows likewise

    /// Its rows `from` to `end` − 1.
    PixelRequest Part(int from, int end) const {
        return {dstX, dstY + from, srcX, srcY + from, width, end - from, rows, maskRows};
    }
    /// The colour bytes of row `h` of the request: blue, green, red of each of `width` pixels.
    std::span<std::uint8_t> Pixels(int h) const {
        return {rows[dstY + h] + std::ptrdiff_t{dstX} * 3, static_cast<std::size_t>(width) * 3};
    }
    /// The mask bytes of row `h` of the request.
    std::span<std::uint8_t> Mask(int h) const { return {maskRows[dstY + h] + dstX, static_cast<std::size_t>(width)}; }
};

}  // namespace kestrel
