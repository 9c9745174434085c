#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "kestrel/foundation/AbortFlag.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::passes {

/// A picture as row tables, the bottom row first: 24-bit rows of blue, green, red and 8-bit mask rows beside them, 255
/// where nothing is. A picture may have either plane alone; the table of the other is then null. Owns nothing.
template <class Byte>
struct BasicPlanes {
    Byte* const* rows = nullptr;
    Byte* const* maskRows = nullptr;
    int width = 0;   ///< pixels that count; the rows may be longer
    int height = 0;  ///< rows that count

    std::span<Byte> Pixels(std::int64_t y) const { return {rows[y], static_cast<std::size_t>(width) * 3}; }
    std::span<Byte> Mask(std::int64_t y) const { return {maskRows[y], static_cast<std::size_t>(width)}; }
    operator BasicPlanes<const Byte>() const requires(!std::is_const_v<Byte>) {
        return {rows, maskRows, width, height};
    }
};
using Planes = BasicPlanes<std::uint8_t>;
using ConstPlanes = BasicPlanes<const std::uint8_t>;

/// The columns `left` to `right` − 1 of row `y` of both planes.
inline kernels::MaskedRow Part(const Planes& picture, std::int64_t y, std::int64_t left, std::int64_t right) {
    const auto first = static_cast<std::size_t>(left);
    const auto count = static_cast<std::size_t>(right - left);
    return {picture.Pixels(y).subspan(first * 3, count * 3), picture.Mask(y).subspan(first, count)};
}

/// The planes of a work image of which `width` × `height` pixels are in use.
inline Planes PlanesOf(const CWorkImage& image, int width, int height) {
    return {image.Rows(), image.MaskRows(), width, height};
}

}  // namespace kestrel::passes
