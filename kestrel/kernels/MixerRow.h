#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// One output channel as a sum over the input channels.
struct MixerChannel {
    bool on = false;
    std::array<std::int64_t, 3> weights{};  ///< percent of red, green, blue; any number
    /// What each tone of an input gives at its weight: the product plus a half, as percent, truncated.
    std::array<std::array<std::int32_t, 256>, 3> tables{};
    std::int64_t constant = 0;         ///< added to the sum
    ByteTable gamma = kIdentityTable;  ///< what the clamped sum goes through
};

/// A channel that is on, with the tables of its weights.
MixerChannel MakeMixerChannel(const std::array<std::int64_t, 3>& weights);

/// The mixed value of three inputs, clamped to 0..255. Sums are 64 bits wide.
constexpr std::uint8_t MixedByte(const MixerChannel& channel, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    const std::int64_t sum =
        std::int64_t{channel.tables[0][red]} + channel.tables[1][green] + channel.tables[2][blue] + channel.constant;
    return channel.gamma[ClampToByte(sum)];
}

/// The four channels of a mix.
struct Mixer {
    MixerChannel grey;
    MixerChannel red;
    MixerChannel green;
    MixerChannel blue;
};

/// With the grey channel on, its value takes the place of a channel's own input, and of a channel that is off.
constexpr Bgr MixPixel(Bgr p, const Mixer& mixer) {
    Bgr own = p;
    if (mixer.grey.on) own.red = own.green = own.blue = MixedByte(mixer.grey, p.red, p.green, p.blue);
    return {mixer.blue.on ? MixedByte(mixer.blue, p.red, p.green, own.blue) : own.blue,
            mixer.green.on ? MixedByte(mixer.green, p.red, own.green, p.blue) : own.green,
            mixer.red.on ? MixedByte(mixer.red, own.red, p.green, p.blue) : own.red};
}
void MixerRow(Row row, const Mixer& mixer);

}  // namespace kestrel::kernels
