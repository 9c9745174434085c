#include "kestrel/kernels/MaskRows.h"

#include <algorithm>

namespace kestrel::kernels {
namespace {

/// Sum of the eight neighbours of byte `x`.
std::uint32_t RingSum(const MaskNeighbours& rows, std::ptrdiff_t x) {
    const auto three = [x](const std::uint8_t* row) -> std::uint32_t {
        return static_cast<std::uint32_t>(row[x - 1] + row[x] + row[x + 1]);
    };
    return three(rows.below) + rows.row[x - 1] + rows.row[x + 1] + three(rows.above);
}

// Division by 37 and 185 as a product and a shift; a mask that is 255 all over stays so.
constexpr std::uint32_t Over37(std::uint32_t sum) { return sum * 7085 >> 18; }
constexpr std::uint32_t Over185(std::uint32_t sum) { return sum * 1417 >> 18; }
static_assert(Over37(37 * 255) == 255 && Over185(185 * 255) == 255);

}  // namespace

void BinomialMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n) {
    const auto three = [](const std::uint8_t* row, std::ptrdiff_t x) { return row[x - 1] + 2 * row[x] + row[x + 1]; };
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(n); ++x)
        out[x] = static_cast<std::uint8_t>((three(rows.below, x) + 2 * three(rows.row, x) + three(rows.above, x)) >> 4);
}

void SmoothMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n) {
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(n); ++x)
        out[x] = static_cast<std::uint8_t>(Over37(4 * RingSum(rows, x) + 5u * rows.row[x]));
}

void SmoothMaskRowInPart(int fifths, const MaskNeighbours& rows, std::uint8_t* out, std::size_t n) {
    const auto neighbour = static_cast<std::uint32_t>(4 * fifths);
    const std::uint32_t centre = 185 - 8 * neighbour;
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(n); ++x) {
        const std::uint32_t sum = neighbour * RingSum(rows, x) + centre * rows.row[x];
        out[x] = static_cast<std::uint8_t>(fifths == 2 ? Over185(sum) : sum / 185);
    }
}

void LeastMaskRow(const MaskNeighbours& rows, std::uint8_t* out, std::size_t n) {
    const auto three = [](const std::uint8_t* row, std::ptrdiff_t x) {
        return std::min(std::min(row[x - 1], row[x]), row[x + 1]);
    };
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(n); ++x)
        out[x] = std::min(std::min(three(rows.below, x), three(rows.row, x)), three(rows.above, x));
}

void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& rows, std::uint8_t* out, std::size_t n) {
    const auto three = [](const std::array<std::int32_t, 3>& w, const std::uint8_t* row, std::ptrdiff_t x) {
        return std::int64_t{w[0]} * row[x - 1] + std::int64_t{w[1]} * row[x] + std::int64_t{w[2]} * row[x + 1];
    };
    const std::array<std::int32_t, 3> middle{weights[1][0], 0, weights[1][2]};
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(n); ++x) {
        const std::int64_t sum =
            three(weights[0], rows.below, x) + three(middle, rows.row, x) + three(weights[2], rows.above, x);
        out[x] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(sum / 4096 + 128, 0, 255));
    }
}

void ApplyReliefRow(std::uint8_t* pixels, const std::uint8_t* relief, std::size_t n, bool sunken) {
    for (std::size_t x = 0; x < n; ++x) {
        const int light = sunken ? 128 - relief[x] : relief[x] - 128;
        for (std::size_t i = 3 * x; i < 3 * x + 3; ++i)
            pixels[i] = static_cast<std::uint8_t>(std::clamp(pixels[i] + light, 0, 255));
    }
}

}  // namespace kestrel::kernels
