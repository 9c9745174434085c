#include "kestrel/image/Palette.h"

#include <climits>
#include <utility>

namespace kestrel {

Palette::Palette(std::vector<Color> colors) : colors_(std::move(colors)) {
    if (colors_.size() > 256) colors_.resize(256);
}

const Palette& Palette::Default() {
    static const Palette palette({{0x00, 0x00, 0x00}, {0x80, 0x00, 0x00}, {0x00, 0x80, 0x00}, {0x80, 0x80, 0x00},
                                  {0x00, 0x00, 0x80}, {0x80, 0x00, 0x80}, {0x00, 0x80, 0x80}, {0xC0, 0xC0, 0xC0},
                                  {0xC0, 0xDC, 0xC0}, {0xA6, 0xCA, 0xF0}, {0xFF, 0xFB, 0xF0}, {0xA0, 0xA0, 0xA4},
                                  {0x80, 0x80, 0x80}, {0xFF, 0x00, 0x00}, {0x00, 0xFF, 0x00}, {0xFF, 0xFF, 0x00},
                                  {0x00, 0x00, 0xFF}, {0xFF, 0x00, 0xFF}, {0x00, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF}});
    return palette;
}

std::uint8_t Palette::Nearest(Color color) const {
    std::size_t best = 0;
    int minimum = INT_MAX;
    for (std::size_t i = 0; i < colors_.size(); ++i) {
        const int red = colors_[i].red - color.red;
        const int green = colors_[i].green - color.green;
        const int blue = colors_[i].blue - color.blue;
        const int distance = red * red + green * green + blue * blue;
        if (distance < minimum) {
            minimum = distance;
            best = i;
        }
    }
    return static_cast<std::uint8_t>(best);
}

}  // namespace kestrel
