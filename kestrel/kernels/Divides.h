#pragma once
#include <cstdint>

namespace kestrel::kernels {

/// floor(x * factor / 2^shift) == x / divisor for all x up to `greatest`. Both sides only grow, so that the two values
/// beside each multiple of the divisor decide.
consteval bool Divides(std::uint64_t factor, int shift, std::uint64_t divisor, std::uint64_t greatest) {
    for (std::uint64_t x = 0; x <= greatest; x += divisor) {
        if ((x * factor) >> shift != x / divisor) return false;
        const std::uint64_t last = x + divisor - 1 < greatest ? x + divisor - 1 : greatest;
        if ((last * factor) >> shift != x / divisor) return false;
    }
    return greatest * factor < std::uint64_t{1} << 32;
}

}  // namespace kestrel::kernels
