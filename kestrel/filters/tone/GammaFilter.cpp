#include "kestrel/filters/tone/GammaFilter.h"

#include <algorithm>
#include <cmath>

#include "kestrel/filters/tone/ToneTables.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ToneCurve.h"

namespace kestrel {
namespace {

constexpr std::size_t kSliders = GammaParameters::kSliders;

/// Slider 1..5 of a range.
std::int32_t Slider(const GammaParameters& parameters, std::size_t k, std::size_t j) {
    return parameters.sliders[k][j - 1];
}

/// Made once for the process, by the first filter that needs them.
const kernels::HueRangeWeights& Weights() {
    static const kernels::HueRangeWeights weights = [] {
        kernels::HueRangeWeights made{};
        for (std::size_t i = 0; i < made.falloff.size(); ++i)
            made.falloff[i] = TruncateToInt((1.0 - std::pow(static_cast<double>(i) / 239.0, 5.0)) * 255.0);
        constexpr kernels::CurveNode nodes[] = {{0, 0}, {30, 22}, {60, 131}, {80, 172}, {255, 255}};
        kernels::ByteTable ramp{};
        kernels::SplineTable(nodes, ramp);
        std::copy(ramp.begin(), ramp.end(), made.saturation.begin());
        return made;
    }();
    return weights;
}

/// Centre of a colour range as an integer hue: its sector's, moved by slider 1.
std::int32_t Target(std::int32_t shift, std::size_t k) {
    double centre = shift + (static_cast<double>(k) - 1) * 60.0;
    if (centre < 0.0)
        centre += 360.0;
    else if (centre > 360.0)
        centre -= 360.0;
    return TruncateToInt(centre * 255.0);
}

}  // namespace

HRESULT CGammaFilter::CommitChanges() {
    for (std::size_t k = 0; k < kRanges; ++k) {
        ChangedRange[k] = false;
        for (std::size_t j = k == 0 ? 1 : 2; j <= kSliders; ++j)  // a moved centre needs no other tables
            if (Slider(Pending(), k, j) != Slider(Active(), k, j)) ChangedRange[k] = true;
    }
    return TwinFilter::CommitChanges();
}

void CGammaFilter::RebuildTables() {
    for (std::size_t k = 0; k < kRanges; ++k) {
        bool inUse = false;
        for (std::size_t j = 1; j <= kSliders; ++j) inUse = inUse || Slider(Active(), k, j) != 0;
        if (!inUse)
            tables_[k].reset();
        else if (ChangedRange[k])
            BuildRange(k);
    }
}

void CGammaFilter::BuildRange(std::size_t k) {
    std::array<double, 3> exponents{};  // red, green, blue
    for (std::size_t i = 0; i < 3; ++i) exponents[i] = ToneExponent(Slider(Active(), k, 2 + i), 167.0, 33.0);
    const double brightness = ToneExponent(Slider(Active(), k, 5), 167.0, 33.0);

    // The three curves together carry the middle tone to a mean that a further exponent brings back.
    constexpr double kMiddle = 128.0 / 255.0;
    std::int64_t sum = 0;
    for (const double e : exponents) sum += TruncateToInt(std::pow(kMiddle, e) * 255.0);
    const double mean = static_cast<double>(sum) / 765.0;
    const double n = std::log(kMiddle) / std::log(mean) * brightness;

    const std::int64_t scope = Slider(Active(), k, 1);
    const std::int64_t low = scope >= 0 ? scope * 128 / 45 : 0;
    const std::int64_t high = scope >= 0 ? 255 : scope * 128 / 45 + 255;
    const auto span = static_cast<double>(high - low);

    if (!tables_[k]) tables_[k] = std::make_unique<kernels::RangeTables>();
    const std::array<std::array<std::int32_t, 256>*, 3> channels = {&tables_[k]->red, &tables_[k]->green,
                                                                    &tables_[k]->blue};
    for (std::size_t c = 0; c < 3; ++c) {
        const double exponent = exponents[c] * n;
        for (int i = 0; i < 256; ++i) {
            std::int32_t& entry = (*channels[c])[static_cast<std::size_t>(i)];
            if (k > 0)
                entry = TruncateToInt(std::pow(i / 255.0, exponent) * 255.0 - i);
            else if (i < low || i >= high)
                entry = i;
            else
                entry = TruncateToInt(std::pow(static_cast<double>(i - low) / span, exponent) * span +
                                      static_cast<double>(low));
        }
    }
}

FilterResult CGammaFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] { return WorkRanges(request); });
}

FilterResult CGammaFilter::WorkRanges(const PixelRequest& request) const {
    FilterResult result = S_OK;
    if (tables_[0]) {
        kernels::ChannelTables bytes;
        for (std::size_t i = 0; i < 256; ++i) {
            bytes.red[i] = static_cast<std::uint8_t>(tables_[0]->red[i]);
            bytes.green[i] = static_cast<std::uint8_t>(tables_[0]->green[i]);
            bytes.blue[i] = static_cast<std::uint8_t>(tables_[0]->blue[i]);
        }
        result = WalkRows(request, [&](std::span<std::uint8_t> pixels) { kernels::ChannelTablesRow(pixels, bytes); });
    }
    for (std::size_t k = 1; k < kRanges && result == S_OK; ++k) {
        if (!tables_[k]) continue;
        const std::int32_t target = Target(Slider(Active(), k, 1), k);
        result = WalkRows(request, [&](std::span<std::uint8_t> pixels) {
            kernels::HueRangeRow(pixels, target, *tables_[k], Weights());
        });
    }
    return result;
}

}  // namespace kestrel
