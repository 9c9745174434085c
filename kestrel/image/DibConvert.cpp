#include <array>
#include <cstring>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibRecord.h"

namespace kestrel {
namespace {

/// Colours by index as blue, green, red. Indices that the table does not have are black.
class Colors {
public:
    explicit Colors(const Dib* dib) {
        const std::uint8_t* table = DibColorTable(dib);
        const std::size_t entries = std::min<std::size_t>(DibColorCount(dib), 256);
        for (std::size_t i = 0; i < entries; ++i) std::memcpy(&colors_[3 * i], table + 4 * i, 3);
    }
    void Put(std::uint8_t* pixel, unsigned index) const { std::memcpy(pixel, &colors_[3 * std::size_t{index}], 3); }

private:
    std::array<std::uint8_t, 3 * 256> colors_{};
};

/// Five bits of a channel as eight.
constexpr std::array<std::uint8_t, 32> kFromFiveBits = [] {
    std::array<std::uint8_t, 32> table{};
    for (int v = 0; v < 32; ++v) table[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(v / 31.0 * 255.0);
    return table;
}();

/// Converts row for row; `pixel(row, x, to)` writes one pixel.
template <class Pixel>
Dib* ConvertRows(const Dib* dib, const Pixel& pixel) {
    Dib* result = DibCreate(24, dib->biWidth, dib->biHeight);
    if (!result) return nullptr;
    for (int y = 0; y < WalkedRows(dib); ++y) {
        const std::uint8_t* from = DibRow(dib, y);
        std::uint8_t* to = DibRow(result, y);
        for (std::size_t x = 0; x < static_cast<unsigned>(result->biWidth); ++x, to += 3) pixel(from, x, to);
    }
    return result;
}

Dib* Copy(const Dib* dib) {
    const std::uint64_t image = std::max<std::uint64_t>(dib->biSizeImage, WalkedImageBytes(dib));
    const std::uint64_t size = PixelOffset(dib) + image;
    Dib* copy = AllocateRecord(size);
    if (copy) std::memcpy(static_cast<void*>(copy), dib, size);
    return copy;
}

}  // namespace

Dib* Make24BitDib(Dib* dib) {
    if (!dib) return nullptr;
    DibImageSize(dib);
    DibColorCount(dib);
    using Row = const std::uint8_t*;
    switch (dib->biBitCount) {
        case 1:
            return ConvertRows(dib, [colors = Colors(dib)](Row row, std::size_t x, std::uint8_t* to) {
                colors.Put(to, row[x / 8] >> (7 - x % 8) & 1u);
            });
        case 4:
            return ConvertRows(dib, [colors = Colors(dib)](Row row, std::size_t x, std::uint8_t* to) {
                colors.Put(to, x % 2 ? row[x / 2] & 15u : row[x / 2] >> 4u);
            });
        case 8:
            return ConvertRows(
                dib, [colors = Colors(dib)](Row row, std::size_t x, std::uint8_t* to) { colors.Put(to, row[x]); });
        case 16:  // 5-5-5, also where the masks say otherwise
            return ConvertRows(dib, [](Row row, std::size_t x, std::uint8_t* to) {
                const unsigned pixel = row[2 * x] | static_cast<unsigned>(row[2 * x + 1]) << 8;
                to[0] = kFromFiveBits[pixel & 31];
                to[1] = kFromFiveBits[pixel >> 5 & 31];
                to[2] = kFromFiveBits[pixel >> 10 & 31];
            });
        case 24:
            return Copy(dib);
        case 32:
            return ConvertRows(dib, [](Row row, std::size_t x, std::uint8_t* to) { std::memcpy(to, row + 4 * x, 3); });
        default:
            return nullptr;
    }
}

Dib* GolorGray(const Dib* dib) {
    if (!dib || dib->biBitCount != 24) return nullptr;
    Dib* gray = DibCreate(8, dib->biWidth, dib->biHeight);
    if (!gray) return nullptr;
    std::uint8_t* entry = DibColorTable(gray);
    for (int i = 0; i < 256; ++i, entry += 4) std::memset(entry, i, 3);
    for (int y = 0; y < WalkedRows(gray); ++y) {
        const std::uint8_t* from = DibRow(dib, y);
        std::uint8_t* to = DibRow(gray, y);
        for (int x = 0; x < gray->biWidth; ++x, from += 3)
            to[x] = static_cast<std::uint8_t>((from[0] + from[1] + from[2]) / 3);
    }
    return gray;
}

}  // namespace kestrel
