// Weights without a look-up, and rows of planes: every compiled instruction set gives what the definition gives.
#include "kestrel/kernels/GaussRows.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "kestrel/kernels/GaussWeights.h"
#include "kestrel/kernels/SharpenRow.h"
#include "kestrel/passes/GaussReduce.h"
#include "tests/support/Picture.h"

namespace kestrel::kernels {
namespace {
using test::Picture;
using test::Pixel;

TEST(GaussTable, FallsFromOneToTheLeastWeight) {
    const auto& table = GaussTable();
    ASSERT_EQ(table.size(), 21293U);
    EXPECT_EQ(table[0], 65535U);
    EXPECT_EQ(table[1024], 24108U);  // 65535 / e
    EXPECT_EQ(table[2048], 8869U);   // 65535 / e²
    EXPECT_EQ(table[10645], 2U);
    EXPECT_EQ(table[10646], 1U);
    EXPECT_EQ(table.back(), 1U);
    std::uint64_t hash = 14695981039346656037U;  // the same bytes on every machine
    for (std::size_t i = 0; i < table.size(); ++i) {
        hash = (hash ^ table[i]) * 1099511628211U;
        if (i > 0) {
            ASSERT_LE(table[i], table[i - 1]) << i;
        }
    }
    EXPECT_EQ(hash, 12881814554105086972U);
}

TEST(GaussWeight, IsThatOfTheTableForEveryPairOfExponents) {
    const auto& table = GaussTable();
    const auto& factors = GaussFactors();
    for (std::size_t column = 0; column < factors.size(); ++column) {
        std::size_t different = 0;
        for (std::size_t row = 0; row < factors.size(); ++row)
            different += GaussWeight(factors[column].ofColumn, factors[row].ofRow) != table[column + row];
        ASSERT_EQ(different, 0U) << column;
    }
}

struct GaussRowsTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(GaussRowsTest);

struct Case {
    int width, height;      // source
    int toWidth, toHeight;  // result
};

void ExpectDefinition(Picture source, const Case& c, OpaqueSums sums, bool maskAlone) {
    SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " to " << c.toWidth << " x " << c.toHeight);
    const auto planes = [maskAlone](Picture& picture) {
        return passes::Planes{maskAlone ? nullptr : picture.Rows(), picture.MaskRows(), picture.Width(),
                              picture.Height()};
    };
    const passes::TapTable columns = passes::BuildTaps({c.width, c.toWidth, 0, 0}, 5.0);
    const passes::TapTable rows = passes::BuildTaps({c.height, c.toHeight, 0, 0}, 5.0);
    Picture want(c.toWidth, c.toHeight, Pixel{1, 2, 3, 4});
    Picture got = want;
    ASSERT_TRUE(passes::ReduceGaussByTaps(planes(source), planes(want), columns, rows, sums, false));
    ASSERT_TRUE(passes::ReduceGauss(planes(source), planes(got), columns, rows, sums, false));
    ASSERT_EQ(got.Difference(want), "");
    ASSERT_TRUE(got.GuardsIntact());
}

TEST_P(GaussRowsTest, ReductionsAreTheirDefinition) {
    const Case cases[] = {{100, 60, 27, 16}, {101, 67, 50, 33}, {37, 3, 36, 2},     {7, 90, 2, 30},
                          {1, 50, 1, 3},     {50, 1, 49, 1},    {300, 20, 20, 19},  {20, 300, 19, 9},
                          {90, 90, 12, 12},  {96, 90, 11, 11},  {700, 130, 30, 11}, {5, 5, 1, 1},
                          {200, 150, 1, 1},  {2, 2, 1, 1},      {350, 90, 173, 44}};
    unsigned seed = 1;
    for (const Case& c : cases)
        for (const OpaqueSums sums : {OpaqueSums::ShiftRows, OpaqueSums::ShiftProducts}) {
            ExpectDefinition(Picture::Random(c.width, c.height, seed++, false), c, sums, false);
            ExpectDefinition(Picture::Random(c.width, c.height, seed++), c, sums, false);
            ExpectDefinition(Picture::Random(c.width, c.height, seed++), c, sums, true);
        }
}

TEST_P(GaussRowsTest, WhiteFillsTheSumsOfManyTaps) {
    // Rows of more taps than a lane of 32 bits holds, and the most taps that are summed in 32 bits altogether.
    for (const Case& c : {Case{40000, 3, 1, 1}, Case{8, 8, 1, 1}, Case{4, 30, 1, 1}, Case{30, 4, 1, 1}})
        for (const int mask : {0, 254}) {
            Picture white(c.width, c.height, Pixel{255, 255, 255, static_cast<std::uint8_t>(mask)});
            ExpectDefinition(white, c, OpaqueSums::ShiftRows, false);
        }
}

TEST_P(GaussRowsTest, HiddenStretchesKeepTheTarget) {
    Picture half = Picture::Random(400, 40, 9, false);
    for (int y = 0; y < 40; ++y)
        for (int x = 100; x < 300; ++x) half.Set(x, y, Pixel{9, 9, 9, 255});
    ExpectDefinition(half, {400, 40, 120, 12}, OpaqueSums::ShiftRows, false);
    ExpectDefinition(half, {400, 40, 20, 3}, OpaqueSums::ShiftRows, false);
}

TEST_P(GaussRowsTest, SharpeningEveryLength) {
    std::mt19937 random(4);
    const auto bytes = [&random](std::size_t size, unsigned hidden) {
        std::vector<std::uint8_t> row(size);
        for (auto& byte : row) byte = static_cast<std::uint8_t>(hidden ? random() % hidden ? 0 : 255 : random());
        return row;
    };
    for (std::size_t size = 0; size < 150; ++size) {
        const std::size_t step = size % 2 ? 1 : 3;
        const SharpenWeights weights{65536 + static_cast<int>(random() % 65537), -static_cast<int>(random() % 16385)};
        std::vector<std::uint8_t> rows[3], hidden[3], to(size + 1, 77);
        for (auto& row : rows) row = bytes(size + 2 * step, 0);
        for (auto& row : hidden) row = bytes(size + 2 * step, 4);
        SharpenRow(weights, {rows[0], hidden[0]}, {rows[1], hidden[1]}, {rows[2], hidden[2]}, step,
                   Row(to).first(size));
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t at = i + step;
            const int centre = rows[1][at];
            double sum = double{weights.centre / 65536.0} * centre;
            for (const auto& [row, x] : {std::pair{0, at}, {2, at}, {1, at - step}, {1, at + step}})
                sum += weights.side / 65536.0 * (hidden[row][x] ? centre : rows[row][x]);
            ASSERT_EQ(to[i], hidden[1][at] ? centre : std::clamp(static_cast<int>(std::floor(sum)), 0, 255)) << size;
        }
        ASSERT_EQ(to.back(), 77);
    }
}

}  // namespace
}  // namespace kestrel::kernels
