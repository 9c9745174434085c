#include "kestrel/kernels/HueRangeRow.h"

namespace kestrel::kernels {

void HueRangeRow(std::span<std::uint8_t> row, std::int32_t centre, const RangeTables& tables,
                 const HueRangeWeights& weights) {
    MapPixels(row, [&](Bgr p) { return HueRangePixel(p, centre, tables, weights); });
}

}  // namespace kestrel::kernels
