#include "kestrel/kernels/FadeRow.h"

namespace kestrel::kernels {

void FadeRow(Row mask, FadeStep step) {
    for (std::uint8_t& byte : mask) byte = step(byte);
}

}  // namespace kestrel::kernels
