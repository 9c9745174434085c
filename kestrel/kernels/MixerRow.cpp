#include "kestrel/kernels/MixerRow.h"  // plain headers first: nothing shared may be compiled for one target

#include "kestrel/foundation/Truncate.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/MixerRow.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// (byte × weight + 0.5) / 100, truncated, for weights of up to 10000: the dividend is exact in single precision, the
/// two roundings behind it move the quotient of at most 25500 by less than 0.004, and it lies 0.005 from any integer.
template <class D, class V>
HWY_INLINE V WeighLanes(D d, V byte, std::int64_t weight) {
    const hn::RebindToFloat<D> df;
    const auto product = hn::Mul(hn::ConvertTo(df, byte), hn::Set(df, static_cast<float>(weight)));
    return hn::ConvertTo(d, hn::Mul(hn::Add(product, hn::Set(df, 0.5f)), hn::Set(df, 0.01f)));
}

/// The clamped sum of a channel, without its gamma.
template <class D, class V>
HWY_INLINE V SumLanes(D d, const MixerChannel& channel, V red, V green, V blue) {
    const auto sum =
        hn::Add(hn::Add(WeighLanes(d, red, channel.weights[0]), WeighLanes(d, green, channel.weights[1])),
                hn::Add(WeighLanes(d, blue, channel.weights[2]), hn::Set(d, static_cast<int>(channel.constant))));
    return hn::Min(hn::Max(sum, hn::Zero(d)), hn::Set(d, 255));
}

void MixerRow(Row row, const Mixer& mixer, bool hasGamma) {
    std::array<std::int32_t, 256> greyGamma;
    std::copy(mixer.grey.gamma.begin(), mixer.grey.gamma.end(), greyGamma.begin());
    const bool greyHasGamma = mixer.grey.gamma != kIdentityTable;
    const auto wide = [&](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        auto ownBlue = blue;
        auto ownGreen = green;
        auto ownRed = red;
        if (mixer.grey.on) {
            auto grey = SumLanes(d, mixer.grey, red, green, blue);
            if (greyHasGamma) grey = hn::GatherIndex(d, greyGamma.data(), grey);
            ownBlue = ownGreen = ownRed = grey;
        }
        const auto newBlue = mixer.blue.on ? SumLanes(d, mixer.blue, red, green, ownBlue) : ownBlue;
        const auto newGreen = mixer.green.on ? SumLanes(d, mixer.green, red, ownGreen, blue) : ownGreen;
        red = mixer.red.on ? SumLanes(d, mixer.red, ownRed, green, blue) : ownRed;
        green = newGreen;
        blue = newBlue;
    };
    // The tables of the gammas are applied afterwards to whole rows; the tail is mixed without them, too.
    const auto sums = [&](const MixerChannel& channel) {
        MixerChannel plain = channel;
        plain.gamma = kIdentityTable;
        return plain;
    };
    if (!hasGamma) return MapPlanes<std::int32_t>(row, wide, [&](Bgr p) { return MixPixel(p, mixer); });
    const Mixer ungraded{mixer.grey, sums(mixer.red), sums(mixer.green), sums(mixer.blue)};
    MapPlanes<std::int32_t>(row, wide, [&](Bgr p) { return MixPixel(p, ungraded); });
    const auto gamma = [](const MixerChannel& channel) { return channel.on ? channel.gamma : kIdentityTable; };
    ChannelTablesRow(row, {gamma(mixer.blue), gamma(mixer.green), gamma(mixer.red)});
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

MixerChannel MakeMixerChannel(const std::array<std::int64_t, 3>& weights) {
    MixerChannel channel{.on = true, .weights = weights};
    for (std::size_t input = 0; input < 3; ++input)
        for (int i = 0; i < 256; ++i)
            channel.tables[input][static_cast<std::size_t>(i)] =
                TruncateToInt((i * static_cast<double>(weights[input]) + 0.5) / 100.0);
    return channel;
}

HWY_EXPORT(MixerRow);
void MixerRow(Row row, const Mixer& mixer) {
    const auto fits = [](const MixerChannel& channel) {
        constexpr std::int64_t kWeight = 10000;
        constexpr std::int64_t kConstant = 1000000;
        return std::all_of(channel.weights.begin(), channel.weights.end(),
                           [](std::int64_t w) { return w >= -kWeight && w <= kWeight; }) &&
               channel.constant >= -kConstant && channel.constant <= kConstant;
    };
    if (!fits(mixer.grey) || !fits(mixer.red) || !fits(mixer.green) || !fits(mixer.blue))
        return MapPixels(row, [&mixer](Bgr p) { return MixPixel(p, mixer); });
    const auto graded = [](const MixerChannel& channel) { return channel.on && channel.gamma != kIdentityTable; };
    const bool hasGamma = graded(mixer.red) || graded(mixer.green) || graded(mixer.blue);
    HWY_DYNAMIC_DISPATCH(MixerRow)(row, mixer, hasGamma);
}

}  // namespace kestrel::kernels
#endif
