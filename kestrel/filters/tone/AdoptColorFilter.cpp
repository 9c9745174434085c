#include "kestrel/filters/tone/AdoptColorFilter.h"

#include <algorithm>

#include "kestrel/kernels/HslRows.h"

namespace kestrel {

HRESULT CAdoptColorFilter::Analyse() {
    color_ = kernels::RgbToHsl(Active().colorRed, Active().colorGreen, Active().colorBlue);
    MeanLightness = 0.0;
    MaxLightness = 0.0;
    MinLightness = 1.0;
    EnsureWorkImages(0, 0, m_InActive.Width, m_InActive.Height);
    if (!m_Cache) return S_OK;
    if (const HRESULT result = FetchWhole(*m_Cache); result != S_OK) return result;

    std::int64_t weights = 0;
    for (int y = m_InActive.Height - 1; y >= 0; --y) {
        if (Aborted()) return kNotDone;
        const std::uint8_t* pixel = m_Cache->Rows()[y];
        const std::uint8_t* mask = m_Cache->MaskRows()[y];
        for (int x = 0; x < m_InActive.Width; ++x, pixel += 3) {
            const auto [least, greatest] = std::minmax({pixel[0], pixel[1], pixel[2]});
            const double lightness = (greatest / 255.0 + least / 255.0) / 2.0;
            const int weight = 255 - mask[x];
            MeanLightness += weight * lightness;
            weights += weight;
            MaxLightness = std::max(MaxLightness, lightness);
            MinLightness = std::min(MinLightness, lightness);
        }
    }
    if (weights != 0) MeanLightness /= static_cast<double>(weights);

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

HRESULT CAdoptColorFilter::TransformWindow(const Window& window) {
    if (IsStale())
        if (const HRESULT result = Analyse(); result != S_OK) {
            m_Dirty = true;  // a cache that is half made must not look clean
            return result;
        }
    if (Active().intensity == 0) return Deliver(window);

    const kernels::Colouring colouring{color_, Scale, Offset, Active().intensity / 100.0};
    return Deliver(window, [&](std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask,
                               std::span<const std::uint8_t> cachePixels, std::span<const std::uint8_t> cacheMask) {
        std::copy(cachePixels.begin(), cachePixels.end(), pixels.begin());
        kernels::ColourRow(pixels, colouring);
        std::copy(cacheMask.begin(), cacheMask.end(), mask.begin());
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
