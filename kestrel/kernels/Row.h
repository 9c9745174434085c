#pragma once
#include <cstdint>
#include <span>

namespace kestrel::kernels {

/// Bytes of a row that stay the caller's: blue, green, red of each pixel, or one byte of the mask for each.
using Row = std::span<std::uint8_t>;
using ConstRow = std::span<const std::uint8_t>;

/// A row of pixels and its mask, which counts as many.
struct ConstMaskedRow {
    ConstRow pixels;
    ConstRow mask;
};
struct MaskedRow {
    Row pixels;
    Row mask;
    operator ConstMaskedRow() const { return {pixels, mask}; }
};

}  // namespace kestrel::kernels
