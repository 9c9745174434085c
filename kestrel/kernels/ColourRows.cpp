#include "kestrel/kernels/ColourRows.h"

namespace kestrel::kernels {

void InvertRow(std::span<std::uint8_t> row, std::int32_t inversity) {
    for (std::uint8_t& byte : row) byte = InvertByte(byte, inversity);
}

void BlackWhiteRow(std::span<std::uint8_t> row, std::int32_t percent) {
    MapPixels(row, [percent](Bgr p) { return BlackWhitePixel(p, percent); });
}

void SepiaRow(std::span<std::uint8_t> row, std::uint8_t keep) {
    MapPixels(row, [keep](Bgr p) { return SepiaPixel(p, keep); });
}

void TransparencyRow(std::span<std::uint8_t> mask, std::uint8_t keep) {
    for (std::uint8_t& byte : mask) byte = TransparencyByte(byte, keep);
}

void ShiftRow(std::span<std::uint8_t> row, ColourShift shift) {
    MapPixels(row, [shift](Bgr p) { return ShiftPixel(p, shift); });
}

void TableRow(std::span<std::uint8_t> row, const std::uint8_t* table) {
    for (std::uint8_t& byte : row) byte = table[byte];
}

}  // namespace kestrel::kernels
