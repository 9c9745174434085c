#include "kestrel/kernels/YiqRows.h"

namespace kestrel::kernels {

void LuminanceCurveRow(std::span<std::uint8_t> row, const ByteTable& luminance, const ChannelTables& channels) {
    MapPixels(row, [&](Bgr p) { return LuminanceCurvePixel(p, luminance, channels); });
}

void OptimizeRow(std::span<std::uint8_t> row, const ByteTable& luminance) {
    MapPixels(row, [&](Bgr p) { return OptimizePixel(p, luminance); });
}

void OptimizeRow(std::span<std::uint8_t> row, const ByteTable& luminance, double saturation) {
    MapPixels(row, [&](Bgr p) { return SaturatePixel(OptimizePixel(p, luminance), saturation); });
}

}  // namespace kestrel::kernels
