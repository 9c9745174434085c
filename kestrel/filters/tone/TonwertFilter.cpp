#include "kestrel/filters/tone/TonwertFilter.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CTonwertFilter::Measure(const PixelRequest& request) {
    const TonwertParameters& p = Active();
    const bool needsLuma = p.autoTone || (p.autoContrast && !p.autoContrastRGB);
    const bool needsChannels = p.autoContrast && p.autoContrastRGB;
    HistLuma = {};
    const auto channels = std::make_unique<kernels::ChannelHistograms>();  // too large for a stack of many links
    const auto count = [&](std::span<const std::uint8_t> pixels) {
        if (needsLuma) kernels::CountLuminance(pixels, HistLuma);
        if (needsChannels) kernels::CountChannels(pixels, *channels);
    };
    const auto countBand = [&](int first, int end) {
        PixelRequest band = CachedPixels(m_InActive.Width, end - first);
        band.dstY = first;
        return WalkRows(band, count);
    };
    if (FetchIntoCache(countBand) != S_OK) return kNotDone;
    HistRed = channels->red;
    HistGreen = channels->green;
    HistBlue = channels->blue;
    // The whole picture is counted, but the share that is given up is that of the request.
    const std::uint64_t clip = kernels::ClipCount(request.width, request.height);
    const auto limits = [clip](const kernels::Histogram& histogram) {
        const kernels::ToneLimits found = kernels::Clip(histogram, clip, clip);
        return Limits{static_cast<std::uint8_t>(found.low), static_cast<std::uint8_t>(found.high)};
    };
    luma_ = limits(HistLuma);
    red_ = limits(HistRed);
    green_ = limits(HistGreen);
    blue_ = limits(HistBlue);
    return S_OK;
}

CTonwertFilter::BlackWhite CTonwertFilter::Points(Limits limits) const {
    const TonwertParameters& p = Active();
    if (!p.autoContrast) return {p.lo, std::int64_t{255} - p.hi};
    return {std::clamp<std::int64_t>(std::int64_t{limits.low} + p.addlo, 0, 125),
            std::clamp<std::int64_t>(std::int64_t{limits.high} - p.addhi, 130, 255)};
}

std::int64_t CTonwertFilter::EstimateMidtone(double pixels, BlackWhite points) const {
    std::uint32_t sum = 0;  // 32 bits that wrap are part of the rule: above 8 megapixels they may
    for (std::int64_t i = 0; i < 256; ++i) {
        const std::uint32_t count = HistLuma[static_cast<std::size_t>(i)];
        if (i <= points.black) sum += count;
        if (i >= points.white) sum += 256 * count;
        if (i > points.black && i < points.white) sum += static_cast<std::uint32_t>(i + 1) * count;
    }
    const double mean = static_cast<std::int32_t>(sum) / pixels - 1.0;
    const auto d =
        static_cast<double>(std::clamp<std::int64_t>(std::int64_t{TruncateToInt(mean + 0.5)} - 100, -70, 125));
    const double e = d > 0 ? 1.0 + 2 * d / 125 : 1.0 - (0.5 * d) / -70;
    if (e > 1.0) return std::max(TruncateToInt((1.0 - e) * 50.0), -100);
    if (e < 1.0) return std::min(TruncateToInt((1.0 - e) * 200.0), 100);
    return 0;
}

FilterResult CTonwertFilter::MakePixels(const PixelRequest& request) {
    return CachedWhole(
        request, [&] { return Measure(request); },
        [&] {
            return [tables = Tables(request)](const kernels::RowPair& row) { kernels::ChannelTablesRow(row, tables); };
        });
}

kernels::ChannelTables CTonwertFilter::Tables(const PixelRequest& request) const {
    const BlackWhite lumaPoints = Points(luma_);
    std::int64_t midtone = Active().med;
    if (Active().autoTone) {
        const double pixels = static_cast<double>(request.width) * request.height;
        midtone = EstimateMidtone(pixels, lumaPoints) + Active().addmed;
    }
    const auto m = static_cast<std::int32_t>(std::clamp<std::int64_t>(midtone, -100, 100));
    const auto curve = PowerCurve(ToneExponent(m, 200.0, 50.0));
    kernels::ByteTable tone{};
    for (std::size_t i = 0; i < 256; ++i) tone[i] = kernels::ClampToByte(TruncateToInt(curve[i] + 0.5));

    const auto make = [&tone](BlackWhite points) {
        return kernels::Composed(kernels::LevelsTable(points.black, points.white), tone);
    };
    if (Active().autoContrastRGB) return {make(Points(blue_)), make(Points(green_)), make(Points(red_))};
    const kernels::ByteTable common = make(lumaPoints);
    return {common, common, common};
}

}  // namespace kestrel
