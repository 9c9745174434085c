#include "kestrel/filters/tone/HSBFilter.h"

#include "kestrel/kernels/HueSectors.h"

namespace kestrel {
namespace {

/// Degrees brought into -180..180 by whole turns.
int WithinHalfTurn(std::int64_t degrees) {
    const auto rest = static_cast<int>(degrees % 360);
    return rest > 180 ? rest - 360 : rest < -180 ? rest + 360 : rest;
}

}  // namespace

void CHSBFilter::RebuildTables() {
    kernels::HsbChanges changes;
    for (int degree = 0; degree < 360; ++degree) {
        std::array<std::int64_t, 3> sums{};  // hue, saturation, brightness, in hundredths
        for (std::size_t range = 0; range < Active().changes.size(); ++range) {
            const int weight = range == 0 ? 100 : kernels::SectorWeight(degree, kernels::kHueSectors[range - 1]);
            for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += std::int64_t{Active().changes[range][i]} * weight;
        }
        changes[static_cast<std::size_t>(degree)] = {
            .hue = static_cast<double>(WithinHalfTurn(sums[0] / 100)),
            .saturation = kernels::SatFactor(kernels::ClampPercent(sums[1] / 100)),
            .brightness = kernels::ClampPercent(sums[2] / 100) / 100.0};
    }
    changes.back() = {.hue = 0.0, .saturation = 0.0, .brightness = Active().changes[0][2] / 100.0};
    HsbShift = kernels::Hsb(changes);
}

FilterResult CHSBFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [this](std::span<std::uint8_t> pixels) { kernels::HsbRow(pixels, HsbShift); });
}

HRESULT CHSBFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, kernels::HsbPixel(kernels::Load(pixel), HsbShift.changes));
    return result;
}

}  // namespace kestrel
