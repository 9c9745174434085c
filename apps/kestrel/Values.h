#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Values on the command line. What cannot be read is refused whole: no value is guessed.

struct Rgba {
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 255;
    bool hasAlpha = false;  ///< was the alpha written down?
};

/// "#RRGGBB" or "#RRGGBBAA"; the number sign may be left out, since shells treat it specially.
std::optional<Rgba> ParseColor(std::string_view text);
/// The form that `ParseColor` reads, in capitals; with the alpha when it was written down or is not 255.
std::string FormatColor(const Rgba& color);

/// A decimal integer with nothing before or after it.
std::optional<std::int64_t> ParseInteger(std::string_view text);
/// A finite decimal number with a point, whatever the locale.
std::optional<double> ParseNumber(std::string_view text);

struct Size {
    int width = 0, height = 0;
};
/// "WxH" in pixels, both from 1.
std::optional<Size> ParseSize(std::string_view text);

/// "X,Y,W,H", counted from the upper left corner.
struct Region {
    int x = 0, y = 0, width = 0, height = 0;
};
std::optional<Region> ParseRegion(std::string_view text);
