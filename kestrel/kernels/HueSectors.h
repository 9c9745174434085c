#pragma once
#include <array>

namespace kestrel::kernels {

/// A range of hues in whole degrees 0..359: its weight rises from `rise` to `full`, is whole up to `fall`, and is gone
/// at `end`. A range may lie across 0.
struct HueSector {
    int rise;
    int full;
    int fall;
    int end;
};

/// Red, yellow, green, cyan, blue, magenta. Neighbours overlap on their ramps.
inline constexpr std::array<HueSector, 6> kHueSectors = {{{315, 345, 15, 45},
                                                          {15, 45, 75, 105},
                                                          {75, 105, 135, 165},
                                                          {135, 165, 195, 225},
                                                          {195, 225, 255, 285},
                                                          {255, 285, 315, 345}}};

/// Percentage of a hue of 0..359 in a sector, cut to an integer.
constexpr int SectorWeight(int hue, const HueSector& row) {
    const auto forward = [](int from, int to) { return (to - from + 360) % 360; };
    int weight = 0;
    const int up = forward(row.rise, row.full);
    if (up > 0 && forward(row.rise, hue) <= up) weight = forward(row.rise, hue) * 100 / up;
    const int plateau = forward(row.full, row.fall);
    if (plateau > 0 && forward(row.full, hue) <= plateau) weight = 100;
    const int down = forward(row.fall, row.end);
    if (down > 0 && forward(hue, row.end) <= down) weight = forward(hue, row.end) * 100 / down;
    return weight;
}

}  // namespace kestrel::kernels
