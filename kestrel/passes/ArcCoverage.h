#pragma once
#include <cmath>
#include <cstdint>
#include <utility>

namespace kestrel::passes {

/// What a quarter circle of radius `radius` keeps of the pixel at (`i`, `j`), both counted from the corner of the
/// square that it stands in: 0 outside, 1 inside. The arc is taken as straight from one side of a pixel to the other,
/// on the flatter side of the diagonal; the other side is its mirror image. 0 <= i, j <= radius.
inline double ArcCoverage(std::int64_t i, std::int64_t j, std::int64_t radius) {
    if (i < j) std::swap(i, j);
    const auto squared = [](std::int64_t side) { return side * side; };
    if (squared(radius - i) + squared(radius - j) <= squared(radius)) return 1.0;
    if (squared(radius - i - 1) + squared(radius - j - 1) >= squared(radius)) return 0.0;
    const auto height = [&](std::int64_t x) {
        return static_cast<double>(radius) - std::sqrt(static_cast<double>(squared(radius) - squared(radius - x)));
    };
    const double y0 = height(i);  // the arc falls from y0 to y1
    const double y1 = height(i + 1);
    const auto row = static_cast<double>(j);
    const double row0 = std::trunc(y0);
    const double row1 = std::trunc(y1);
    if (row0 == row1) return 1.0 - (y0 + y1) / 2.0 + row0;
    if (row == row1) return (1.0 - (y1 - row1)) * (1.0 - (y1 - row1)) / (2.0 * (y0 - y1));
    if (row == row0) return 1.0 - (y0 - row0) * (y0 - row0) / (2.0 * (y0 - y1));
    return (row + 0.5 - y1) / (y0 - y1);  // on the diagonal, where the arc may cross a row from edge to edge
}

}  // namespace kestrel::passes
