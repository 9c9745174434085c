#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "kestrel/foundation/Export.h"

namespace kestrel {

class DibModule;
class Palette;
class Surface;

/// First bytes of a packed DIB: this record, the colour table, then the rows from the bottom up. Row 0 is the bottom
/// row. The layout is that of a `.bmp` file on a little-endian machine. A pixel of a 24-bit row is blue, green, red.
struct BITMAPINFOHEADER {
    std::uint32_t biSize;
    std::int32_t biWidth;
    std::int32_t biHeight;  ///< below 0 there are no rows: top-down records are not supported
    std::uint16_t biPlanes;
    std::uint16_t biBitCount;
    std::uint32_t biCompression;  ///< one of `DibCompression`
    std::uint32_t biSizeImage;    ///< 0 stands for row size times height
    std::int32_t biXPelsPerMeter;
    std::int32_t biYPelsPerMeter;
    std::uint32_t biClrUsed;  ///< entries of the colour table; 0 at depths below 9 stands for all
    std::uint32_t biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

/// A packed block is handled by a pointer to its header.
using Dib = BITMAPINFOHEADER;

/// The values of `biCompression`.
enum DibCompression : std::uint32_t { kDibPlain = 0, kDibRunLength8 = 1, kDibRunLength4 = 2, kDibBitFields = 3 };

/// Bytes of the header that a BMP file has in front of the record.
inline constexpr std::size_t kDibFileHeader = 14;

/// Depth of an 8-bit plane without a colour table; -8 as a 16-bit number.
inline constexpr std::uint16_t kDibPlaneDepth = 0xFFF8;

/// What the entries of a colour table mean.
enum DibUsage : unsigned { kDibRgbColors = 0, kDibPaletteColors = 1 };

// Making and freeing -------------------------------------------------------------------------------------------------

/// New block of the given depth; sizes below 0 count as 0. Null when memory does not suffice. Freed with `DibFree`.
/// Depths 4 and 8 get the sixteen standard colours, repeated; an 8-bit block has no grey ramp. Pixels begin as 0.
KESTREL_API Dib* DibCreate(int bitDepth, int width, int height);
/// Like `DibCreate` with room for `extraBytes` after the image; sizes below 0 are stored as they are, such a block has
/// no rows.
KESTREL_API Dib* DibCreateEx(int bitDepth, int width, int height, std::size_t extraBytes);
/// Gives a block back. Null does nothing, and so does a block that belongs to a `DibModule`.
KESTREL_API void DibFree(Dib* dib);

/// Owns a block for the length of a scope.
struct DibDeleter {
    void operator()(Dib* dib) const { DibFree(dib); }
};
using DibPtr = std::unique_ptr<Dib, DibDeleter>;

// Where things lie in a block ----------------------------------------------------------------------------------------

/// Bits of a pixel; `kDibPlaneDepth` counts as 8.
KESTREL_API int DibBitsPerPixel(const Dib* dib);
/// Bytes from one row to the next: rows are padded to four bytes.
KESTREL_API std::size_t DibRowSize(const Dib* dib);
/// Bytes of the image; the derived value is stored back when the record leaves it open.
KESTREL_API std::uint32_t DibImageSize(Dib* dib);
/// Entries of the colour table; the derived value is stored back when the record leaves it open.
KESTREL_API std::uint32_t DibColorCount(Dib* dib);
KESTREL_API std::uint32_t DibColorCount(const Dib* dib);
/// The colour table: blue, green, red, 0 for each entry.
KESTREL_API std::uint8_t* DibColorTable(Dib* dib);
KESTREL_API const std::uint8_t* DibColorTable(const Dib* dib);
/// The stored row `row`, counted from the bottom of the picture.
KESTREL_API std::uint8_t* DibRow(Dib* dib, int row);
KESTREL_API const std::uint8_t* DibRow(const Dib* dib, int row);
/// Bytes of the block as a `.bmp` file; 0 for null.
KESTREL_API std::size_t DIBFileSize(Dib* dib);

// Reading ------------------------------------------------------------------------------------------------------------

/// Reads a `.bmp` file or a bare record. When the file cannot be opened the name is looked up in `DibModule::Main()`.
/// Null for anything that is truncated, too large for the file or for memory, or names more pixels than it brings.
/// The caller frees the block; `DibFree` knows a module's blocks and leaves them alone.
KESTREL_API Dib* DibOpenFile(const char* fileName);
/// Reads a record that begins at `offset` bytes from the start of an open, seekable file, which stays open. Null as
/// for `DibOpenFile`; the file's position is undefined afterwards.
KESTREL_API Dib* DibReadDib(std::FILE* file, std::int64_t offset);
/// The record `name` of a module, expanded in place. It belongs to the module. Null when there is none.
KESTREL_API Dib* DibOpenFromModule(const char* name, DibModule* module);

// Palettes and drawing -----------------------------------------------------------------------------------------------

/// Fills the colour table: with the 16-bit numbers 0, 1, 2... for `kDibPaletteColors`, otherwise with up to 256 colours
/// of the palette (null: the default palette). 0 for a null block, otherwise 1.
KESTREL_API int DibSetUsage(Dib* dib, const Palette* palette, unsigned usage);
/// Rewrites an indexed image so that its indices name the nearest colours of the palette (null: the default palette),
/// which becomes its colour table. The block may be replaced. Blocks of other kinds stay as they are.
KESTREL_API void DibMapToPalette(DibPtr& dib, const Palette* palette);
/// Copies the picture to the surface with its upper left corner at (x, y). Gives the number of lines, 0 for null.
KESTREL_API int DIBPaint(Dib* dib, Surface& surface, int x, int y);

// Converting ---------------------------------------------------------------------------------------------------------

/// New 24-bit block with the same picture; null for null, for depths other than 1, 4, 8, 16, 24, 32, and when memory
/// does not suffice. 16-bit pixels are split 5-5-5 whatever their masks say; the fourth byte of 32 bits is lost.
KESTREL_API Dib* Make24BitDib(Dib* dib);
/// Makes a 32-bit block a 24-bit one in its own memory: the fourth bytes are lost.
KESTREL_API void DibDropFourthBytes(DibPtr& dib);
/// New 24-bit block of the given size, whose low 16 bits count, by integer box resampling. A width that is not above
/// the old one takes the reducing path for both axes, any other the enlarging path. Null unless the block is 24-bit.
KESTREL_API Dib* DibScale(const Dib* dib, int newWidth, int newHeight);
/// New 8-bit block with a grey ramp and the mean (blue + green + red) / 3. Null unless the block is 24-bit.
KESTREL_API Dib* GolorGray(const Dib* dib);

}  // namespace kestrel
