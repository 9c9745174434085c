#pragma once
#include <cstdint>
#include <limits>

namespace kestrel {

/// Cuts toward zero. A value that does not fit 32 bits, and NaN become 0x80000000.
constexpr std::int32_t TruncateToInt(double value) {
    constexpr double kBelow = -2147483649.0;
    constexpr double kAbove = 2147483648.0;
    return value > kBelow && value < kAbove ? static_cast<std::int32_t>(value)
                                            : std::numeric_limits<std::int32_t>::min();
}

}  // namespace kestrel
