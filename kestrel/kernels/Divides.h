#pragma once
#include <cstdint>

namespace kestrel::kernels {

/// floor(x * factor / 2^shift) == x / divisor for all x up to `maximum`. Both sides only grow, so that the two values
/// beside each multiple of the divisor decide.
consteval bool Divides(std::uint64_t factor, int shift, std::uint64_t divisor, std::uint64_t maximum) {
    for (std::uint64_t x = 0; x <= maximum; x += divisor) {
        if ((x * factor) >> shift != x / divisor) return false;
        const std::uint64_t last = x + divisor - 1 < maximum ? x + divisor - 1 : maximum;
        if ((last * factor) >> shift != x / divisor) return false;
    }
    return maximum * factor < std::uint64_t{1} << 32;
}

}  // namespace kestrel::kernels
