#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// What each tone of a channel loses at full distance from the grey; below 0 it gains.
using Cast = std::array<std::int32_t, 256>;

/// A correction of the colour: the cast of each channel, and what its row form needs. Made by `MakeBalance`.
struct Balance {
    Cast blue{};
    Cast green{};
    Cast red{};
    ChannelTables amounts;  ///< the casts without their signs
    bool gains[3] = {};     ///< blue, green, red: are the casts below 0?
    bool fits = false;      ///< every cast is -255..255, those of a channel of one sign
};
Balance MakeBalance(const Cast& blue, const Cast& green, const Cast& red);

/// The cast of a channel falls to nothing where the channel equals the grey; a strong one wraps in the byte.
constexpr std::uint8_t BalanceByte(std::uint8_t byte, int grey, const Cast& cast) {
    const int distance = grey > byte ? grey - byte : byte - grey;
    return static_cast<std::uint8_t>(byte - std::int64_t{cast[byte]} * distance / 85);
}
constexpr Bgr BalancePixel(Bgr p, const Balance& balance) {
    const int grey = (p.blue + p.green + p.red) / 3;
    return {BalanceByte(p.blue, grey, balance.blue), BalanceByte(p.green, grey, balance.green),
            BalanceByte(p.red, grey, balance.red)};
}
void BalanceRow(Row row, const Balance& balance);

}  // namespace kestrel::kernels
