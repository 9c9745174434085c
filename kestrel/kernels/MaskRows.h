#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace kestrel::kernels {

/// Three rows of a mask, lower row first, each at the byte of the first column that is made. The bytes before the first
/// and behind the last column are read too.
struct MaskNeighbours {
    const std::uint8_t* below;
    const std::uint8_t* row;
    const std::uint8_t* above;
};

/// Rules that make `n` mask bytes from their 3 × 3 neighbourhoods. `out` lies in none of the three rows.

/// Weights 1 2 1 / 2 4 2 / 1 2 1 over 16, cut.
void BinomialMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n);
/// Nearly the mean of all nine: the centre weighs 5, each neighbour 4, of 37.
void SmoothMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n);
/// A part of the above: `fifths` 1 to 4 gives each neighbour 4 × `fifths` of 185, the centre the rest.
void SmoothMaskRowInPart(int fifths, const MaskNeighbours& rows, std::uint8_t* out, std::size_t n);
/// The least of the nine, which makes the visible shape grow by a pixel.
void LeastMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n);

/// Weights of an embossing in 1/4096, lower row first; the centre is not read.
using EmbossWeights = std::array<std::array<std::int32_t, 3>, 3>;
/// The slope of the mask, as a grey that is 128 where it is flat.
void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& rows, std::uint8_t* out, std::size_t n);
/// Brightens `n` pixels where `relief` is above 128 and darkens them where it is below, or, `sunken`, the reverse.
void ApplyReliefRow(std::uint8_t* pixels, const std::uint8_t* relief, std::size_t n, bool sunken);

}  // namespace kestrel::kernels
