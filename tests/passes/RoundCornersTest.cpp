// Rounded corners: the share of each pixel of an arc, and the forms that four arcs make.
#include "kestrel/passes/RoundCorners.h"

#include <gtest/gtest.h>

#include <climits>
#include <numbers>
#include <utility>

#include "kestrel/passes/ArcCoverage.h"
#include "tests/support/Picture.h"

namespace kestrel::passes {
namespace {
using test::Picture;
using test::Pixel;

TEST(ArcCoverage, SumsToTheCircle) {
    for (const int radius : {5, 20, 100, 333}) {
        double covered = 0;
        for (int j = 0; j < radius; ++j)
            for (int i = 0; i < radius; ++i) covered += ArcCoverage(i, j, radius);
        // Chords lie inside the arc; what they lose falls with the length of a chord, not with its number.
        const double quarter = std::numbers::pi / 4 * radius * radius;
        EXPECT_LT(covered, quarter);
        EXPECT_GT(covered, quarter - 0.5) << radius;
    }
}

TEST(ArcCoverage, IsNearTheAreaOfEachPixel) {
    constexpr int kRadius = 30;
    constexpr int kSteps = 40;
    for (int j = 0; j < kRadius; ++j)
        for (int i = 0; i < kRadius; ++i) {
            int inside = 0;
            for (int v = 0; v < kSteps; ++v)
                for (int u = 0; u < kSteps; ++u) {
                    const double dx = kRadius - i - (u + 0.5) / kSteps;
                    const double dy = kRadius - j - (v + 0.5) / kSteps;
                    inside += dx * dx + dy * dy < kRadius * kRadius;
                }
            EXPECT_NEAR(ArcCoverage(i, j, kRadius), inside / double{kSteps * kSteps}, 0.02) << i << " " << j;
        }
}

/// Mask of a board of this size with rounded corners.
Picture Rounded(int width, int height, int radius, std::uint8_t mask = 0) {
    Picture picture(width, height, Pixel{0, 0, 0, mask});
    RoundCorners({picture.Rows(), picture.MaskRows(), width, height}, radius);
    return picture;
}

TEST(RoundCorners, AllFormsAreSymmetric) {
    // Corners; a stadium; pointed ends, wide and tall; lenses; odd sizes; a radius beyond the picture.
    const int cases[][3] = {{40, 30, 9},   {60, 20, 10},  {60, 20, 17}, {20, 60, 17},     {40, 30, 22},
                            {41, 31, 25},  {41, 31, 15},  {7, 5, 4},    {40, 30, 60},     {1, 1, 1},
                            {33, 10, 300}, {2, 900, 500}, {5, 5, -3},   {30, 30, INT_MAX}};
    for (const auto& [width, height, radius] : cases) {
        const Picture picture = Rounded(width, height, radius);
        EXPECT_TRUE(picture.GuardsIntact());
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                // The middle of an odd side belongs to one quarter, whose circle ends there.
                EXPECT_EQ(picture.At(x, y).mask, picture.At(width - 1 - x, y).mask) << radius << " " << x << " " << y;
                EXPECT_EQ(picture.At(x, y).mask, picture.At(x, height - 1 - y).mask) << radius << " " << x << " " << y;
            }
    }
}

TEST(RoundCorners, EachCornerActsAloneWithTheSameArc) {
    const int radius = 24;
    const Picture corners = Rounded(100, 100, radius);
    for (const auto& [width, height] : {std::pair{100, 30}, {30, 100}, {40, 30}, {31, 41}}) {
        const Picture picture = Rounded(width, height, radius);
        for (int y = 0; y < (height + 1) / 2; ++y)
            for (int x = 0; x < (width + 1) / 2; ++x)
                EXPECT_EQ(picture.At(x, y).mask, corners.At(x, y).mask) << width << " " << x << " " << y;
    }
}

TEST(RoundCorners, ByHand) {
    // Radius 1: the chord halves the pixel. Radius 2: the diagonal pixel keeps (1 - 0.268)^2 / 3.464 = 0.1547.
    EXPECT_EQ(Rounded(4, 4, 1).At(0, 0).mask, 255 - 127);
    EXPECT_EQ(Rounded(4, 4, 1).At(1, 0).mask, 0);
    EXPECT_EQ(Rounded(8, 8, 2).At(0, 0).mask, 255 - 39);
    EXPECT_EQ(Rounded(8, 8, 2).At(0, 1).mask, 255 - 220);  // 1 - 0.268 / 2 = 0.866
    EXPECT_EQ(Rounded(8, 8, 2, 155).At(0, 1).mask, 255 - 86);
    EXPECT_EQ(Rounded(8, 8, 0).Difference(Picture(8, 8, Pixel{})), "");
    EXPECT_EQ(Rounded(200, 200, 100).At(0, 0).mask, 255);
}

}  // namespace
}  // namespace kestrel::passes
