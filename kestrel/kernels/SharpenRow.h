#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Weights of a pixel and of each of its four sides in units of 1/65536. 32 bits hold the sum of all five.
struct SharpenWeights {
    std::int32_t centre;  ///< 65536..131072
    std::int32_t side;    ///< -16384..0
};

/// `around` is the sum of the four sides.
constexpr std::uint8_t SharpenedByte(const SharpenWeights& weights, int around, int centre) {
    return static_cast<std::uint8_t>(std::clamp((weights.side * around + weights.centre * centre) >> 16, 0, 255));
}

/// Bytes of a row with one pixel more at each end, and beside each byte 255 when it is not there, else 0.
struct HiddenRow {
    ConstRow bytes;
    ConstRow hidden;
};

/// Sharpens a row whose pixels have `step` bytes. A side that is not there counts as the pixel itself; a pixel that is
/// not there is copied. `to` has no padding and lies in none of the rows.
void SharpenRow(const SharpenWeights& weights, const HiddenRow& below, const HiddenRow& row, const HiddenRow& above,
                std::size_t step, Row to);

}  // namespace kestrel::kernels
