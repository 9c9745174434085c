#pragma once
#include <algorithm>
#include <cstdint>

#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Hsl.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Rules that pass through hue, lightness and saturation, and their row forms.

/// Factor on saturation for a slider of -100..100; 101 gives infinity, which saturates fully.
constexpr double SatFactor(double slider) { return slider > 0 ? 101.0 / (101.0 - slider) : (slider + 100.0) / 100.0; }

/// A factor on saturation for estimates: no saturation needs more than 255 to come to 1.
constexpr float HeldFactor(double factor) { return factor > 0.0 ? static_cast<float>(std::min(factor, 256.0)) : 0.0f; }

/// Multiplies the saturation, held within 0..1. Greys stay as they are.
constexpr Bgr SaturatePixel(Bgr p, double factor) {
    const Hsl hsl = RgbToHsl(p.red, p.green, p.blue);
    if (hsl.saturation == 0.0) return p;
    return HslToRgb(hsl.hue, hsl.lightness, std::clamp(hsl.saturation * factor, 0.0, 1.0));
}
void SaturateRow(Row row, double factor);

/// What the lightnesses of a picture amount to. The order in which they are added decides the last bits of the sum.
struct Lightnesses {
    double weighted = 0.0;     ///< sum of the lightnesses, each times 255 less its mask
    std::int64_t weights = 0;  ///< sum of 255 less each mask
    double maximum = 0.0;      ///< of all pixels, whatever their masks
    double minimum = 1.0;

    constexpr void Add(Bgr p, std::uint8_t mask) {
        const double lightness = RgbToHsl(p.red, p.green, p.blue).lightness;
        const int weight = 255 - mask;
        weighted += weight * lightness;
        weights += weight;
        maximum = std::max(maximum, lightness);
        minimum = std::min(minimum, lightness);
    }
    bool operator==(const Lightnesses&) const = default;
};
/// Adds the pixels of a row, from left to right.
void MeasureLightness(ConstRow pixels, ConstRow mask, Lightnesses& found);

/// Gives a pixel a hue and a saturation; its lightness becomes l × `scale` + `offset`.
struct Colouring {
    Hsl colour;  ///< its lightness is not used
    double scale;
    double offset;
    double intensity;  ///< share of the new colour; 1 leaves nothing of the old one
};
constexpr Bgr ColourOf(double lightness, const Colouring& c) {
    constexpr double kBrightest = 2.0;  // two, not one: beyond white the byte wraps
    const double l = lightness * c.scale + c.offset;
    return HslToRgb(c.colour.hue, l > kBrightest ? kBrightest : l < 0.0 ? 0.0 : l, c.colour.saturation);
}
constexpr Bgr ColourPixel(Bgr p, const Colouring& c) {
    const Bgr over = ColourOf(RgbToHsl(p.red, p.green, p.blue).lightness, c);
    if (c.intensity == 1.0) return over;
    const auto mix = [&](int a, int b) {
        return static_cast<std::uint8_t>(TruncateToInt(a * c.intensity + b * (1.0 - c.intensity)));
    };
    return {mix(over.blue, p.blue), mix(over.green, p.green), mix(over.red, p.red)};
}
/// A colouring with the new colour of each sum of a pixel's extremes, 0..510.
struct ColourTable {
    explicit ColourTable(const Colouring& made);

    Colouring colouring;
    struct Over {
        Bgr color;
        std::uint8_t open;  ///< 1 where rounding the lightness decides the colour
    };
    std::array<Over, 511> over;
};
void ColourRow(Row row, const ColourTable& table);

/// Paints dark areas in one colour and bright areas in another.
struct TwoColours {
    Hsl dark;
    Hsl bright;  ///< its lightness is counted from white
    double intensity;
};
/// The two colours at the tone of a lightness, and their weights.
struct WeighedColours {
    Bgr first, second;
    double w1, w2;
};
constexpr WeighedColours WeighColours(double l, const TwoColours& duo) {
    // Dark pixels rise by the lightness of the first colour, bright ones fall by the darkness of the second.
    const double tone = std::clamp((1.0 - l) * (l + duo.dark.lightness) + (l - duo.bright.lightness) * l, 0.0, 1.0);
    return {HslToRgb(duo.dark.hue, tone, duo.dark.saturation), HslToRgb(duo.bright.hue, tone, duo.bright.saturation),
            (1.0 - l) * duo.intensity, l * duo.intensity};
}
constexpr Bgr TwoColourPixel(Bgr p, const TwoColours& duo) {
    const auto [first, second, w1, w2] = WeighColours(RgbToHsl(p.red, p.green, p.blue).lightness, duo);
    const double w0 = 1.0 - duo.intensity;
    const auto mix = [=, w1 = w1, w2 = w2](int a, int b, int old) {
        return ClampToByte(TruncateToInt(a * w1 + b * w2 + old * w0));
    };
    return {mix(first.blue, second.blue, p.blue), mix(first.green, second.green, p.green),
            mix(first.red, second.red, p.red)};
}
/// Two colours with what they add to a pixel, by the sum of its extremes, 0..510.
struct TwoColourTable {
    explicit TwoColourTable(const TwoColours& made);

    TwoColours colours;
    struct Part {
        float blue, green, red;
        float open;  ///< not 0 where rounding the lightness decides a byte of a colour
    };
    alignas(16) std::array<Part, 511> parts;
};
void TwoColourRow(Row row, const TwoColourTable& duo);

}  // namespace kestrel::kernels
