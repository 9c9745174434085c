#include "kestrel/image/Mask.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kestrel/image/DibRecord.h"

namespace kestrel {

Dib* ConvertMaskArrayToDib(const std::uint8_t* array, int width, int height) {
    if (!array) return nullptr;
    DibPtr dib(DibCreate(8, width, height));
    if (!dib) return nullptr;
    bool partial = false;
    for (int line = 0; line < WalkedRows(dib.get()); ++line) {
        std::uint8_t* row = DibRow(dib.get(), height - 1 - line);
        for (int x = 0; x < width; ++x, ++array) {
            row[x] = static_cast<std::uint8_t>(255 - *array);
            partial |= row[x] > 0 && row[x] < 255;
        }
    }
    return partial ? dib.release() : nullptr;
}

std::uint8_t* ConvertMaskDibToArray(const Dib* dib) {
    if (!dib || DibBitsPerPixel(dib) != 8) return nullptr;
    const auto width = static_cast<std::size_t>(std::max(dib->biWidth, 0));
    const auto height = static_cast<std::size_t>(std::max(dib->biHeight, 0));
    // The block holds at least as many bytes, so that the product fits; a byte more, so that none is not null.
    auto* array = static_cast<std::uint8_t*>(std::malloc(width * height + 1));
    if (!array) return nullptr;
    std::uint8_t* to = array;
    for (int row = WalkedRows(dib) - 1; row >= 0; --row) {
        const std::uint8_t* from = DibRow(dib, row);
        for (std::size_t x = 0; x < width; ++x) *to++ = static_cast<std::uint8_t>(255 - from[x]);
    }
    return array;
}

void DIBDrawWithMask(Surface& surface, const Dib* image, const Dib* mask, int x, int y, int width, int height,
                     int sourceX, int /*sourceY*/, bool noBlending) {
    if (!image || image->biBitCount != 24 || (mask && DibBitsPerPixel(mask) != 8)) return;
    const DibPtr area(DibCreate(24, width, height));
    if (!area) return;
    surface.Read(x, y, area.get());

    // Columns of the area for which image and mask have a pixel.
    const std::int64_t columns = mask ? std::min(image->biWidth, mask->biWidth) : image->biWidth;
    const std::int64_t first = std::max<std::int64_t>(0, -std::int64_t{sourceX});
    const std::int64_t last = std::min<std::int64_t>(width, columns - sourceX);
    const int rows = std::min({std::max(height, 0) - 1, image->biHeight, mask ? mask->biHeight : image->biHeight});
    for (int r = 0; r < rows && first < last; ++r) {
        const std::uint8_t* from = DibRow(image, r);
        const std::uint8_t* transparency = mask ? DibRow(mask, r) : nullptr;
        std::uint8_t* to = DibRow(area.get(), r + 1);
        for (std::int64_t column = first; column < last; ++column) {
            const std::uint8_t* pixel = from + 3 * (column + sourceX);
            const int m = transparency ? transparency[column + sourceX] : 0;
            if (m == 0) {
                std::memcpy(to + 3 * column, pixel, 3);
            } else if (m < 255 && !noBlending) {
                const int a = (255 - m) * 255;
                const int b = m * 255;
                for (int c = 0; c < 3; ++c) {
                    std::uint8_t& byte = to[3 * column + c];
                    byte = static_cast<std::uint8_t>((a * pixel[c] + b * byte) / (a + b));
                }
            }
        }
    }
    surface.Write(x, y, area.get());
}

}  // namespace kestrel
