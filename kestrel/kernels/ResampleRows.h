#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// A byte moved toward another by `share` / 32 of their difference, 0..31; the moved part is rounded by half a unit up
/// and cut toward zero. What the blend table holds, without the table.
constexpr std::uint8_t InterpolatedByte(std::uint8_t previous, std::uint8_t byte, std::int16_t share) {
    return static_cast<std::uint8_t>(previous + (share * (byte - previous) + 16) / 32);
}

/// Interpolates between two rows of bytes with a share for each byte of `to`, which they do not overlap.
void InterpolateRow(ConstRow previous, ConstRow bytes, std::span<const std::int16_t> shares, Row to);
/// The same with one share for all.
void InterpolateRow(ConstRow previous, ConstRow bytes, std::int16_t share, Row to);

/// The four source pixels of one result pixel: `weight[k]` in units of 1/4096 belongs to source index base - 1 + k.
struct CubicTap {
    std::int32_t base;
    std::int32_t weight[4];

    /// What the weights of one pixel add up to. The taps move in steps of one fiftieth and end at two pixels, so that
    /// the sum is 4096 or a little more.
    constexpr int Sum() const { return weight[0] + weight[1] + weight[2] + weight[3]; }
    /// Four bytes weighed.
    constexpr int Weigh(int p0, int p1, int p2, int p3) const {
        return p0 * weight[0] + p1 * weight[1] + p2 * weight[2] + p3 * weight[3];
    }
};

/// Divides a weighed sum of bytes by the sum of its tap's weights, rounded and held to 0..255, as the mix of opaque
/// neighbours does: there (255 v + 255 s / 2) / (255 s) is (2 v + s) / (2 s). Half a unit is added to the numerator, so
/// that it stays 1 / (4 s) away from every integer; two roundings of single precision move it by half of that at most.
/// Quotients outside 0..255 are at least on the right side.
struct OpaqueDivision {
    float reciprocal;
    std::int32_t sum;

    explicit OpaqueDivision(const CubicTap& tap)
        : reciprocal(0.5F / static_cast<float>(tap.Sum() == 0 ? 1 : tap.Sum())), sum(tap.Sum()) {}

    std::uint8_t operator()(int value) const {
        const float quotient = (static_cast<float>(2 * value + sum) + 0.5F) * reciprocal;
        return static_cast<std::uint8_t>(std::clamp(quotient, 0.0F, 255.0F));
    }
};

/// Weighs four rows of opaque bytes into one.
void CubicRow(const CubicTap& tap, const std::array<ConstRow, 4>& from, Row to);

/// The taps of a row of pixels, and the same in lanes for the three colours and nothing.
struct CubicLine {
    std::vector<CubicTap> taps;
    std::vector<OpaqueDivision> divisions;               ///< of each tap
    std::vector<std::array<std::int32_t, 4>> weights;    ///< of each tap
    std::vector<std::array<float, 4>> divisionsInLanes;  ///< sum and reciprocal of each division, and two zeros

    /// Throws `std::bad_alloc`.
    explicit CubicLine(std::vector<CubicTap> ofPixels);
};

/// Bytes that `CubicPixels` may read beyond the last of the pixels that it weighs.
inline constexpr std::size_t kCubicPadding = 4;

/// Weighs four opaque pixels of a row into each pixel of `to`. `from` holds one pixel more than the row at its
/// beginning, so that the four of a tap begin at pixel `base`.
void CubicPixels(const CubicLine& line, const std::uint8_t* from, Row to);

}  // namespace kestrel::kernels
