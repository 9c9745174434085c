#include "kestrel/filters/tone/DuoColorFilter.h"

#include <algorithm>

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {
namespace {

/// What follows from the parameters, once for each request.
struct Duo {
    kernels::Hsl dark;
    kernels::Hsl bright;  ///< its lightness counted from white
    double intensity;
};

Duo Derive(const DuoColorParameters& p) {
    Duo duo{kernels::RgbToHsl(p.colorRed, p.colorGreen, p.colorBlue), kernels::RgbToHsl(p.red2, p.green2, p.blue2),
            p.intensity / 100.0};
    duo.bright.lightness = 1.0 - duo.bright.lightness;
    return duo;
}

kernels::Bgr Rule(kernels::Bgr p, const Duo& duo) {
    const double l = kernels::RgbToHsl(p.red, p.green, p.blue).lightness;
    // Dark pixels rise by the lightness of the first colour, bright ones fall by the darkness of the second.
    const double tone = std::clamp((1.0 - l) * (l + duo.dark.lightness) + (l - duo.bright.lightness) * l, 0.0, 1.0);
    const kernels::Bgr first = kernels::HslToRgb(duo.dark.hue, tone, duo.dark.saturation);
    const kernels::Bgr second = kernels::HslToRgb(duo.bright.hue, tone, duo.bright.saturation);
    const double w1 = (1.0 - l) * duo.intensity;
    const double w2 = l * duo.intensity;
    const double w0 = 1.0 - duo.intensity;
    const auto mix = [&](int a, int b, int old) {
        return kernels::ClampToByte(TruncateToInt(a * w1 + b * w2 + old * w0));
    };
    return {mix(first.blue, second.blue, p.blue), mix(first.green, second.green, p.green),
            mix(first.red, second.red, p.red)};
}

}  // namespace

HRESULT CDuoColorFilter::TransformWindow(const Window& window) {
    return InPlace(window, [duo = Derive(Active())](std::span<std::uint8_t> pixels) {
        kernels::MapPixels(pixels, [&duo](kernels::Bgr p) { return Rule(p, duo); });
    });
}

HRESULT CDuoColorFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, Rule(kernels::Load(pixel), Derive(Active())));
    return result;
}

}  // namespace kestrel
