#include "kestrel/kernels/FadeRow.h"

namespace kestrel::kernels {

void FadeRow(std::span<std::uint8_t> mask, FadeStep step) {
    for (std::uint8_t& byte : mask) byte = step(byte);
}

}  // namespace kestrel::kernels
