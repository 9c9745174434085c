// Hue sectors, the luminance and colour-difference model, and rules that turn on them.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "kestrel/kernels/HueRangeRow.h"
#include "kestrel/kernels/HueRows.h"
#include "kestrel/kernels/HueSectors.h"
#include "kestrel/kernels/YiqRows.h"

namespace kestrel::kernels {
namespace {

TEST(HueSectors, RampEndsAndPlateaus) {
    for (std::size_t i = 0; i < kHueSectors.size(); ++i) {
        const int centre = 60 * static_cast<int>(i);
        const auto at = [&](int offset) { return SectorWeight((centre + offset + 360) % 360, kHueSectors[i]); };
        EXPECT_EQ(at(-46), 0) << i;
        EXPECT_EQ(at(-45), 0) << i;
        EXPECT_EQ(at(-44), 3) << i;  // 100 / 30, cut
        EXPECT_EQ(at(-30), 50) << i;
        EXPECT_EQ(at(-16), 96) << i;
        for (int offset = -15; offset <= 15; ++offset) EXPECT_EQ(at(offset), 100) << i;
        EXPECT_EQ(at(16), 96) << i;
        EXPECT_EQ(at(30), 50) << i;
        EXPECT_EQ(at(44), 3) << i;
        EXPECT_EQ(at(45), 0) << i;
        EXPECT_EQ(at(180), 0) << i;
    }
}

TEST(HueSectors, NeighboursShareEveryHue) {
    for (int hue = 0; hue < 360; ++hue) {
        int sum = 0;
        int met = 0;
        for (const HueSector& sector : kHueSectors) {
            sum += SectorWeight(hue, sector);
            met += SectorWeight(hue, sector) > 0 ? 1 : 0;
        }
        EXPECT_GE(sum, 99) << hue;  // both weights are cut
        EXPECT_LE(sum, 100) << hue;
        EXPECT_LE(met, 2) << hue;
    }
}

TEST(HueSectors, RampsMayLieAcrossZero) {
    constexpr HueSector rising{340, 20, 40, 60};
    EXPECT_EQ(SectorWeight(339, rising), 0);
    EXPECT_EQ(SectorWeight(350, rising), 25);
    EXPECT_EQ(SectorWeight(10, rising), 75);
    EXPECT_EQ(SectorWeight(20, rising), 100);
    constexpr HueSector falling{300, 320, 340, 20};
    EXPECT_EQ(SectorWeight(350, falling), 75);
    EXPECT_EQ(SectorWeight(10, falling), 25);
    EXPECT_EQ(SectorWeight(21, falling), 0);
}

TEST(Yiq, TheInverseUndoesTheMatrix) {
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            double sum = 0;
            for (std::size_t k = 0; k < 3; ++k) sum += kYiqToRgb[i][k] * kRgbToYiq[k][j];
            EXPECT_NEAR(sum, i == j ? 1.0 : 0.0, 1e-14);
        }
}

/// A table that gives one tone for all.
ByteTable Constant(std::uint8_t tone) {
    ByteTable table;
    table.fill(tone);
    return table;
}

TEST(Yiq, ALuminanceShiftMovesAllChannelsAlike) {
    // The luminance of (B50 G100 R150) is 109.25 in doubles: at 200 each channel goes up by 90.75.
    EXPECT_EQ(LuminancePixel({50, 100, 150}, Constant(200)), (Bgr{140, 190, 240}));
    EXPECT_EQ(LuminancePixel({50, 100, 150}, Constant(255)), (Bgr{195, 245, 255}));
    EXPECT_EQ(LuminancePixel({50, 100, 150}, Constant(0)), (Bgr{0, 0, 40}));
    EXPECT_EQ(OptimizePixel({50, 100, 150}, Constant(200)), (Bgr{140, 190, 240}));
}

TEST(Yiq, OptimizeIsSinglePrecision) {
    // In double precision each of these pixels has another byte.
    EXPECT_EQ(OptimizePixel({52, 90, 158}, kIdentityTable), (Bgr{52, 89, 158}));
    EXPECT_EQ(OptimizePixel({97, 202, 232}, kIdentityTable), (Bgr{96, 202, 232}));
    EXPECT_EQ(OptimizePixel({231, 190, 64}, kIdentityTable), (Bgr{229, 189, 62}));
}

TEST(HueRows, ChangesFollowThePixelsOwnDegree) {
    TuningFactors factors;
    factors.fill(1.0);
    factors[30] = 0.0;
    // (B0 G128 R255) has hue 30.1; (B0 G127 R255) has 29.9.
    EXPECT_EQ(TuningPixel({0, 128, 255}, factors), (Bgr{127, 127, 127}));
    const Bgr kept = TuningPixel({0, 127, 255}, factors);
    EXPECT_EQ(kept.red, 255);
    EXPECT_EQ(kept.blue, 0);

    HsbChanges changes;
    changes[0].hue = -1.0;  // below 0 the hue comes round to 359
    EXPECT_EQ(HsbPixel({0, 0, 255}, changes), (Bgr{4, 0, 255}));
    changes[0].hue = 180.0;
    EXPECT_EQ(HsbPixel({0, 0, 255}, changes), (Bgr{255, 255, 0}));
    changes[300].hue = 60.0;  // exactly a turn is 0 again
    EXPECT_EQ(HsbPixel({255, 0, 255}, changes), (Bgr{0, 0, 255}));
    changes[360].brightness = 0.5;
    changes[360].saturation = 9.0;  // of the greys' change the brightness alone counts
    EXPECT_EQ(HsbPixel({51, 51, 51}, changes), (Bgr{178, 178, 178}));
}

TEST(HueRange, ReachAndWeights) {
    RangeTables tables{};
    tables.blue.fill(100);
    tables.green.fill(-100);
    HueRangeWeights weights{};
    weights.falloff.fill(255);
    weights.falloff[239] = 0;
    weights.saturation.fill(128);
    // 100 x 255 x 128 / 65536 = 49.8; a negative product is shifted downward, to -50.
    EXPECT_EQ(HueRangePixel({0, 60, 200}, 4590, tables, weights), (Bgr{49, 10, 200}));
    EXPECT_EQ(HueRangePixel({0, 10, 200}, 0, tables, weights), (Bgr{49, 216, 200})) << "sums wrap in the byte";
    // Greys, black and near-greys have no hue.
    EXPECT_EQ(HueRangePixel({90, 90, 90}, 0, tables, weights), (Bgr{90, 90, 90}));
    EXPECT_EQ(HueRangePixel({0, 0, 0}, 0, tables, weights), (Bgr{0, 0, 0}));
    // Hue 256 / 255 degrees is 7649 from 31 degrees, the last distance inside, and 7394 from 30.
    EXPECT_EQ(HueRangePixel({0, 4, 239}, 31 * 255, tables, weights), (Bgr{0, 4, 239}));
    EXPECT_EQ(HueRangePixel({0, 4, 239}, 30 * 255, tables, weights), (Bgr{49, 210, 239}));
    EXPECT_EQ(HueRangePixel({0, 4, 239}, 32 * 255, tables, weights), (Bgr{0, 4, 239}));
    // The way round is the shorter one: magenta-red at 350 degrees is 10 degrees from red.
    EXPECT_EQ(HueRangePixel({40, 0, 240}, 0, tables, weights), (Bgr{89, 206, 240}));
    for (const int wild : {-2147483647 - 1, 2147483647, 91800 + 45900, -46000, 1000000})
        EXPECT_EQ(HueRangePixel({0, 60, 200}, wild, tables, weights), (Bgr{0, 60, 200})) << wild;
}

}  // namespace
}  // namespace kestrel::kernels
