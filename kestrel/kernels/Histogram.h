#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Number of pixels of each tone 0..255. Every pixel counts, whatever its mask.
using Histogram = std::array<std::uint32_t, 256>;

/// Adds what was counted in another part of a picture.
constexpr void AddCounts(const Histogram& part, Histogram& whole) {
    for (std::size_t i = 0; i < whole.size(); ++i) whole[i] += part[i];
}

/// The luminance of each pixel of a row of blue, green, red.
void MeasureLuminance(ConstRow row, Row luminance);

/// Adds the luminance of each pixel of a row of blue, green, red.
void CountLuminance(ConstRow row, Histogram& luminance);

/// Histograms of the three channels.
struct ChannelHistograms {
    Histogram blue{};
    Histogram green{};
    Histogram red{};
};
/// Adds the channels of each pixel of a row.
void CountChannels(ConstRow row, ChannelHistograms& channels);

/// Darkest and brightest tone that are left when some pixels of either end are given up.
struct ToneLimits {
    int low = 0;     ///< 0..256
    int high = 255;  ///< -1..255
};
/// Gives up tones from below until at least `clipLow` pixels are gone, and from above until at least `clipHigh` are.
ToneLimits Clip(const Histogram& histogram, std::uint64_t clipLow, std::uint64_t clipHigh);

/// Half a per cent of a region of so many pixels: what automatic black and white points give up on either side.
constexpr std::uint64_t ClipCount(int width, int height) {
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) * 5 / 1000;
}

/// Stretches the tones between `low` and `high` over 0..255: 0 up to `low`, 255 from `high` on, even where they cross.
/// The limits may be any number; the slope is a single-precision value.
ByteTable LevelsTable(std::int64_t low, std::int64_t high);

}  // namespace kestrel::kernels
