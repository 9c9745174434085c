#include "kestrel/filters/tone/HistoFilter.h"

#include <cmath>
#include <mutex>

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
        std::mutex guard;
        const bool counted = ShareRows(0, request.height, [&](std::int64_t from, std::int64_t end) {
            kernels::Histogram part{};
            const auto count = [&](std::span<const std::uint8_t> pixels) { kernels::CountLuminance(pixels, part); };
            const PixelRequest rows = request.Part(static_cast<int>(from), static_cast<int>(end));
            if (WalkRows(rows, count) != S_OK) return false;
            const std::lock_guard lock(guard);
            kernels::AddCounts(part, luminance);
            return true;
        });
        if (!counted) return kNotDone;
        const kernels::LuminanceGains gains = Gains(luminance, Active().intensity / 100.0);
        return ShareWalk(request, [&](std::span<std::uint8_t> pixels) { kernels::GainRow(pixels, gains); });
    });
}

}  // namespace kestrel
