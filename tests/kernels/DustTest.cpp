// Finding and repairing specks in rows, against counting one by one in the picture.
#include "kestrel/kernels/Dust.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <array>
#include <climits>
#include <numeric>
#include <random>
#include <vector>

namespace kestrel::kernels {
namespace {

struct DustTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(DustTest);

/// Eleven rows of brightness, `missing` of them outside the picture, in stretches of noise and of flat colour.
struct Band {
    Band(int pixels, int missing, int spread, unsigned seed) : width(pixels) {
        std::mt19937 random(seed);
        for (int i = 0; i < kDustWindow; ++i) {
            DustRow& row = rows.emplace_back(width);
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width) * 3);
            for (std::size_t b = 0; b < bytes.size(); ++b)
                bytes[b] = b / 400 % 3 == 2 && random() % 64 ? std::uint8_t{99}
                                                             : static_cast<std::uint8_t>(random() % unsigned(spread));
            if (i >= missing) row.Measure(bytes);
        }
        for (std::size_t i = 0; i < rows.size(); ++i) window[i] = &rows[i];
    }

    int Count(int x, std::int64_t tolerance) const {
        int count = 0;
        const std::int64_t s = rows[5].sums[static_cast<std::size_t>(x) + 5];
        for (const auto& row : rows)
            for (int column = std::max(0, x - 5); column <= std::min(width - 1, x + 5); ++column) {
                const std::int64_t t = row.sums[static_cast<std::size_t>(column) + 5];
                if (t != kDustOutside && s - tolerance < t && t < s + tolerance) ++count;
            }
        return count;
    }

    int width;
    std::vector<DustRow> rows;
    DustWindow window;
};

TEST_P(DustTest, SpecksAreThoseWithFewOfTheirKindAround) {
    unsigned seed = 1;
    std::vector<int> widths(70);
    std::iota(widths.begin(), widths.end(), 1);
    for (const int width : {1023, 1024, 1025, 2100}) widths.push_back(width);  // blocks
    for (const int width : widths)
        for (const int spread : {1, 20, 256})
            for (const DustRule rule : {DustRule{5, 45},
                                        {0, 1},
                                        {60, 15},
                                        {12, 4},
                                        {12, 131},
                                        {12, 132},
                                        {121, 766},
                                        {120, 100000},
                                        {3, 0},
                                        {3, -7},
                                        {-1, 45},
                                        {-1, 0},
                                        {INT_MIN, INT_MIN},
                                        {INT_MAX, INT_MAX},
                                        {8, INT_MAX}}) {
                const Band band(width, static_cast<int>(seed % 6), spread, seed);
                ++seed;
                const auto flags = [&](decltype(&FindSpecks) find) {
                    std::vector<std::int32_t> room(static_cast<std::size_t>(width) + 1);
                    std::vector<int> found(static_cast<std::size_t>(width));
                    for (const std::int32_t x : find(band.window, rule, room)) ++found.at(static_cast<std::size_t>(x));
                    return found;
                };
                std::vector<int> want;
                for (int x = 0; x < width; ++x) want.push_back(band.Count(x, rule.tolerance) <= rule.maxRegion);
                ASSERT_EQ(flags(FindSpecks), want)
                    << "width " << width << " rule " << rule.maxRegion << ", " << rule.tolerance;
                ASSERT_EQ(flags(FindSpecksPlain), want);
            }
}

TEST_P(DustTest, BrightnessIsTheSumOfThreeBytesInAFrame) {
    std::mt19937 random(9);
    for (int width = 0; width <= 140; ++width) {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width) * 3);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() % 3 ? random() : 255);
        DustRow row(width);
        std::vector<std::int16_t> want(row.sums.size(), kDustOutside);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            std::int16_t& sum = want[kDustReach + i / 3];
            sum = static_cast<std::int16_t>((i % 3 ? sum : 0) + bytes[i]);
        }
        row.Measure(bytes);
        ASSERT_EQ(row.sums, want) << "width " << width;
        for (std::size_t i = 0; i < want.size(); ++i)
            ASSERT_EQ(row.quarters[i], want[i] == kDustOutside ? kDustOutsideQuarter : want[i] / 4)
                << "width " << width;
    }
}

TEST_P(DustTest, SpecksBecomeTheMeanOfNineButForTheEnds) {
    std::mt19937 random(4);
    for (int width = 1; width <= 12; ++width) {
        std::vector<std::uint8_t> rows[3];
        for (auto& row : rows) {
            row.resize(static_cast<std::size_t>(width) * 3);
            for (auto& byte : row) byte = static_cast<std::uint8_t>(random() % 4 ? random() : 255);
        }
        std::vector<std::int32_t> specks;
        std::vector<std::uint8_t> want = rows[1], out = rows[1];
        for (int x = width - 1; x >= 0; --x) {
            if (random() % 4 == 0) continue;
            specks.push_back(x);
            for (std::size_t b = static_cast<std::size_t>(x) * 3, end = b + 3; b < end && x > 0 && x < width - 1; ++b) {
                int sum = 0;
                for (const auto& row : rows) sum += row[b - 3] + row[b] + row[b + 3];
                want[b] = static_cast<std::uint8_t>(sum / 9);
            }
        }
        std::vector<std::uint8_t> means(specks.size() * 3 + kMeansSlack);
        MeanAroundSpecks({rows[0], rows[1], rows[2]}, specks, means);
        ReplaceSpecks(specks, means, out);
        EXPECT_EQ(out, want) << "width " << width;
    }
}

}  // namespace
}  // namespace kestrel::kernels
