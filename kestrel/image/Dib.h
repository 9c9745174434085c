#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// First bytes of a packed DIB: this record, the colour table, then the rows from the bottom up. Row 0 is the bottom
/// row. The layout is that of a `.bmp` file on a little-endian machine.
struct BITMAPINFOHEADER {
    std::uint32_t biSize;
    std::int32_t biWidth;
    std::int32_t biHeight;
    std::uint16_t biPlanes;
    std::uint16_t biBitCount;
    std::uint32_t biCompression;
    std::uint32_t biSizeImage;
    std::int32_t biXPelsPerMeter;
    std::int32_t biYPelsPerMeter;
    std::uint32_t biClrUsed;
    std::uint32_t biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

/// A packed block is handled by a pointer to its header.
using Dib = BITMAPINFOHEADER;

/// New block of the given depth; sizes below 0 count as 0. Null when memory does not suffice. Freed with `DibFree`.
KESTREL_API Dib* DibCreate(int bitDepth, int width, int height);
KESTREL_API void DibFree(Dib* dib);

/// Owns a block for the length of a scope.
struct DibDeleter {
    void operator()(Dib* dib) const { DibFree(dib); }
};
using DibPtr = std::unique_ptr<Dib, DibDeleter>;

/// Bytes from one row to the next: rows are padded to four bytes.
KESTREL_API std::size_t DibRowSize(const Dib* dib);
/// The stored row `row`, counted from the bottom of the picture.
KESTREL_API std::uint8_t* DibRow(Dib* dib, int row);
KESTREL_API const std::uint8_t* DibRow(const Dib* dib, int row);

}  // namespace kestrel
