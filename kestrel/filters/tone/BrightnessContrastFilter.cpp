#include "kestrel/filters/tone/BrightnessContrastFilter.h"

#include <cmath>

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {
namespace {

/// The tone table, then the saturation.
kernels::Bgr Rule(kernels::Bgr p, const std::uint8_t* table, double factor) {
    return kernels::SaturatePixel({table[p.blue], table[p.green], table[p.red]}, factor);
}

}  // namespace

void CBrightnessContrastFilter::RebuildTables() {
    const double factor = std::exp(Active().contrast / 33.0);
    const double centre = 127.5 - Active().brightness * 2.55;
    for (int i = 0; i < 256; ++i)
        ToneTable[static_cast<std::size_t>(i)] = kernels::ClampToByte(TruncateToInt((i - centre) * factor + 127.5));
}

HRESULT CBrightnessContrastFilter::TransformWindow(const Window& window) {
    const std::uint8_t* const table = ToneTable.data();
    if (Active().saturation == 0)
        return InPlace(window, [table](std::span<std::uint8_t> pixels) { kernels::TableRow(pixels, table); });
    return InPlace(window,
                   [table, factor = kernels::SaturationFactor(Active().saturation)](std::span<std::uint8_t> pixels) {
                       kernels::MapPixels(pixels, [table, factor](kernels::Bgr p) { return Rule(p, table, factor); });
                   });
}

HRESULT CBrightnessContrastFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    const kernels::Bgr p = kernels::Load(pixel);
    if (Active().saturation == 0)
        kernels::Store(pixel, {ToneTable[p.blue], ToneTable[p.green], ToneTable[p.red]});
    else
        kernels::Store(pixel, Rule(p, ToneTable.data(), kernels::SaturationFactor(Active().saturation)));
    return result;
}

}  // namespace kestrel
