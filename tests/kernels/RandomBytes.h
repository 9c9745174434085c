#pragma once
#include <cstdint>
#include <random>
#include <vector>

namespace kestrel::kernels {

inline std::vector<std::uint8_t> RandomBytes(std::size_t size, std::mt19937& random) {
    std::vector<std::uint8_t> bytes(size);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}
inline std::vector<std::uint8_t> RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    return RandomBytes(size, random);
}

}  // namespace kestrel::kernels
