#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kestrel/image/Dib.h"

// What the parts of the image core share about the shape of a record. Not installed.
namespace kestrel {

/// Bits that a depth stands for in row sizes; -1 for depths that no record can have.
constexpr int BitsOfDepth(int depth) {
    if (depth == -8 || depth == kDibPlaneDepth) return 8;
    return depth >= 0 && depth <= 0xFFFF ? depth : -1;
}

/// Row bytes as new records count them. Less than the true row size where the bits of a row do not fill a byte.
constexpr std::int64_t CreatedRowBytes(std::int64_t bits, std::int64_t width) { return (width * bits / 8 + 3) & ~3ll; }

/// Row bytes as rows are walked: whole 32-bit units. 0 for widths below 0.
constexpr std::int64_t WalkedRowBytes(std::int64_t bits, std::int64_t width) {
    return width > 0 ? ((width * bits + 31) & ~31ll) / 8 : 0;
}

/// Bytes that the rows of a record cover when they are walked. 64 bits hold it: 31 + 16 bits a row, 31 bits of height,
/// capped long before any allocation could succeed.
constexpr std::uint64_t WalkedImageBytes(std::int64_t bits, std::int32_t width, std::int32_t height) {
    const auto row = static_cast<std::uint64_t>(WalkedRowBytes(bits, width));
    const auto rows = static_cast<std::uint64_t>(std::max(height, 0));
    return rows && row > UINT64_MAX / rows ? UINT64_MAX : row * rows;
}

/// Colour table entries that a new record of this depth has.
constexpr std::uint32_t CreatedColors(int depth) { return depth == 8 ? 256 : depth == 4 ? 16 : 0; }

/// Fills header and colour table of a new record; the block must have room for `CreatedColors` entries.
void FillRecord(Dib* dib, int depth, int width, int height, std::uint32_t imageSize);

/// Heap block of zeros for a record; null when there is no memory. Freed with `DibFree`.
Dib* AllocateRecord(std::uint64_t bytes);

/// Bytes of header and colour table.
inline std::uint64_t TableEnd(const Dib* dib) { return dib->biSize + 4 * std::uint64_t{DibColorCount(dib)}; }

/// Bytes from the start of the block to its first row.
std::size_t PixelOffset(const Dib* dib);

/// Bytes that the record's rows cover when they are walked.
std::uint64_t WalkedImageBytes(const Dib* dib);

/// Rows that have pixels: a record without width may name any height.
int WalkedRows(const Dib* dib);

/// Whether the image's size on record (0: left open) can be that of its rows, so that the rows may be made room for.
bool SizeIsHonest(const Dib& header);

}  // namespace kestrel
