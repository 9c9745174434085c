#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

#include "kestrel/foundation/Truncate.h"

namespace kestrel::kernels {

/// Hue in degrees 0..360 (0 for greys), lightness and saturation 0..1.
struct Hsl {
    double hue;
    double lightness;
    double saturation;
};

/// Blue, green, red of one pixel, as rows hold them.
struct Bgr {
    std::uint8_t blue;
    std::uint8_t green;
    std::uint8_t red;
    bool operator==(const Bgr&) const = default;
};

/// 1/255 in two parts: a byte times the upper part is exact, so that both products add up to the rounded quotient.
inline constexpr double kShareHigh = static_cast<float>(1.0 / 255.0);
inline constexpr double kShareLow = (1.0 - 255.0 * kShareHigh) / 255.0;
static_assert([] {
    for (int byte = 0; byte < 256; ++byte)
        if (byte * kShareHigh + byte * kShareLow != byte / 255.0) return false;
    return true;
}());

/// Double hexcone of three bytes; the order of the operations decides the last bit and is part of the rule.
constexpr Hsl RgbToHsl(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    const double r = red / 255.0;
    const double g = green / 255.0;
    const double b = blue / 255.0;
    const double max = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const double min = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const double lightness = (max + min) / 2.0;
    if (max == min) return {0.0, lightness, 0.0};
    const double spread = max - min;
    const double saturation = lightness <= 0.5 ? spread / (max + min) : spread / (2.0 - (max + min));
    double hue;
    if (r == max)
        hue = (g - b) / spread;
    else if (g == max)
        hue = 2 + (b - r) / spread;
    else
        hue = 4 + (r - g) / spread;
    hue *= 60;
    if (hue < 0) hue += 360;
    return {hue, lightness, saturation};
}

namespace detail {
/// A channel of 0.0..1.0 (or beyond) as a byte: truncated, the low byte kept.
constexpr std::uint8_t ChannelByte(double value) { return static_cast<std::uint8_t>(TruncateToInt(value * 255.0)); }
}  // namespace detail

/// Back to three bytes. Lightness and saturation beyond 0..1 wrap in the byte; nothing is clamped.
constexpr Bgr HslToRgb(double hue, double lightness, double saturation) {
    if (saturation <= 0.000001) {
        const std::uint8_t grey = detail::ChannelByte(lightness);
        return {grey, grey, grey};
    }
    const double m1 = lightness <= 0.5 ? (1 - saturation) * lightness : lightness - (1 - lightness) * saturation;
    const double m2 = 2 * lightness - m1;
    if (hue >= 360) hue = 0;
    const double h = hue / 60;
    const double d = m2 - m1;
    double red;
    double green;
    double blue;
    if (h < 1) {
        red = m2, green = d * h + m1, blue = m1;
    } else if (h < 2) {
        red = d * (2 - h) + m1, green = m2, blue = m1;
    } else if (h < 3) {
        red = m1, green = m2, blue = d * (h - 2) + m1;
    } else if (h < 4) {
        red = m1, green = d * (4 - h) + m1, blue = m2;
    } else if (h < 5) {
        red = d * (h - 4) + m1, green = m1, blue = m2;
    } else {
        red = m2, green = m1, blue = d * (6 - h) + m1;
    }
    return {detail::ChannelByte(blue), detail::ChannelByte(green), detail::ChannelByte(red)};
}

/// The numbers of the bits that are set in a byte, lowest first.
inline constexpr std::array<std::array<std::uint8_t, 8>, 256> kSetBits = [] {
    std::array<std::array<std::uint8_t, 8>, 256> numbers{};
    for (std::size_t byte = 0; byte < 256; ++byte)
        for (std::uint8_t bit = 0, count = 0; bit < 8; ++bit)
            if (byte >> bit & 1) numbers[byte][count++] = bit;
    return numbers;
}();

}  // namespace kestrel::kernels
