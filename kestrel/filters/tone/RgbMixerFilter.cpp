#include "kestrel/filters/tone/RgbMixerFilter.h"

#include "kestrel/filters/tone/ToneTables.h"

namespace kestrel {
namespace {

/// Percentages of red, green and blue.
using MixWeights = std::array<std::int64_t, 3>;

/// Weights lowered alike, so that they sum to about 100.
MixWeights Relative(const MixWeights& w) {
    const std::int64_t excess = (w[0] + w[1] + w[2] - 100) / 3;
    return {w[0] - excess, w[1] - excess, w[2] - excess};
}

kernels::MixerChannel MakeChannel(const MixWeights& weights, std::int32_t constant, bool isGamma) {
    kernels::MixerChannel channel = kernels::MakeMixerChannel(weights);
    if (!isGamma)
        channel.constant = std::int64_t{constant} * 255 / 100;
    else if (constant != 0)
        channel.gamma = PowerTable(ToneExponent(constant, 400.0, 50.0));
    return channel;
}

}  // namespace

FilterResult CRgbMixerFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] {
        if (Active().bypass) return kDone;
        return WalkRows(request,
                        [mixer = MakeMixer()](std::span<std::uint8_t> pixels) { kernels::MixerRow(pixels, mixer); });
    });
}

kernels::Mixer CRgbMixerFilter::MakeMixer() const {
    const RgbMixerParameters& p = Active();
    kernels::Mixer mixer{};
    const auto channel = [&p](std::size_t row, const MixWeights& weights) {
        return MakeChannel(weights, p.weights[row][3], p.gamma[row]);
    };
    if (p.on[0]) {
        // A relative grey starts from the weights of the channels in the luminance.
        const MixWeights offset = p.relative[0] ? MixWeights{30, 59, 11} : MixWeights{};
        const auto& own = p.weights[0];
        mixer.grey = channel(0, {offset[0] + own[0], offset[1] + own[1], offset[2] + own[2]});
    }
    const auto color = [&](std::size_t row) {
        const MixWeights own = {p.weights[row][0], p.weights[row][1], p.weights[row][2]};
        return channel(row, p.relative[row] ? Relative(own) : own);
    };
    if (p.on[1]) mixer.red = color(1);
    if (p.on[2]) mixer.green = color(2);
    if (p.on[3]) mixer.blue = color(3);
    return mixer;
}

}  // namespace kestrel
