#include "kestrel/filters/tone/RgbMixerFilter.h"

#include "kestrel/filters/tone/ToneTables.h"

namespace kestrel {
namespace {

/// Percentages of red, green and blue.
using Weights = std::array<std::int64_t, 3>;

/// Weights lowered alike, so that they sum to about 100.
Weights Relative(const Weights& w) {
    const std::int64_t excess = (w[0] + w[1] + w[2] - 100) / 3;
    return {w[0] - excess, w[1] - excess, w[2] - excess};
}

kernels::MixerChannel MakeChannel(const Weights& weights, std::int32_t constant, bool isGamma) {
    kernels::MixerChannel channel = kernels::MakeMixerChannel(weights);
    if (!isGamma)
        channel.constant = std::int64_t{constant} * 255 / 100;
    else if (constant != 0)
        channel.gamma = PowerTable(ToneExponent(constant, 400.0, 50.0));
    return channel;
}

}  // namespace

HRESULT CRgbMixerFilter::TransformWindow(const Window& window) {
    return InPlacePasses(window, [&] {
        if (Active().bBypass) return S_OK;
        return WalkRows(window,
                        [mixer = MakeMixer()](std::span<std::uint8_t> pixels) { kernels::MixerRow(pixels, mixer); });
    });
}

kernels::Mixer CRgbMixerFilter::MakeMixer() const {
    const RgbMixerParameters& p = Active();
    const auto weights = [](bool relative, Weights w) { return relative ? Relative(w) : w; };
    kernels::Mixer mixer{};
    if (p.bOnK) {
        // A relative grey starts from the shares that the eye gives the channels.
        const Weights offset = p.bRgb0 ? Weights{30, 59, 11} : Weights{};
        mixer.grey = MakeChannel({offset[0] + p.kR, offset[1] + p.kG, offset[2] + p.kB}, p.kC, p.bCon0);
    }
    if (p.bOnR) mixer.red = MakeChannel(weights(p.bRgb1, {p.rR, p.rG, p.rB}), p.rC, p.bCon1);
    if (p.bOnG) mixer.green = MakeChannel(weights(p.bRgb2, {p.gR, p.gG, p.gB}), p.gC, p.bCon2);
    if (p.bOnB) mixer.blue = MakeChannel(weights(p.bRgb3, {p.bR, p.bG, p.bB}), p.bC, p.bCon3);
    return mixer;
}

}  // namespace kestrel
