#include "kestrel/kernels/GainRow.h"

namespace kestrel::kernels {

void GainRow(std::span<std::uint8_t> row, const LuminanceGains& gains) {
    MapPixels(row, [&](Bgr p) { return GainPixel(p, gains); });
}

}  // namespace kestrel::kernels
