#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Up to 256 colours in order.
class KESTREL_API Palette {
public:
    struct Color {
        std::uint8_t red;
        std::uint8_t green;
        std::uint8_t blue;
        bool operator==(const Color&) const = default;
    };

    /// Colours from the 257th on are dropped.
    explicit Palette(std::vector<Color> colors);
    /// The twenty colours that every palette display has.
    static const Palette& Default();

    const std::vector<Color>& Colors() const { return colors_; }
    /// Index of the colour with the least square distance; the first of equals. 0 in an empty palette.
    std::uint8_t Nearest(Color color) const;

private:
    std::vector<Color> colors_;
};

}  // namespace kestrel
