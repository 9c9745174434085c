// Counting, clipping and stretching of tones.
#include "kestrel/kernels/Histogram.h"

#define HWY_WANT_AVX3_DL  // which luminance is compiled for too
#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <climits>
#include <random>
#include <vector>

namespace kestrel::kernels {
namespace {

struct HistogramTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(HistogramTest);

TEST(Histogram, CountsEveryPixelOfARow) {
    // Blue alone weighs 28/256, green 151/256, red 77/256, each cut.
    const std::vector<std::uint8_t> row = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 9, 9, 9, 9, 9, 9};
    Histogram luminance{};
    CountLuminance(row, luminance);
    Histogram want{};
    want[27] = want[150] = want[76] = want[255] = 1;
    want[9] = 2;
    EXPECT_EQ(luminance, want);

    ChannelHistograms channels;
    CountChannels(row, channels);
    EXPECT_EQ(channels.blue[255], 2U);
    EXPECT_EQ(channels.green[0], 2U);
    EXPECT_EQ(channels.red[0], 2U);
    EXPECT_EQ(channels.red[9], 2U);
    CountChannels(std::vector<std::uint8_t>{7, 8, 9}, channels);
    EXPECT_EQ(channels.blue[7], 1U);
    EXPECT_EQ(channels.green[8], 1U);
    EXPECT_EQ(channels.red[9], 3U);
}

TEST_P(HistogramTest, LongRowsAreCountedLikeTheirPixels) {
    std::mt19937 random(4);
    for (const std::size_t pixels : {510u, 511u, 512u, 513u, 530u, 1023u, 1024u, 1025u, 1500u, 3079u}) {
        std::vector<std::uint8_t> row(pixels * 3);
        for (auto& byte : row) byte = static_cast<std::uint8_t>(random() % 5 ? random() : 255);
        Histogram luminance{}, wanted{};
        ChannelHistograms channels, want;
        for (std::size_t i = 0; i < row.size(); i += 3) {
            ++wanted[static_cast<std::size_t>(77 * row[i + 2] + 151 * row[i + 1] + 28 * row[i]) / 256];
            ++want.blue[row[i]], ++want.green[row[i + 1]], ++want.red[row[i + 2]];
        }
        CountLuminance(row, luminance);
        CountChannels(row, channels);
        EXPECT_EQ(luminance, wanted) << pixels;
        EXPECT_EQ(channels.blue, want.blue) << pixels;
        EXPECT_EQ(channels.green, want.green) << pixels;
        EXPECT_EQ(channels.red, want.red) << pixels;
    }
}

TEST(Histogram, ClipGivesUpTonesUntilEnoughPixelsAreGone) {
    Histogram h{};
    h[10] = 3, h[11] = 2, h[200] = 4, h[201] = 1;
    struct Case {
        std::uint64_t low, high;
        int wantLow, wantHigh;
    };
    const Case cases[] = {{0, 0, 0, 255}, {1, 1, 11, 200}, {3, 2, 11, 199},  {4, 5, 12, 199},
                          {5, 6, 12, 10}, {6, 10, 201, 9}, {10, 10, 202, 9}, {11, 11, 256, -1}};
    for (const Case& c : cases) {
        const ToneLimits limits = Clip(h, c.low, c.high);
        EXPECT_EQ(limits.low, c.wantLow) << c.low;
        EXPECT_EQ(limits.high, c.wantHigh) << c.high;
    }
}

TEST(Histogram, ClipCountIsHalfAPerCentCut) {
    EXPECT_EQ(ClipCount(1, 1), 0U);
    EXPECT_EQ(ClipCount(199, 1), 0U);
    EXPECT_EQ(ClipCount(20, 10), 1U);
    EXPECT_EQ(ClipCount(60000, 60000), 18000000U);
}

TEST(Histogram, LevelsTableStretches) {
    EXPECT_EQ(LevelsTable(0, 255), kIdentityTable);
    const ByteTable t = LevelsTable(100, 155);
    EXPECT_EQ(t[100], 0);
    EXPECT_EQ(t[101], 4);
    EXPECT_EQ(t[128], 129);  // 28 x 255 / 55 = 129.8
    EXPECT_EQ(t[154], 250);
    EXPECT_EQ(t[155], 255);
    // 255 / 130 in single precision lies below its double: 26 steps of it are a little less than 51.
    EXPECT_EQ(LevelsTable(0, 130)[26], 50);
    EXPECT_EQ(LevelsTable(0, 132)[44], 84);
}

TEST(Histogram, LevelsTableTakesAnyLimits) {
    // Where the limits cross, white is written last.
    const ByteTable crossed = LevelsTable(200, 100);
    EXPECT_EQ(crossed[99], 0);
    EXPECT_EQ(crossed[100], 255);
    EXPECT_EQ(LevelsTable(90, 90)[89], 0);
    EXPECT_EQ(LevelsTable(90, 90)[90], 255);
    EXPECT_EQ(LevelsTable(256, -1)[0], 255);
    EXPECT_EQ(LevelsTable(INT_MAX, std::int64_t{INT_MAX} + 300)[255], 0);
    EXPECT_EQ(LevelsTable(std::int64_t{INT_MIN} * 2, INT_MIN)[0], 255);
    // From -1000 to 2000 a tone lies a third of the way, and moves by 0.085 a step.
    EXPECT_EQ(LevelsTable(-1000, 2000)[0], 85);
    EXPECT_EQ(LevelsTable(-1000, 2000)[255], 106);
}

}  // namespace
}  // namespace kestrel::kernels
