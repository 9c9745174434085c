#include "kestrel/filters/tone/DuoColorFilter.h"

namespace kestrel {
namespace {

kernels::TwoColours Derive(const DuoColorParameters& p) {
    kernels::TwoColours duo{kernels::RgbToHsl(p.colorRed, p.colorGreen, p.colorBlue),
                            kernels::RgbToHsl(p.red2, p.green2, p.blue2), p.intensity / 100.0};
    duo.bright.lightness = 1.0 - duo.bright.lightness;
    return duo;
}

}  // namespace

CDuoColorFilter::CDuoColorFilter() : table_(Derive(Active())) {}

void CDuoColorFilter::RebuildTables() { table_ = kernels::TwoColourTable(Derive(Active())); }

FilterResult CDuoColorFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [this](std::span<std::uint8_t> pixels) { kernels::TwoColourRow(pixels, table_); });
}

HRESULT CDuoColorFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, kernels::TwoColourPixel(kernels::Load(pixel), table_.colours));
    return result;
}

}  // namespace kestrel
