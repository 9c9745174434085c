#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrel::kernels {

/// Rows of a block that are transposed fastest, and as many columns of it.
inline constexpr std::size_t kTransposedBlock = 16;

/// Transposes a block of three-byte pixels: pixel `i` of `from[j]` becomes pixel `j` of `to[i]`. Nothing else is read
/// or written; the rows of the two do not overlap.
void TransposePixels(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to);
/// The same for single bytes.
void TransposeBytes(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to);

}  // namespace kestrel::kernels
