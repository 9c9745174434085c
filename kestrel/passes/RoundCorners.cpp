#include "kestrel/passes/RoundCorners.h"

#include <algorithm>

#include "kestrel/passes/ArcCoverage.h"

namespace kestrel::passes {

void RoundCorners(const Planes& picture, std::int32_t radius) {
    const int width = picture.width;
    const int height = picture.height;
    // The middle column of an odd width belongs to the left quarters, the middle row to the lower ones.
    const int columns = std::min(radius, width - width / 2);
    const int rows = std::min(radius, height - height / 2);
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i) {
            const double coverage = ArcCoverage(i, j, radius);
            if (coverage == 1.0) break;  // the rest of the row is inside
            const auto cut = [&](int x, int y) {
                std::uint8_t& mask = picture.maskRows[y][x];
                mask = static_cast<std::uint8_t>(255 - static_cast<int>((255 - mask) * coverage));
            };
            const int right = width - 1 - i;
            const int top = height - 1 - j;
            cut(i, j);
            if (right != i) cut(right, j);
            if (top != j) cut(i, top);
            if (right != i && top != j) cut(right, top);
        }
}

}  // namespace kestrel::passes
