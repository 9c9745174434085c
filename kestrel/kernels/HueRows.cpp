#include "kestrel/kernels/HueRows.h"

namespace kestrel::kernels {

void TuningRow(std::span<std::uint8_t> row, const TuningFactors& factors) {
    MapPixels(row, [&](Bgr p) { return TuningPixel(p, factors); });
}

void HsbRow(std::span<std::uint8_t> row, const HsbChanges& changes) {
    MapPixels(row, [&](Bgr p) { return HsbPixel(p, changes); });
}

}  // namespace kestrel::kernels
