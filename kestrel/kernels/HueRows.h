#pragma once
#include <algorithm>
#include <array>
#include <cstdint>

#include "kestrel/kernels/HslRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Filters that change a pixel by its hue, through a table of whole degrees.

/// A sum of percentages held within -100..100.
constexpr int ClampPercent(std::int64_t sum) { return static_cast<int>(std::clamp<std::int64_t>(sum, -100, 100)); }

/// What is done to a colour of one whole degree of hue.
struct HsbChange {
    double hue = 0.0;         ///< degrees added, -180..180
    double saturation = 1.0;  ///< factor
    double brightness = 0.0;  ///< added to the lightness
    bool operator==(const HsbChange&) const = default;
};
/// A change for each whole degree, and as the last one that of the greys, of which only the brightness is used.
using HsbChanges = std::array<HsbChange, 361>;

/// The same in floats, from which the rows below estimate most pixels.
struct HueFloats {
    explicit HueFloats(const HsbChanges& changes);

    struct Record {
        float hue, saturation;
        float brightness;  ///< in 1/255
        float differs;     ///< not 0 where it matters if the degree is one less
    };
    static constexpr int kGrey = 360;  ///< record of the greys
    static constexpr int kLess = 361;  ///< from here on those of degrees that may be one less in the exact form
    alignas(16) std::array<Record, std::size_t{2} * kLess> records;
    bool moves;           ///< is a hue or a brightness changed?
    bool saturatesAlike;  ///< only the saturation is, and that of all degrees alike
};

/// Factor on the saturation for each whole degree of hue.
using TuningFactors = std::array<double, 360>;

/// Factors that change nothing.
constexpr TuningFactors NoTuning() {
    TuningFactors factors{};
    factors.fill(1.0);
    return factors;
}

/// Multiplies the saturation by the factor of the hue. Greys stay as they are.
constexpr Bgr TuningPixel(Bgr p, const TuningFactors& factors) {
    const Hsl hsl = RgbToHsl(p.red, p.green, p.blue);
    if (hsl.saturation == 0.0) return p;
    const double factor = factors[static_cast<std::size_t>(hsl.hue)];
    return HslToRgb(hsl.hue, hsl.lightness, std::clamp(hsl.saturation * factor, 0.0, 1.0));
}
/// The changes that factors amount to, but for greys.
constexpr HsbChanges TuningChanges(const TuningFactors& factors) {
    HsbChanges changes;
    for (std::size_t i = 0; i < factors.size(); ++i) changes[i].saturation = factors[i];
    return changes;
}
struct Tuning {
    explicit Tuning(const TuningFactors& made) : factors(made), floats(TuningChanges(made)) {}
    TuningFactors factors;
    HueFloats floats;
};
void TuningRow(Row row, const Tuning& tuning);

/// Turns hue, saturation and lightness by the change of the pixel's hue.
constexpr Bgr HsbPixel(Bgr p, const HsbChanges& changes) {
    Hsl hsl = RgbToHsl(p.red, p.green, p.blue);
    const bool isGrey = hsl.saturation == 0.0;
    const HsbChange& change = isGrey ? changes.back() : changes[static_cast<std::size_t>(hsl.hue)];
    if (!isGrey) {
        hsl.hue += change.hue;
        if (hsl.hue < 0.0)
            hsl.hue += 360.0;
        else if (hsl.hue >= 360.0)
            hsl.hue -= 360.0;
        hsl.saturation = std::clamp(hsl.saturation * change.saturation, 0.0, 1.0);
    }
    return HslToRgb(hsl.hue, std::clamp(hsl.lightness + change.brightness, 0.0, 1.0), hsl.saturation);
}
struct Hsb {
    explicit Hsb(const HsbChanges& made) : changes(made), floats(made) {}
    HsbChanges changes;
    HueFloats floats;
};
void HsbRow(Row row, const Hsb& hsb);

}  // namespace kestrel::kernels
