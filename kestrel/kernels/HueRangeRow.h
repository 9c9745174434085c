#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// A value for each tone and channel.
struct RangeTables {
    std::array<std::int32_t, 256> red;
    std::array<std::int32_t, 256> green;
    std::array<std::int32_t, 256> blue;
};

/// Hue as an integer: a degree is 255.
inline constexpr std::int32_t kHueTurn = 360 * 255;

/// Weights by distance in hue and by saturation, both 0..255.
struct HueRangeWeights {
    static constexpr std::int32_t kReach = 30 * 255;  ///< a colour at this distance is out of the range
    std::array<std::int32_t, 240> falloff;            ///< by the distance divided by 32
    std::array<std::int32_t, 256> saturation;
};

/// Adds a range's table values to a pixel whose hue lies around `centre`, as strongly as it is near and saturated.
/// Sums keep their low byte. `centre` may be any number; one that is no hue reaches nothing.
constexpr Bgr HueRangePixel(Bgr p, std::int32_t centre, const RangeTables& tables, const HueRangeWeights& weights) {
    const int greatest = std::max({p.red, p.green, p.blue});
    const int spread = greatest - std::min({p.red, p.green, p.blue});
    if (greatest == 0) return p;
    const int saturation = spread * 255 / greatest;
    if (saturation == 0) return p;
    constexpr int kSextant = kHueTurn / 6;
    int hue;
    if (greatest == p.red)
        hue = (p.green - p.blue) * kSextant / spread;
    else if (greatest == p.green)
        hue = (p.blue - p.red) * kSextant / spread + 2 * kSextant;
    else
        hue = (p.red - p.green) * kSextant / spread + 4 * kSextant;
    if (hue < 0) hue += kHueTurn;
    std::int64_t distance = std::int64_t{hue} - centre;
    if (distance < 0) distance = -distance;
    if (distance > kHueTurn / 2) distance = kHueTurn - distance;
    if (distance < 0 || distance >= HueRangeWeights::kReach) return p;
    const int weight = weights.saturation[static_cast<std::size_t>(saturation)] *
                       weights.falloff[static_cast<std::size_t>(distance >> 5)];
    const auto add = [weight](std::uint8_t byte, const std::array<std::int32_t, 256>& table) {
        return static_cast<std::uint8_t>(byte + ((std::int64_t{table[byte]} * weight) >> 16));
    };
    return {add(p.blue, tables.blue), add(p.green, tables.green), add(p.red, tables.red)};
}
void HueRangeRow(Row row, std::int32_t centre, const RangeTables& tables, const HueRangeWeights& weights);

}  // namespace kestrel::kernels
