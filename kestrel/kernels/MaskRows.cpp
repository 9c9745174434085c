#include "kestrel/kernels/MaskRows.h"

#include <algorithm>

namespace kestrel::kernels {
namespace {

/// Where the three rows begin, a byte before the first column that is made. Held by value, so that a store of a byte
/// cannot change them.
struct MaskStarts {
    explicit MaskStarts(const MaskNeighbours& rows)
        : below(rows.below.data()), row(rows.row.data()), above(rows.above.data()) {}

    const std::uint8_t* below;
    const std::uint8_t* row;
    const std::uint8_t* above;
};

/// Sum of the eight neighbours of column `x`.
std::uint32_t RingSum(const MaskStarts& rows, std::size_t x) {
    const auto three = [x](const std::uint8_t* row) -> std::uint32_t {
        return static_cast<std::uint32_t>(row[x] + row[x + 1] + row[x + 2]);
    };
    return three(rows.below) + rows.row[x] + rows.row[x + 2] + three(rows.above);
}

// Division by 37 and 185 as a product and a shift; a mask that is 255 all over stays so.
constexpr std::uint32_t Over37(std::uint32_t sum) { return sum * 7085 >> 18; }
constexpr std::uint32_t Over185(std::uint32_t sum) { return sum * 1417 >> 18; }
static_assert(Over37(37 * 255) == 255 && Over185(185 * 255) == 255);

}  // namespace

void BinomialMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto three = [](const std::uint8_t* row, std::size_t x) { return row[x] + 2 * row[x + 1] + row[x + 2]; };
    for (std::size_t x = 0; x < out.size(); ++x)
        out[x] = static_cast<std::uint8_t>((three(rows.below, x) + 2 * three(rows.row, x) + three(rows.above, x)) >> 4);
}

void SmoothMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    for (std::size_t x = 0; x < out.size(); ++x)
        out[x] = static_cast<std::uint8_t>(Over37(4 * RingSum(rows, x) + 5u * rows.row[x + 1]));
}

void SmoothMaskRowInPart(int fifths, const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto neighbour = static_cast<std::uint32_t>(4 * fifths);
    const std::uint32_t centre = 185 - 8 * neighbour;
    for (std::size_t x = 0; x < out.size(); ++x) {
        const std::uint32_t sum = neighbour * RingSum(rows, x) + centre * rows.row[x + 1];
        out[x] = static_cast<std::uint8_t>(fifths == 2 ? Over185(sum) : sum / 185);
    }
}

void MinimumMaskRow(const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto three = [](const std::uint8_t* row, std::size_t x) {
        return std::min(std::min(row[x], row[x + 1]), row[x + 2]);
    };
    for (std::size_t x = 0; x < out.size(); ++x)
        out[x] = std::min(std::min(three(rows.below, x), three(rows.row, x)), three(rows.above, x));
}

void EmbossMaskRow(const EmbossWeights& weights, const MaskNeighbours& neighbours, Row out) {
    const MaskStarts rows(neighbours);
    const auto three = [](const std::array<std::int32_t, 3>& w, const std::uint8_t* row, std::size_t x) {
        return std::int64_t{w[0]} * row[x] + std::int64_t{w[1]} * row[x + 1] + std::int64_t{w[2]} * row[x + 2];
    };
    const std::array<std::int32_t, 3> middle{weights[1][0], 0, weights[1][2]};
    for (std::size_t x = 0; x < out.size(); ++x) {
        const std::int64_t sum =
            three(weights[0], rows.below, x) + three(middle, rows.row, x) + three(weights[2], rows.above, x);
        out[x] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(sum / 4096 + 128, 0, 255));
    }
}

void ApplyReliefRow(Row pixels, ConstRow relief, bool sunken) {
    for (std::size_t x = 0; x < relief.size(); ++x) {
        const int light = sunken ? 128 - relief[x] : relief[x] - 128;
        for (std::uint8_t& byte : pixels.subspan(3 * x, 3))
            byte = static_cast<std::uint8_t>(std::clamp(byte + light, 0, 255));
    }
}

}  // namespace kestrel::kernels
