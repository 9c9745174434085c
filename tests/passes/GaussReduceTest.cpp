#include "kestrel/passes/GaussReduce.h"

#include <gtest/gtest.h>

#include <cmath>
#include <new>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/passes/SharpenReduced.h"
#include "tests/support/Picture.h"

namespace kestrel::passes {
namespace {
using kernels::OpaqueSums;
using test::Picture;
using test::Pixel;

constexpr double kLambda = 5.0;

Planes Of(Picture& picture) { return {picture.Rows(), picture.MaskRows(), picture.Width(), picture.Height()}; }
Planes MaskOf(Picture& picture) { return {nullptr, picture.MaskRows(), picture.Width(), picture.Height()}; }

struct Size {
    int width;
    int height;
};

Picture Reduced(Picture source, Size size, OpaqueSums sums = OpaqueSums::ShiftRows, int originX = 0, int originY = 0) {
    Picture target(size.width, size.height, Pixel{1, 2, 3, 4});
    const AbortFlag abort{false};
    const TapTable columns = BuildTaps({source.Width(), size.width, originX, 0}, kLambda);
    const TapTable rows = BuildTaps({source.Height(), size.height, originY, 0}, kLambda);
    EXPECT_TRUE(ReduceGauss(Of(source), Of(target), columns, rows, sums, abort));
    EXPECT_TRUE(target.GuardsIntact());
    return target;
}

/// The same picture by the definition of the average, in floating point: every source pixel within one result pixel of
/// a result pixel's own span weighs exp(-5 d²), nothing is cut off.
struct Reference {
    double colour[3];
    double mask;
    bool visible;
};

Reference ReferencePixel(const Picture& source, Size size, int x, int y, bool transparent) {
    const double sx = static_cast<double>(size.width) / source.Width();
    const double sy = static_cast<double>(size.height) / source.Height();
    double colour[3] = {0, 0, 0}, colourWeight = 0, mask = 0, total = 0;
    for (int j = static_cast<int>(std::floor((y - 0.5) / sy)); j < std::ceil((y + 1.5) / sy); ++j)
        for (int i = static_cast<int>(std::floor((x - 0.5) / sx)); i < std::ceil((x + 1.5) / sx); ++i) {
            const double dx = (i + 0.5) * sx - (x + 0.5);
            const double dy = (j + 0.5) * sy - (y + 0.5);
            const double weight = std::exp(-kLambda * (dx * dx + dy * dy));
            const bool inside = i >= 0 && j >= 0 && i < source.Width() && j < source.Height();
            const Pixel p = inside ? source.At(i, j) : Pixel{0, 0, 0, 255};
            if (transparent || inside) {
                total += weight;
                mask += weight * p.mask;
            }
            if (p.mask == 255) continue;
            colourWeight += weight;
            colour[0] += weight * p.blue;
            colour[1] += weight * p.green;
            colour[2] += weight * p.red;
        }
    for (double& c : colour) c = colourWeight > 0 ? c / colourWeight : 0;
    return {{colour[0], colour[1], colour[2]}, mask / total, colourWeight > 0};
}

void ExpectNearReference(const Picture& source, Size size, OpaqueSums sums, bool transparent) {
    const Picture result = Reduced(source, size, sums);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const Reference want = ReferencePixel(source, size, x, y, transparent);
            const Pixel got = result.At(x, y);
            ASSERT_NEAR(got.mask, want.mask, 1.0) << x << ", " << y;
            if (!want.visible || got.mask == 255) continue;
            ASSERT_NEAR(got.blue, want.colour[0], 1.0) << x << ", " << y;
            ASSERT_NEAR(got.green, want.colour[1], 1.0) << x << ", " << y;
            ASSERT_NEAR(got.red, want.colour[2], 1.0) << x << ", " << y;
        }
}

TEST(GaussTaps, ReachOnePixelBeyondTheSpan) {
    const TapTable table = BuildTaps({10, 5, 0, 0}, kLambda);
    ASSERT_EQ(table.taps.size(), 5U);
    const ScaleTap& first = table.taps[0];
    EXPECT_EQ(first.Start, -1);
    EXPECT_EQ(first.TapCount, 4);
    EXPECT_EQ(first.FirstInside, 1);
    EXPECT_EQ(first.EndInside, 4);
    // distances -0.75, -0.25, 0.25, 0.75 result pixels; 5 d² in 1/1024
    const std::int32_t want[] = {2880, 320, 320, 2880};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(first.Exponents[k], want[k]);
    const ScaleTap& last = table.taps[4];
    EXPECT_EQ(last.Start, 7);
    EXPECT_EQ(last.FirstInside, 0);
    EXPECT_EQ(last.EndInside, 3);
    EXPECT_EQ(last.TapCount, 4);
}

TEST(GaussTaps, FollowTheOrigin) {
    // The origin at 3 comes to 2 at one half; result pixel 2 then is the one whose span begins there.
    EXPECT_EQ(OutOrigin({10, 5, 3, 0}), 1);  // -floor(-1.5 + 0.5)
    EXPECT_EQ(OutOrigin({10, 5, 4, 0}), 2);
    EXPECT_EQ(OutOrigin({10, 5, -4, 0}), -2);
    const TapTable table = BuildTaps({10, 5, 4, 0}, kLambda);
    EXPECT_EQ(table.taps[2].Start, 3);
    const TapTable moved = BuildTaps({10, 5, -2000000000, 0}, kLambda);
    EXPECT_EQ(moved.taps[0].Start, -1);
    EXPECT_EQ(moved.taps[4].Start, 7);
}

TEST(GaussTaps, ASizeOfNothingTakesItsFactor) {
    const TapTable table = BuildTaps({10, 0, 0, 0.01}, kLambda);
    ASSERT_EQ(table.taps.size(), 1U);
    EXPECT_EQ(table.taps[0].Start, -50);
    EXPECT_EQ(table.taps[0].TapCount, 200);
    EXPECT_EQ(table.taps[0].FirstInside, 50);
    EXPECT_EQ(table.taps[0].EndInside, 60);
    EXPECT_THROW(BuildTaps({10, 0, 0, 1e-9}, kLambda), std::bad_alloc);
}

TEST(GaussReduce, IsTheWeightedAverage) {
    const struct {
        Size from;
        Size to;
    } cases[] = {{{40, 30}, {13, 7}},  {{64, 64}, {32, 32}}, {{100, 80}, {10, 8}}, {{37, 3}, {36, 2}},
                 {{200, 150}, {1, 1}}, {{7, 90}, {2, 30}},   {{1, 50}, {1, 3}},    {{101, 67}, {50, 33}}};
    unsigned seed = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from.width << " x " << c.from.height);
        const Picture opaque = Picture::Random(c.from.width, c.from.height, seed++, false);
        ExpectNearReference(opaque, c.to, OpaqueSums::ShiftRows, false);
        ExpectNearReference(opaque, c.to, OpaqueSums::ShiftProducts, false);
        const Picture masked = Picture::Random(c.from.width, c.from.height, seed++);
        ExpectNearReference(masked, c.to, OpaqueSums::ShiftRows, true);
    }
}

TEST(GaussReduce, FlatPicturesStayFlatUpToTheEdge) {
    for (const int level : {0, 1, 77, 254, 255})
        for (const Size to : {Size{50, 40}, Size{10, 7}, Size{3, 2}, Size{1, 1}})
            for (const OpaqueSums sums : {OpaqueSums::ShiftRows, OpaqueSums::ShiftProducts}) {
                const auto byte = static_cast<std::uint8_t>(level);
                const Pixel fill{byte, byte, byte, 0};
                EXPECT_EQ(Reduced(Picture(101, 83, fill), to, sums).Difference(Picture(to.width, to.height, fill)), "");
            }
}

TEST(GaussReduce, NothingUnderMask255Bleeds) {
    const Picture base = Picture::Random(60, 44, 5);
    Picture repainted = base;
    for (int y = 0; y < base.Height(); ++y)
        for (int x = 0; x < base.Width(); ++x)
            if (base.At(x, y).mask == 255) repainted.Set(x, y, Pixel{255, 0, 200, 255});
    for (const Size to : {Size{30, 22}, Size{6, 4}})
        EXPECT_EQ(Reduced(base, to).Difference(Reduced(repainted, to)), "");
}

TEST(GaussReduce, TheOutsideIsTransparentOnlyWhereTheMaskCounts) {
    Picture picture(40, 40, Pixel{100, 150, 200, 0});
    EXPECT_EQ(Reduced(picture, {8, 8}).At(0, 0), (Pixel{100, 150, 200, 0}));
    picture.Set(39, 39, Pixel{0, 0, 0, 1});  // one pixel is not quite there
    const Picture result = Reduced(picture, {8, 8});
    // Of one axis' weight 5.7 % lie beyond an edge: 1 - (1 - 0.057)² of 255 at a corner.
    EXPECT_NEAR(result.At(0, 0).mask, 28, 1);
    EXPECT_NEAR(result.At(4, 0).mask, 14.5, 1);
    EXPECT_EQ(result.At(4, 4), (Pixel{100, 150, 200, 0}));
    EXPECT_EQ(result.At(0, 0).red, 200);
}

TEST(GaussReduce, AnInvisiblePictureKeepsTheTargetsColours) {
    const Picture result = Reduced(Picture(20, 20, Pixel{9, 9, 9, 255}), {5, 5});
    EXPECT_EQ(result.Difference(Picture(5, 5, Pixel{1, 2, 3, 255})), "");
}

TEST(GaussReduce, AMaskAloneIsReducedLikeThatOfAPicture) {
    for (const bool transparent : {true, false}) {
        Picture source = Picture::Random(50, 31, 8, transparent);
        Picture alone(12, 9, Pixel{1, 2, 3, 4});
        const TapTable columns = BuildTaps({50, 12, 0, 0}, kLambda);
        const TapTable rows = BuildTaps({31, 9, 0, 0}, kLambda);
        ASSERT_TRUE(ReduceGauss(MaskOf(source), MaskOf(alone), columns, rows, OpaqueSums::ShiftRows, false));
        const Picture whole = Reduced(source, {12, 9});
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 12; ++x) {
                const Pixel p = alone.At(x, y);
                ASSERT_EQ(p, (Pixel{1, 2, 3, whole.At(x, y).mask}));
            }
    }
}

TEST(GaussReduce, GivesTheSameBytesWithAnyNumberOfThreads) {
    for (const bool masked : {false, true})
        for (const auto& [from, to] : {std::pair{Size{30, 200}, Size{15, 100}}, {Size{50, 1600}, Size{3, 80}}}) {
            const Picture source = Picture::Random(from.width, from.height, 12, masked);
            const Picture alone = Reduced(source, to);
            const HelperThreads help(3);
            EXPECT_EQ(Reduced(source, to).Difference(alone), "") << to.height << masked;
        }
}

TEST(GaussReduce, EndsAtAnAbort) {
    Picture source(9, 9);
    Picture target(3, 3, Pixel{5, 6, 7, 8});
    const TapTable taps = BuildTaps({9, 3, 0, 0}, kLambda);
    EXPECT_FALSE(ReduceGauss(Of(source), Of(target), taps, taps, OpaqueSums::ShiftRows, true));
    EXPECT_FALSE(SharpenReduced(Of(target), 0.3, 0.3, true));
    EXPECT_EQ(target.Difference(Picture(3, 3, Pixel{5, 6, 7, 8})), "");
}

// Sharpening at one half in both axes: a = 1/8, the centre weighs 1.5, each side -0.125.

TEST(SharpenReduced, WeighsTheCentreAgainstItsFourSides) {
    Picture picture(3, 3, Pixel{80, 80, 80, 0});
    picture.Set(1, 1, Pixel{120, 90, 240, 0});
    ASSERT_TRUE(SharpenReduced(Of(picture), 0.5, 0.5, false));
    EXPECT_EQ(picture.At(1, 1), (Pixel{140, 95, 255, 0}));  // 180 - 40, 135 - 40, 360 - 40
    EXPECT_EQ(picture.At(0, 1), (Pixel{75, 78, 60, 0}));    // 120 - (3 × 80 + side) / 8, cut
    EXPECT_EQ(picture.At(0, 0), (Pixel{80, 80, 80, 0}));
}

TEST(SharpenReduced, TakesTheCentreForWhatIsNotThere) {
    Picture picture(3, 1, Pixel{80, 80, 80, 0});
    picture.Set(0, 0, Pixel{50, 50, 50, 255});
    picture.Set(2, 0, Pixel{0, 0, 0, 254});
    ASSERT_TRUE(SharpenReduced(Of(picture), 0.5, 0.5, false));
    EXPECT_EQ(picture.At(0, 0), (Pixel{50, 50, 50, 255}));
    EXPECT_EQ(picture.At(1, 0), (Pixel{90, 90, 90, 0}));
    EXPECT_EQ(picture.At(2, 0), (Pixel{0, 0, 0, 254}));
}

TEST(SharpenReduced, AMaskAloneIsSharpened) {
    Picture picture(3, 3, Pixel{7, 7, 7, 80});
    picture.Set(1, 1, Pixel{7, 7, 7, 120});
    ASSERT_TRUE(SharpenReduced(MaskOf(picture), 0.5, 0.5, false));
    EXPECT_EQ(picture.At(1, 1), (Pixel{7, 7, 7, 140}));
    EXPECT_EQ(picture.At(1, 0), (Pixel{7, 7, 7, 75}));
}

TEST(SharpenReduced, KeepsFlatPicturesAtEveryFactor) {
    for (int percent = 1; percent < 100; ++percent) {
        Picture picture(4, 3, Pixel{1, 128, 255, 0});
        ASSERT_TRUE(SharpenReduced(Of(picture), percent / 100.0, (100 - percent) / 100.0, false));
        ASSERT_EQ(picture.Difference(Picture(4, 3, Pixel{1, 128, 255, 0})), "") << percent;
    }
}

}  // namespace
}  // namespace kestrel::passes
