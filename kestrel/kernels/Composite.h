#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "kestrel/kernels/Hsl.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Rules that lay pictures over each other. Pixels are blue, green, red; a mask byte of 0 is opaque, 255 is nothing.
/// Divisions cut toward zero.

/// `over` on `under`, an opaque byte, by the mask of `over`.
constexpr std::uint8_t OverByte(int under, int over, int mask) {
    return static_cast<std::uint8_t>((under * mask + over * (255 - mask)) / 255);
}

/// Lays a pixel `over`, with its mask, over the pixel `under`, which takes the result, as its mask does.
constexpr void OverPixel(std::uint8_t* under, std::uint8_t& underMask, const std::uint8_t* over,
                         std::uint8_t overMask) {
    if (overMask == 255) return;
    if (overMask == 0 || underMask == 255) {
        for (int i = 0; i < 3; ++i) under[i] = over[i];
        underMask = overMask;
        return;
    }
    if (underMask == 0) {
        for (int i = 0; i < 3; ++i) under[i] = OverByte(under[i], over[i], overMask);
        return;
    }
    const int overWeight = (255 - overMask) * 255;
    const int underWeight = overMask * (255 - underMask);
    for (int i = 0; i < 3; ++i)
        under[i] =
            static_cast<std::uint8_t>((overWeight * over[i] + underWeight * under[i]) / (overWeight + underWeight));
    underMask = static_cast<std::uint8_t>(overMask * underMask / 255);
}

/// Lays the pixels of `over` over those of `under`, which take the result.
void OverRow(MaskedRow under, ConstMaskedRow over);

/// Mask value of a board of `transparency` percent; beyond 0..255 for a percentage beyond 0..100.
constexpr std::int64_t BoardAlpha(std::int32_t transparency) { return std::int64_t{transparency} * 255 / 100; }

/// What a board of mask `alpha` adds to a pixel that is not there.
template <class Number>
constexpr std::array<Number, 3> ShownBoardParts(Bgr board, Number alpha) {
    return {board.blue * (255 - alpha) / 255, board.green * (255 - alpha) / 255, board.red * (255 - alpha) / 255};
}
/// The same for an `alpha` of 0..255, which leaves bytes.
constexpr Bgr ShownBoard(Bgr board, std::int32_t alpha) {
    const auto parts = ShownBoardParts(board, alpha);
    return {static_cast<std::uint8_t>(parts[0]), static_cast<std::uint8_t>(parts[1]),
            static_cast<std::uint8_t>(parts[2])};
}

/// Lets a board of colour `board` and mask `alpha` show through the transparent parts of a pixel; an opaque pixel, and
/// any pixel over a board whose `alpha` is above 254, stays as it is. 64 bits hold the sums for any percentage, 32 bits
/// for one of 0..100; the low byte is kept.
template <class Number>
constexpr void PaintInnerPixel(std::uint8_t* pixel, std::uint8_t& mask, Bgr board, Number alpha) {
    if (alpha > 254 || mask == 0) return;
    const Number m = mask;
    const Number n = m * alpha / 255;
    const auto shown = ShownBoardParts(board, alpha);
    for (std::size_t i = 0; i < 3; ++i) {
        const Number sum = pixel[i] * (255 - m) + shown[i] * m;
        pixel[i] = static_cast<std::uint8_t>(sum / (255 - n));
    }
    mask = static_cast<std::uint8_t>(n);
}
/// The same for each pixel of a row.
void PaintInnerRow(MaskedRow row, Bgr board, std::int64_t alpha);

/// Lays a pixel on one of `color` and `colorMask`, and keeps the result.
constexpr void LayOnColorPixel(std::uint8_t* pixel, std::uint8_t& mask, Bgr color, std::uint8_t colorMask) {
    std::uint8_t result[3] = {color.blue, color.green, color.red};
    OverPixel(result, colorMask, pixel, mask);
    for (int i = 0; i < 3; ++i) pixel[i] = result[i];
    mask = colorMask;
}
/// The same for each pixel of a row, with a `colorMask` of its own.
void LayOnColorRow(MaskedRow row, Bgr color, ConstRow colorMask);

/// Lays a single pixel with its mask (four bytes) on a board. A board mask beyond a byte is held to it.
constexpr void LayOnBoard(std::uint8_t* pixel, Bgr board, std::int64_t alpha) {
    LayOnColorPixel(pixel, pixel[3], board, static_cast<std::uint8_t>(std::clamp<std::int64_t>(alpha, 0, 255)));
}

/// Inverts a mask by a percentage: what was there goes, and `color` stands where nothing was. 64 bits hold the sums for
/// any percentage; the low byte is kept.
constexpr void InvertMaskPixel(std::uint8_t* pixel, std::uint8_t& mask, Bgr color, std::int64_t percent) {
    const std::int64_t shown = 255 - mask;
    const std::int64_t hidden = mask;
    const std::int64_t a = shown * (100 - percent);
    const std::int64_t b = hidden * percent;
    if (a + b == 0) {
        mask = 255;
        return;
    }
    pixel[0] = static_cast<std::uint8_t>((pixel[0] * a + color.blue * b) / (a + b));
    pixel[1] = static_cast<std::uint8_t>((pixel[1] * a + color.green * b) / (a + b));
    pixel[2] = static_cast<std::uint8_t>((pixel[2] * a + color.red * b) / (a + b));
    mask = static_cast<std::uint8_t>((hidden * (100 - percent) + shown * percent) / 100);
}
/// The same for each pixel of a row.
void InvertMaskRow(MaskedRow row, Bgr color, std::int32_t percent);

}  // namespace kestrel::kernels
