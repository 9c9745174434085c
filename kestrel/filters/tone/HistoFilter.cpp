#include "kestrel/filters/tone/HistoFilter.h"

#include <cmath>

#include "kestrel/kernels/GainRow.h"
#include "kestrel/kernels/Histogram.h"

namespace kestrel {
namespace {

/// What each luminance is multiplied by. Stored values are single precision, what is between them is double.
kernels::LuminanceGains Gains(const kernels::Histogram& histogram, double power) {
    std::array<float, 256> cumulative{};
    float last = 0;
    for (std::size_t i = 0; i < 256; ++i) {
        if (histogram[i] != 0) last = static_cast<float>(last + std::pow(histogram[i], power));
        cumulative[i] = last;
    }
    const auto k = static_cast<float>(255.0 / last);
    kernels::LuminanceGains gains{};
    for (std::size_t y = 1; y < 256; ++y) gains[y] = cumulative[y] * k / static_cast<float>(y);
    return gains;
}

}  // namespace

FilterResult CHistoFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] {
        kernels::Histogram luminance{};
        const auto count = [&](std::span<const std::uint8_t> pixels) { kernels::CountLuminance(pixels, luminance); };
        if (WalkRows(request, count) != S_OK) return kNotDone;
        const kernels::LuminanceGains gains = Gains(luminance, Active().intensity / 100.0);
        return WalkRows(request, [&](std::span<std::uint8_t> pixels) { kernels::GainRow(pixels, gains); });
    });
}

}  // namespace kestrel
