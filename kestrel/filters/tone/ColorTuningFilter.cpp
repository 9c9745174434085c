#include "kestrel/filters/tone/ColorTuningFilter.h"

#include "kestrel/kernels/HueSectors.h"

namespace kestrel {

void CColorTuningFilter::RebuildTables() {
    kernels::TuningFactors factors;
    for (int hue = 0; hue < 360; ++hue) {
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < kernels::kHueSectors.size(); ++i)
            sum += std::int64_t{Active().saturation[i]} * kernels::SectorWeight(hue, kernels::kHueSectors[i]);
        factors[static_cast<std::size_t>(hue)] = kernels::SatFactor(kernels::ClampPercent(sum / 100));
    }
    TuningFactor = kernels::Tuning(factors);
}

FilterResult CColorTuningFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [this](std::span<std::uint8_t> pixels) { kernels::TuningRow(pixels, TuningFactor); });
}

HRESULT CColorTuningFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, kernels::TuningPixel(kernels::Load(pixel), TuningFactor.factors));
    return result;
}

}  // namespace kestrel
