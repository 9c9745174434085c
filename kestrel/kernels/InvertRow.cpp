#include "kestrel/kernels/InvertRow.h"

namespace kestrel::kernels {

void InvertRow(std::span<std::uint8_t> row, std::int32_t inversity) {
    for (std::uint8_t& byte : row) byte = InvertByte(byte, inversity);
}

}  // namespace kestrel::kernels
