#pragma once
#include <algorithm>
#include <cstdint>

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Hsl.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Rules of the per-pixel colour filters and their row forms. Rows hold blue, green, red of each pixel. Parameters may
/// be any number: products are 64 bits wide, and where no clamp is named the low byte is kept.

constexpr std::uint8_t ClampToByte(std::int64_t value) {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(value, 0, 255));
}

/// Luminance of the tone filters, 0..255.
constexpr std::uint8_t Luminance(Bgr p) {
    return static_cast<std::uint8_t>((77 * p.red + 151 * p.green + 28 * p.blue) >> 8);
}

/// `opacity` percent of `over` on `under`.
constexpr std::uint8_t MixPercent(std::int32_t over, std::int32_t under, std::int32_t opacity) {
    const std::int64_t o = opacity;
    return static_cast<std::uint8_t>((o * over + (100 - o) * under) / 100);
}

/// A single colour in memory: blue, green, red.
constexpr Bgr Load(const std::uint8_t* pixel) { return {pixel[0], pixel[1], pixel[2]}; }
constexpr void Store(std::uint8_t* pixel, Bgr p) {
    pixel[0] = p.blue;
    pixel[1] = p.green;
    pixel[2] = p.red;
}

/// Gives each pixel of a row to `rule(Bgr)` and stores what it answers.
template <class Rule>
void MapPixels(const RowPair& row, const Rule& rule) {
    for (std::size_t i = 0; i + 2 < row.size(); i += 3) Store(&row.to[i], rule(Load(&row.from[i])));
}

/// `inversity` percent of the negative over the byte.
constexpr std::uint8_t InvertByte(std::uint8_t p, std::int32_t inversity) { return MixPercent(255 - p, p, inversity); }
void InvertRow(const RowPair& row, std::int32_t inversity);

/// `percent` of the grey over the colour.
constexpr Bgr BlackWhitePixel(Bgr p, std::int32_t percent) {
    const int grey = (71 * p.blue + 707 * p.green + 222 * p.red) / 1000;
    return {MixPercent(grey, p.blue, percent), MixPercent(grey, p.green, percent), MixPercent(grey, p.red, percent)};
}
void BlackWhiteRow(const RowPair& row, std::int32_t percent);

/// The tint of the brown tone: what each channel adds to the grey.
inline constexpr int kSepiaRedTint = 49;
inline constexpr int kSepiaGreenTint = -13;
inline constexpr int kSepiaBlueTint = -55;
/// A brown tone over the colour; `keep` is the share of the colour in 1/255.
constexpr Bgr SepiaPixel(Bgr p, std::uint8_t keep) {
    const int grey = Luminance(p);
    const int tone = 255 - keep;
    const auto mix = [&](int byte, int tint) { return ClampToByte((byte * keep + (grey + tint) * tone) / 255); };
    return {mix(p.blue, kSepiaBlueTint), mix(p.green, kSepiaGreenTint), mix(p.red, kSepiaRedTint)};
}
void SepiaRow(const RowPair& row, std::uint8_t keep);

/// Opacity scaled by `keep` / 255.
constexpr std::uint8_t TransparencyByte(std::uint8_t mask, std::uint8_t keep) {
    return static_cast<std::uint8_t>(255 - keep * (255 - mask) / 255);
}
void TransparencyRow(Row mask, std::uint8_t keep);

/// Amounts added to the channels, clamped to 0..255.
struct ColourShift {
    std::int64_t blue;
    std::int64_t green;
    std::int64_t red;
};
constexpr Bgr ShiftPixel(Bgr p, ColourShift shift) {
    return {ClampToByte(p.blue + shift.blue), ClampToByte(p.green + shift.green), ClampToByte(p.red + shift.red)};
}
void ShiftRow(const RowPair& row, ColourShift shift);

}  // namespace kestrel::kernels
