#include "kestrel/filters/tone/AdoptColorFilter.h"

#include "kestrel/kernels/HslRows.h"

namespace kestrel {

FilterResult CAdoptColorFilter::Analyse() {
    color_ = kernels::RgbToHsl(Active().colorRed, Active().colorGreen, Active().colorBlue);
    kernels::Lightnesses found;
    if (const FilterResult result = FetchIntoCache(); result.Failed()) return result;
    const auto measure = [&](std::span<const std::uint8_t> pixels, std::span<const std::uint8_t> mask) {
        kernels::MeasureLightness(pixels, mask, found);
    };
    if (WalkRows(CachedPixels(m_InActive.Width, m_InActive.Height), measure) != S_OK) return kNotDone;
    MaxLightness = found.maximum;
    MinLightness = found.minimum;
    MeanLightness = found.weights == 0 ? 0.0 : found.weighted / static_cast<double>(found.weights);

    // The mean lands on the colour's lightness; an extreme that would leave the range lands on its end.
    Offset = color_.lightness - MeanLightness;
    Scale = 1.0;
    if (MaxLightness + Offset > 1.0) {
        Scale = (1.0 - color_.lightness) / (MaxLightness - MeanLightness);
        Offset = 1.0 - Scale * MaxLightness;
    } else if (MinLightness + Offset < 0.0) {
        Scale = color_.lightness / (MeanLightness - MinLightness);
        Offset = -Scale * MinLightness;
    }
    return S_OK;
}

FilterResult CAdoptColorFilter::MakePixels(const PixelRequest& request) {
    const auto analyse = [this] { return Analyse(); };
    if (Active().intensity == 0) return CachedWhole(request, analyse);
    return CachedWhole(request, analyse, [this] {
        return [table = kernels::ColourTable({color_, Scale, Offset, Active().intensity / 100.0})](
                   const kernels::RowPair& row) {
            kernels::CopyRow({row.from, row.to, false});
            kernels::ColourRow(row.to, table);
        };
    });
}

HRESULT CAdoptColorFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    // A lone colour has no picture to be measured in: a plain mix, from the pending values like the dialog's sample.
    const AdoptColorParameters& p = Pending();
    pixel[0] = kernels::MixPercent(p.colorBlue, pixel[0], p.intensity);
    pixel[1] = kernels::MixPercent(p.colorGreen, pixel[1], p.intensity);
    pixel[2] = kernels::MixPercent(p.colorRed, pixel[2], p.intensity);
    return result;
}

}  // namespace kestrel
