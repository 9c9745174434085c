#include "kestrel/filters/tone/WhiteBlackGreyFilter.h"

#include <algorithm>
#include <cmath>

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Histogram.h"

namespace kestrel {
namespace {

enum Mode { kLinear = 0, kCurves = 1, kCommonContrast = 2, kChannelContrast = 3 };

std::uint8_t LowByte(double value) { return static_cast<std::uint8_t>(TruncateToInt(value)); }

std::int32_t Median3(std::int32_t a, std::int32_t b, std::int32_t c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

/// Exponent of the power curve on 0..255 that carries tone `a` to tone `b`.
double GammaTo(std::int32_t a, std::int32_t b) { return a == b ? 1.0 : std::log10(255.0 / b) / std::log10(255.0 / a); }

/// Exponents that carry each channel of a grey point, scaled so that its median is in the middle, to the middle.
std::array<double, 3> GreyGammas(const std::array<std::int32_t, 3>& grey) {
    constexpr int kMiddle = 128;
    const double k = static_cast<double>(kMiddle) / std::max(Median3(grey[0], grey[1], grey[2]), 1);
    std::array<double, 3> gammas{};
    for (std::size_t i = 0; i < 3; ++i) gammas[i] = GammaTo(TruncateToInt(grey[i] * k + 0.5), kMiddle);
    return gammas;
}

/// Two segments that meet where tone `grey` becomes `median`.
kernels::ByteTable TwoSegments(double grey, double median) {
    kernels::ByteTable table{};
    for (int i = 0; i < 256; ++i)
        // Above the grey point the line is drawn down from white; white itself may be 0 / 0, whose low byte is 0.
        table[static_cast<std::size_t>(i)] =
            i < grey ? LowByte(i * median / grey)
                     : static_cast<std::uint8_t>(LowByte((i - 255) * (255 - median) / (255 - grey)) + 255);
    return table;
}

}  // namespace

void CWhiteBlackGreyFilter::BuildSimpleTables() {
    const Triple grey = {Active().redG, Active().greenG, Active().blueG};
    const std::int32_t median = Median3(grey[0], grey[1], grey[2]);
    const std::array<double, 3> gammas = GreyGammas(grey);
    for (std::size_t i = 0; i < 3; ++i) {
        if (Active().mode == kLinear)
            *levels_[i] = TwoSegments(grey[i], median);
        else if (Active().mode == kCurves)
            *levels_[i] = PowerTable(gammas[i]);
        else
            *levels_[i] = kernels::kIdentityTable;
    }
}

void CWhiteBlackGreyFilter::BuildRangeTables(Triple black, Triple white, const Triple& grey) {
    constexpr int kMinimumSpan = 10;
    const std::array<double, 3> gammas = GreyGammas(grey);
    for (std::size_t i = 0; i < 3; ++i) {
        int low = std::clamp(black[i], 0, 240);
        int high = std::clamp(white[i], 15, 255);
        if (high < low) std::swap(low, high);
        if (high - low < kMinimumSpan) {
            if (high >= 129)
                low = high - kMinimumSpan;
            else
                high = low + kMinimumSpan;
        }
        const double span = high - low;
        for (int tone = 0; tone < 256; ++tone)
            (*levels_[i])[static_cast<std::size_t>(tone)] =
                tone < low    ? std::uint8_t{0}
                : tone < high ? LowByte(std::pow((tone - low) / span, gammas[i]) * 255.0)
                              : std::uint8_t{255};
    }
}

void CWhiteBlackGreyFilter::BuildMeasuredTables(const PixelRequest& request) {
    const std::uint64_t clip = kernels::ClipCount(request.width, request.height);
    std::array<kernels::ToneLimits, 3> limits;
    if (Active().mode == kCommonContrast) {
        kernels::Histogram luminance{};
        for (int h = 0; h < request.height; ++h) kernels::CountLuminance(request.Pixels(h), luminance);
        limits.fill(kernels::Clip(luminance, clip, clip));
    } else {
        kernels::ChannelHistograms channels;
        for (int h = 0; h < request.height; ++h) kernels::CountChannels(request.Pixels(h), channels);
        limits = {kernels::Clip(channels.red, clip, clip), kernels::Clip(channels.green, clip, clip),
                  kernels::Clip(channels.blue, clip, clip)};
    }
    // The grey point is meant in the stretched tones. The parameters stay as they are.
    Triple grey = {Active().redG, Active().greenG, Active().blueG};
    Triple black{};
    Triple white{};
    for (std::size_t i = 0; i < 3; ++i) {
        black[i] = limits[i].low;
        white[i] = limits[i].high;
        grey[i] = kernels::LevelsTable(black[i], white[i])[static_cast<std::size_t>(std::clamp(grey[i], 0, 255))];
    }
    BuildRangeTables(black, white, grey);
}

FilterResult CWhiteBlackGreyFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] {
        if (!Active().filterOn || Active().opacity <= 0) return kDone;
        return WalkRows(request, [tables = Tables(request)](std::span<std::uint8_t> pixels) {
            kernels::ChannelTablesRow(pixels, tables);
        });
    });
}

kernels::ChannelTables CWhiteBlackGreyFilter::Tables(const PixelRequest& request) {
    if (Active().mode == kCommonContrast || Active().mode == kChannelContrast)
        BuildMeasuredTables(request);
    else
        BuildSimpleTables();
    kernels::ChannelTables tables{.blue = LevelBlue, .green = LevelGreen, .red = LevelRed};
    const std::int32_t opacity = Active().opacity;
    if (opacity != 100)
        for (kernels::ByteTable* table : {&tables.blue, &tables.green, &tables.red})
            for (int i = 0; i < 256; ++i) {
                std::uint8_t& entry = (*table)[static_cast<std::size_t>(i)];
                entry = kernels::MixPercent(entry, i, opacity);
            }
    return tables;
}

}  // namespace kestrel
