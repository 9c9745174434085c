#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Three rows of a mask, each with a byte before the first column that is made and one after the last.
struct MaskNeighbours {
    ConstRow below;
    ConstRow row;
    ConstRow above;
};

/// Rules that make mask bytes from their 3 × 3 neighbourhoods. `out` lies in none of the three rows.

/// Weights 1 2 1 / 2 4 2 / 1 2 1 over 16, cut.
void BinomialMaskRow(const MaskNeighbours& rows, Row out);
/// Nearly the mean of all nine: the centre weighs 5, each neighbour 4, of 37.
void SmoothMaskRow(const MaskNeighbours& rows, Row out);
/// A part of the above: `fifths` 1 to 4 gives each neighbour 4 × `fifths` of 185, the centre the rest.
void SmoothMaskRowInPart(int fifths, const MaskNeighbours& rows, Row out);
/// The minimum of the nine, which makes the visible shape grow by a pixel.
void MinimumMaskRow(const MaskNeighbours& rows, Row out);

/// Weights of an embossing in 1/4096, lower row first; the centre is not read.
using EmbossWeights = std::array<std::array<std::int32_t, 3>, 3>;
/// The slope of the mask, as a grey that is 128 where it is flat.
void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& rows, Row out);
/// Brightens each pixel where `relief` is above 128 and darkens them where it is below, or, `sunken`, the reverse.
void ApplyReliefRow(Row pixels, ConstRow relief, bool sunken);

/// Turns a shadow's mask around and holds it to the picture: visible where the picture is and the shadow is not.
constexpr std::uint8_t OutsideMask(std::uint8_t shadow, std::uint8_t picture) {
    return static_cast<std::uint8_t>(255 - (255 - picture) * shadow / 255);
}
/// The same for each byte of a row of shadow.
void OutsideMaskRow(Row shadow, ConstRow picture);

}  // namespace kestrel::kernels
