// Every compiled instruction set gives the bytes of the one-byte rules: all tails, nothing beyond.
#include "kestrel/kernels/ResampleRows.h"
#include "tests/kernels/RandomBytes.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <random>
#include <vector>

#include "kestrel/passes/CubicScale.h"
#include "kestrel/passes/Shear.h"

namespace kestrel::kernels {
namespace {

struct ResampleRowsTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ResampleRowsTest);

using Bytes = std::vector<std::uint8_t>;

TEST_P(ResampleRowsTest, BlendingEveryPairOfBytesByEveryShare) {
    for (std::int16_t share = 0; share < 32; ++share) {
        Bytes previous(65536), bytes(65536), to(65536 + 1, 77);
        const std::vector<std::int16_t> shares(65536, share);
        for (std::size_t i = 0; i < 65536; ++i) {
            previous[i] = static_cast<std::uint8_t>(i);
            bytes[i] = static_cast<std::uint8_t>(i >> 8);
        }
        InterpolateRow(previous, bytes, shares, Row(to).first(65536));
        const auto& table = passes::BlendTable()[static_cast<std::size_t>(share)];
        for (std::size_t i = 0; i < 65536; ++i)
            ASSERT_EQ(to[i], previous[i] + table[static_cast<std::size_t>(255 + bytes[i] - previous[i])]) << share;
        EXPECT_EQ(to.back(), 77);
    }
}

TEST_P(ResampleRowsTest, BlendingEveryTail) {
    std::mt19937 random(2);
    for (std::size_t size = 0; size < 200; ++size) {
        const Bytes previous = RandomBytes(size, random), bytes = RandomBytes(size, random);
        std::vector<std::int16_t> shares(size);
        for (auto& share : shares) share = static_cast<std::int16_t>(random() % 32);
        const auto even = static_cast<std::int16_t>(random() % 32);
        Bytes want(size + 1, 77), wantEvenly = want, to = want, toEvenly = want;
        for (std::size_t i = 0; i < size; ++i) {
            want[i] = InterpolatedByte(previous[i], bytes[i], shares[i]);
            wantEvenly[i] = InterpolatedByte(previous[i], bytes[i], even);
        }
        InterpolateRow(previous, bytes, shares, Row(to).first(size));
        ASSERT_EQ(to, want) << size;
        InterpolateRow(previous, bytes, even, Row(toEvenly).first(size));
        ASSERT_EQ(toEvenly, wantEvenly) << size << ", share " << even;
    }
}

TEST_P(ResampleRowsTest, WeighingFourRows) {
    std::mt19937 random(3);
    for (const CubicTap& tap : passes::BuildCubicTaps(50, 977)) {
        const std::size_t size = random() % 150;
        Bytes rows[4], to(size + 1, 77);
        for (Bytes& row : rows) row = RandomBytes(size, random);
        if (random() % 4 == 0)  // a line of one row, which overshoots on both sides
            for (std::size_t k = 0; k < 4; ++k) std::fill(rows[k].begin(), rows[k].end(), k == 1 ? 255 : 0);
        CubicRow(tap, {rows[0], rows[1], rows[2], rows[3]}, Row(to).first(size));
        for (std::size_t i = 0; i < size; ++i) {
            // the mix of four opaque pixels, in integers
            const int sum = tap.Sum();
            const int value = tap.Weigh(rows[0][i], rows[1][i], rows[2][i], rows[3][i]) * 255;
            const int want = std::clamp((value + 255 * sum / 2) / (255 * sum), 0, 255);
            ASSERT_EQ(to[i], want) << "sum " << sum << " value " << value;
        }
        ASSERT_EQ(to.back(), 77);
    }
}

/// Rows of every width that a vector may end in, whose bytes end where their block does.
TEST_P(ResampleRowsTest, WeighingFourPixels) {
    std::mt19937 random(4);
    for (const int width : {3, 4, 40, 150})
        for (int result = 1; result < 200; result += 1 + result / 40) {
            const CubicLine line(passes::BuildCubicTaps(width, result));
            Bytes from = RandomBytes(static_cast<std::size_t>(width + 3) * 3 + kCubicPadding, random);
            if (result % 4 == 0)  // overshoots on both sides
                for (std::size_t i = 0; i < from.size(); ++i) from[i] = i % 7 < 3 ? 255 : 0;
            Bytes to(static_cast<std::size_t>(result) * 3 + 1, 77);
            CubicPixels(line, from.data(), Row(to).first(to.size() - 1));
            for (std::size_t i = 0; i + 1 < to.size(); ++i) {
                const CubicTap& tap = line.taps[i / 3];
                const std::uint8_t* const p = from.data() + static_cast<std::size_t>(tap.base) * 3 + i % 3;
                ASSERT_EQ(to[i], OpaqueDivision(tap)(tap.Weigh(p[0], p[3], p[6], p[9]))) << width << " to " << result;
            }
            ASSERT_EQ(to.back(), 77);
        }
}

/// The quotient that the estimate stands for, over the sums that weights can have.
TEST(OpaqueDivision, IsExactForEverySumOfWeights) {
    for (int sum = 4080; sum <= 4360; ++sum) {
        const OpaqueDivision divide(CubicTap{0, {sum, 0, 0, 0}});
        const auto expect = [&](int value) {
            const std::int64_t numerator = std::int64_t{255} * value + 255 * sum / 2;
            const std::int64_t want = std::clamp<std::int64_t>(numerator / (255 * sum), 0, 255);
            ASSERT_EQ(divide(value), want) << value << " / " << sum;
        };
        for (int quotient = -2; quotient < 300; ++quotient)  // around each step from one byte to the next
            for (int near = -3; near <= 3; ++near) expect(quotient * sum + sum / 2 + near);
        for (int value = 0; value < 255 * sum; value += 97) expect(value);
    }
}

}  // namespace
}  // namespace kestrel::kernels
