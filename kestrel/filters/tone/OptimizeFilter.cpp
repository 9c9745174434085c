#include "kestrel/filters/tone/OptimizeFilter.h"

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/kernels/ToneCurve.h"

namespace kestrel {
namespace {

/// A straight line with a handle in the shadows and one in the highlights.
kernels::ByteTable ToneSpline(std::int32_t highlights, std::int32_t shadows) {
    const std::int32_t s = shadows > 0 ? shadows / 2 : shadows / 3;
    const std::int32_t h = highlights > 0 ? highlights / 5 : highlights / 4;
    const kernels::CurveNode nodes[] = {{0, 0}, {40, 40 + s}, {160, 160}, {220, 220 - h}, {255, 255}};
    kernels::ByteTable table = kernels::kIdentityTable;
    kernels::SplineTable(nodes, table);
    return table;
}

}  // namespace

void COptimizeFilter::RebuildTables() {
    const kernels::ByteTable table = kernels::Composed(ToneSpline(Active().slider2, Active().slider3),
                                                       PowerTable(ToneExponent(Active().slider1, 125.0, 25.0)));
    ToneCurve = kernels::LuminanceCurve(table, kernels::OptimizePixel);
}

FilterResult COptimizeFilter::MakePixels(const PixelRequest& request) {
    if (Active().slider4 == 0)
        return InPlace(request, [this](std::span<std::uint8_t> pixels) { kernels::LuminanceRow(pixels, ToneCurve); });
    const double factor = kernels::SatFactor(Active().slider4 * 0.8);
    return InPlace(request, [this, factor](std::span<std::uint8_t> pixels) {
        kernels::LuminanceRow(pixels, ToneCurve);
        kernels::SaturateRow(pixels, factor);
    });
}

}  // namespace kestrel
