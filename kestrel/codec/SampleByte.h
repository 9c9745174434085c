#pragma once
#include <algorithm>
#include <cstdint>

namespace kestrel {

/// A sample from 0 to `largest`, which is not 0, as a byte, rounded to nearest; 255 for any above. With alpha as
/// `largest` it divides a color that was multiplied by it. 48 bits of `value` fit.
constexpr std::uint8_t SampleByte(std::uint64_t value, std::uint64_t largest) {
    return static_cast<std::uint8_t>(std::min<std::uint64_t>((510 * value + largest) / (2 * largest), 255));
}

}  // namespace kestrel
