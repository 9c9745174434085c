#include "kestrel/image/Dib.h"

#include <cstdlib>
#include <cstring>

#include "kestrel/image/DibModule.h"
#include "kestrel/image/DibRecord.h"
#include "kestrel/image/PixelMemory.h"

namespace kestrel {
namespace {

constexpr std::uint64_t kCreateRoom = 1078;    // file header, record header, full colour table
constexpr std::uint64_t kCreateExRoom = 1064;  // record header, full colour table

/// A run names at most 255 pixels in its two bytes; a smaller image cannot fill its rows.
constexpr std::uint64_t kLargestGain = 256;

/// 0xRRGGBB; every new table repeats them.
constexpr std::uint32_t kStandardColors[16] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                               0x008080, 0xC0C0C0, 0x808080, 0xFF0000, 0x00FF00, 0xFFFF00,
                                               0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

Dib* Create(int depth, int width, int height, std::uint64_t room) {
    const int bits = BitsOfDepth(depth);
    if (bits < 0) return nullptr;
    const std::int64_t rowBytes = CreatedRowBytes(bits, width);
    // 47 bits of row times 31 bits of height may not fit 64; neither fits a record.
    if (rowBytes > INT64_C(0xFFFFFFFF) || rowBytes < -INT64_C(0xFFFFFFFF)) return nullptr;
    const std::int64_t imageSize = std::max<std::int64_t>(rowBytes * height, 0);
    if (imageSize > INT64_C(0xFFFFFFFF)) return nullptr;
    // The rows that will be walked can be longer than the size on record; the block must hold them.
    const std::uint64_t rows = std::max(static_cast<std::uint64_t>(imageSize), WalkedImageBytes(bits, width, height));
    Dib* dib = rows > UINT64_MAX - room ? nullptr : AllocateRecord(rows + room);
    if (dib) FillRecord(dib, depth, width, height, static_cast<std::uint32_t>(imageSize));
    return dib;
}

}  // namespace

// Making and freeing -------------------------------------------------------------------------------------------------

Dib* AllocateRecord(std::uint64_t bytes) {
    return static_cast<Dib*>(AllocateZeroPixels(std::max<std::uint64_t>(bytes, sizeof(Dib))));
}

void FillRecord(Dib* dib, int depth, int width, int height, std::uint32_t imageSize) {
    *dib = Dib{};
    dib->biSize = sizeof(Dib);
    dib->biWidth = width;
    dib->biHeight = height;
    dib->biPlanes = 1;
    dib->biBitCount = static_cast<std::uint16_t>(depth);
    dib->biSizeImage = imageSize;
    dib->biClrUsed = CreatedColors(depth);
    std::uint8_t* entry = DibColorTable(dib);
    for (std::uint32_t i = 0; i < dib->biClrUsed; ++i, entry += 4) {
        const std::uint32_t color = kStandardColors[i % 16];
        entry[0] = static_cast<std::uint8_t>(color);
        entry[1] = static_cast<std::uint8_t>(color >> 8);
        entry[2] = static_cast<std::uint8_t>(color >> 16);
        entry[3] = 0;
    }
}

Dib* DibCreate(int bitDepth, int width, int height) {
    return Create(bitDepth, std::max(width, 0), std::max(height, 0), kCreateRoom);
}

Dib* DibCreateEx(int bitDepth, int width, int height, std::size_t extraBytes) {
    return extraBytes > PTRDIFF_MAX ? nullptr : Create(bitDepth, width, height, kCreateExRoom + extraBytes);
}

void DibFree(Dib* dib) {
    if (dib && !DibModule::Owns(dib)) std::free(dib);
}

void DibDropFourthBytes(DibPtr& dib) {
    if (!dib || dib->biBitCount != 32) return;
    const int width = dib->biWidth, height = dib->biHeight;
    const auto rowBytes = static_cast<std::size_t>(WalkedRowBytes(24, width));
    std::uint8_t* to = DibRow(dib.get(), 0);
    for (int y = 0; y < height; ++y, to += rowBytes) {  // never ahead of what is still to be moved
        const std::uint8_t* const from = DibRow(dib.get(), y);
        for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x) std::memmove(to + 3 * x, from + 4 * x, 3);
    }
    FillRecord(dib.get(), 24, width, height, static_cast<std::uint32_t>(CreatedRowBytes(24, width) * height));
    Dib* const larger = dib.release();
    auto* const smaller = static_cast<Dib*>(std::realloc(larger, WalkedImageBytes(24, width, height) + kCreateRoom));
    dib.reset(smaller ? smaller : larger);
}

// Where things lie in a block ----------------------------------------------------------------------------------------

int DibBitsPerPixel(const Dib* dib) { return BitsOfDepth(dib->biBitCount); }

std::size_t DibRowSize(const Dib* dib) {
    return static_cast<std::size_t>(WalkedRowBytes(DibBitsPerPixel(dib), dib->biWidth));
}

std::uint64_t WalkedImageBytes(const Dib* dib) {
    return WalkedImageBytes(DibBitsPerPixel(dib), dib->biWidth, dib->biHeight);
}

int WalkedRows(const Dib* dib) { return dib->biWidth > 0 ? std::max(dib->biHeight, 0) : 0; }

bool SizeIsHonest(const Dib& header) {
    const std::uint64_t rows = WalkedImageBytes(&header);
    if (rows == 0 || header.biSizeImage == 0) return rows <= UINT32_MAX;
    if (header.biCompression == kDibRunLength8 || header.biCompression == kDibRunLength4)
        return rows / kLargestGain <= header.biSizeImage;
    if (rows > 2 * std::uint64_t{header.biSizeImage}) return false;
    // New records count less than whole rows at depths below 8; files written from them are welcome.
    const std::int64_t created = CreatedRowBytes(DibBitsPerPixel(&header), header.biWidth) * header.biHeight;
    return created <= std::int64_t{header.biSizeImage};
}

std::uint32_t DibImageSize(Dib* dib) {
    if (dib->biSizeImage == 0)
        dib->biSizeImage = static_cast<std::uint32_t>(std::min<std::uint64_t>(WalkedImageBytes(dib), UINT32_MAX));
    return dib->biSizeImage;
}

std::uint32_t DibColorCount(const Dib* dib) {
    return dib->biClrUsed == 0 && dib->biBitCount < 9 ? 1u << dib->biBitCount : dib->biClrUsed;
}

std::uint32_t DibColorCount(Dib* dib) {
    dib->biClrUsed = DibColorCount(static_cast<const Dib*>(dib));
    return dib->biClrUsed;
}

const std::uint8_t* DibColorTable(const Dib* dib) { return reinterpret_cast<const std::uint8_t*>(dib) + dib->biSize; }

std::uint8_t* DibColorTable(Dib* dib) { return reinterpret_cast<std::uint8_t*>(dib) + dib->biSize; }

std::size_t PixelOffset(const Dib* dib) {
    return dib->biCompression == kDibBitFields ? dib->biSize + std::size_t{12} : TableEnd(dib);
}

const std::uint8_t* DibRow(const Dib* dib, int row) {
    return reinterpret_cast<const std::uint8_t*>(dib) + PixelOffset(dib) + DibRowSize(dib) * static_cast<unsigned>(row);
}

std::uint8_t* DibRow(Dib* dib, int row) {
    return reinterpret_cast<std::uint8_t*>(dib) + PixelOffset(dib) + DibRowSize(dib) * static_cast<unsigned>(row);
}

std::size_t DIBFileSize(Dib* dib) {
    if (!dib) return 0;
    DibColorCount(dib);
    return TableEnd(dib) + kDibFileHeader + DibImageSize(dib);
}

}  // namespace kestrel
