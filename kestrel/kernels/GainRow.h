#pragma once
#include <array>
#include <cstdint>

#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// A factor for each luminance 0..255, not negative.
using LuminanceGains = std::array<float, 256>;

/// One channel times a factor, rounded by adding a half; what is above white is white. A factor that is no number
/// gives 0.
constexpr std::uint8_t GainByte(std::uint8_t p, float gain) {
    const std::int32_t value = TruncateToInt(static_cast<double>(p) * gain + 0.5);
    return value > 255 ? std::uint8_t{255} : static_cast<std::uint8_t>(value);
}

/// Multiplies the channels of each pixel by the factor of its luminance.
constexpr Bgr GainPixel(Bgr p, const LuminanceGains& gains) {
    const float gain = gains[Luminance(p)];
    return {GainByte(p.blue, gain), GainByte(p.green, gain), GainByte(p.red, gain)};
}
void GainRow(Row row, const LuminanceGains& gains);

}  // namespace kestrel::kernels
