#include <cstring>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibRead.h"
#include "kestrel/image/DibRecord.h"
#include "kestrel/image/Palette.h"

namespace kestrel {
namespace {

/// Up to `entries` colours of the palette, from the first on.
void StoreColors(std::uint8_t* table, const Palette& palette, std::size_t entries) {
    for (std::size_t i = 0; i < std::min(entries, palette.Colors().size()); ++i, table += 4) {
        const Palette::Color color = palette.Colors()[i];
        table[0] = color.blue;
        table[1] = color.green;
        table[2] = color.red;
        table[3] = 0;
    }
}

}  // namespace

int DibSetUsage(Dib* dib, const Palette* palette, unsigned usage) {
    if (!dib) return 0;
    const std::uint32_t entries = DibColorCount(dib);
    if (entries == 3 && dib->biCompression == kDibBitFields) return 1;  // the three masks are no table
    if (usage == kDibPaletteColors) {
        std::uint8_t* index = DibColorTable(dib);
        for (std::uint32_t i = 0; i < entries; ++i, index += 2) {
            index[0] = static_cast<std::uint8_t>(i);
            index[1] = static_cast<std::uint8_t>(i >> 8);
        }
    } else {
        StoreColors(DibColorTable(dib), palette ? *palette : Palette::Default(), entries);
    }
    return 1;
}

void DibMapToPalette(DibPtr& dib, const Palette* given) {
    const Palette& palette = given ? *given : Palette::Default();
    if (!dib || (dib->biBitCount != 4 && dib->biBitCount != 8)) return;
    if (dib->biCompression > kDibRunLength8 || palette.Colors().empty()) return;
    DibImageSize(dib.get());
    if (!MakePlain(dib.get())) return;

    std::uint8_t map[256] = {};
    const std::uint8_t* table = DibColorTable(dib.get());
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(DibColorCount(dib.get()), 256); ++i)
        map[i] = palette.Nearest({table[4 * i + 2], table[4 * i + 1], table[4 * i]});
    if (dib->biBitCount == 4)  // both halves of a byte at once; an index above 15 keeps its low half
        for (int i = 255; i >= 0; --i) {
            const int high = map[i >> 4];
            const int low = map[i & 15];
            map[i] = static_cast<std::uint8_t>(high << 4 | (low & 15));
        }

    const std::size_t entries = palette.Colors().size();
    const std::uint64_t image = std::max<std::uint64_t>(dib->biSizeImage, WalkedImageBytes(dib.get()));
    DibPtr mapped(AllocateRecord(dib->biSize + 4 * entries + image));
    if (!mapped) return;
    std::memcpy(mapped.get(), dib.get(), dib->biSize);
    mapped->biClrUsed = static_cast<std::uint32_t>(entries);
    StoreColors(DibColorTable(mapped.get()), palette, entries);
    const std::size_t rowSize = DibRowSize(dib.get());
    for (int row = 0; row < WalkedRows(dib.get()); ++row) {
        const std::uint8_t* from = DibRow(dib.get(), row);
        std::uint8_t* to = DibRow(mapped.get(), row);
        for (std::size_t i = 0; i < rowSize; ++i) to[i] = map[from[i]];
    }
    dib = std::move(mapped);
}

}  // namespace kestrel
