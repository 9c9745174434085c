#include "kestrel/kernels/MixerRow.h"

namespace kestrel::kernels {

void MixerRow(std::span<std::uint8_t> row, const Mixer& mixer) {
    MapPixels(row, [&](Bgr p) { return MixPixel(p, mixer); });
}

}  // namespace kestrel::kernels
