#pragma once
#include <cstdint>

namespace kestrel::kernels {

/// One row of a 3 × 3 convolution over 24-bit pixels. `rows` and `masks` give three rows of `width` + 2 pixels, the
/// lowest first. A neighbour of mask 255 gives its weight to the centre. The nine products are added row by row in
/// double precision, the sum plus `bias` is clamped to 0..255 and truncated; what is no number becomes 0. The mask of
/// the centre is copied. Weights may be any doubles. Same bytes on every CPU.
void ConvolveRow3x3(const double weights[3][3], int bias, const std::uint8_t* const* rows,
                    const std::uint8_t* const* masks, int width, std::uint8_t* out, std::uint8_t* outMask);

/// The rule as it is told, pixel by pixel; `ConvolveRow3x3` gives these bytes.
void ConvolveRow3x3Plain(const double weights[3][3], int bias, const std::uint8_t* const* rows,
                         const std::uint8_t* const* masks, int width, std::uint8_t* out, std::uint8_t* outMask);

}  // namespace kestrel::kernels
