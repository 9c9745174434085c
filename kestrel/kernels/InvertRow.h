#pragma once
#include <cstdint>
#include <span>

namespace kestrel::kernels {

/// `inversity` percent of the negative over the byte. 64 bits hold the mix for any parameter; the low byte is kept.
constexpr std::uint8_t InvertByte(std::uint8_t p, std::int32_t inversity) {
    const std::int64_t v = inversity;
    return static_cast<std::uint8_t>((v * (255 - p) + (100 - v) * p) / 100);
}

/// Inverts the bytes of a row in place.
void InvertRow(std::span<std::uint8_t> row, std::int32_t inversity);

}  // namespace kestrel::kernels
