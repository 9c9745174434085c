#include "kestrel/filters/tone/BrightnessContrastFilter.h"

#include <cmath>

#include "kestrel/kernels/HslRows.h"

namespace kestrel {

void CBrightnessContrastFilter::RebuildTables() {
    const double factor = std::exp(Active().contrast / 33.0);
    const double centre = 127.5 - Active().brightness * 2.55;
    for (int i = 0; i < 256; ++i)
        ToneTable[static_cast<std::size_t>(i)] = kernels::ClampToByte(TruncateToInt((i - centre) * factor + 127.5));
}

FilterResult CBrightnessContrastFilter::MakePixels(const PixelRequest& request) {
    const kernels::ByteTable& table = ToneTable;
    if (Active().saturation == 0)
        return InPlace(request, [&table](const kernels::RowPair& row) { kernels::TableRow(row, table); });
    return InPlace(request, [&table, factor = kernels::SatFactor(Active().saturation)](std::span<std::uint8_t> pixels) {
        kernels::TableRow(pixels, table);
        kernels::SaturateRow(pixels, factor);
    });
}

HRESULT CBrightnessContrastFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Bgr p = kernels::Load(pixel);
    p = {ToneTable[p.blue], ToneTable[p.green], ToneTable[p.red]};
    if (Active().saturation != 0) p = kernels::SaturatePixel(p, kernels::SatFactor(Active().saturation));
    kernels::Store(pixel, p);
    return result;
}

}  // namespace kestrel
