#pragma once
#include <array>
#include <span>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// One row of a 3 × 3 convolution over 24-bit pixels. `from` gives three rows, the lowest first, that are two pixels
/// longer than `to`. A neighbour of mask 255 gives its weight to the centre. The nine products are added row by row in
/// double precision, the sum plus `bias` is clamped to 0..255 and truncated; NaN becomes 0. The mask of
/// the centre is copied. Weights may be any doubles. Same bytes on every CPU.
void ConvolveRow3x3(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from, MaskedRow to);

/// The same for rows on top of each other, which are as long as those of `from`: beyond their ends all neighbours are
/// missing. `from` has two rows more than `to`, the lowest first. Where no neighbour is missing each byte is converted
/// once for the three rows that it is a neighbour in. `to` overlaps nothing of `from`.
void ConvolveRows3x3(const double weights[3][3], int bias, std::span<const ConstMaskedRow> from,
                     std::span<const MaskedRow> to);

/// The rule pixel by pixel, which defines the bytes of `ConvolveRow3x3`.
void ConvolveRow3x3Plain(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from, MaskedRow to);

}  // namespace kestrel::kernels
