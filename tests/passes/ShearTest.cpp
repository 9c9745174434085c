#include "kestrel/passes/Shear.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "kestrel/foundation/HelperThreads.h"
#include "tests/support/Picture.h"

namespace kestrel::passes {
namespace {
using test::Picture;
using test::Pixel;

constexpr Pixel kNothing{0, 0, 0, 255};

Planes Of(Picture& picture) { return {picture.Rows(), picture.MaskRows(), picture.Width(), picture.Height()}; }

TEST(BlendTable, HoldsRoundedShares) {
    const auto& table = BlendTable();
    const auto share = [&](std::size_t k, int d) { return table[k][static_cast<std::size_t>(255 + d)]; };
    EXPECT_EQ(share(0, 255), 0);
    EXPECT_EQ(share(16, 255), 128);
    EXPECT_EQ(share(16, -255), -127);  // -127.5 + 0.5
    EXPECT_EQ(share(16, 1), 1);
    EXPECT_EQ(share(16, -1), 0);
    EXPECT_EQ(share(31, 255), 247);
    EXPECT_EQ(share(31, -255), -246);  // -247.03 + 0.5, toward zero
}

/// One row of five pixels between hidden ones in a row of eleven, moved by `shift` in place.
Picture Moved(const std::array<Pixel, 5>& pixels, double shift) {
    Picture row(11, 1, kNothing);
    for (int i = 0; i < 5; ++i) row.Set(3 + i, 0, pixels[static_cast<std::size_t>(i)]);
    // A single line is not sheared at all; its move is the fraction.
    EXPECT_TRUE(XShear(Of(row), Of(row), {0.0, -shift, {2, 0, 9, 1}}, 0, 0, TargetRows::Kept, false));
    EXPECT_TRUE(row.GuardsIntact());
    return row;
}

const std::array<Pixel, 5> kFive{
    {{10, 20, 30, 0}, {50, 60, 70, 0}, {90, 100, 110, 0}, {130, 140, 150, 0}, {170, 180, 190, 0}}};

TEST(XShear, WholeMovesCopyAndLeaveNoTrace) {
    for (const int shift : {-2, -1, 0, 1, 2}) {
        const Picture row = Moved(kFive, shift);
        for (int x = 0; x < 11; ++x) {
            const int from = x - 3 - shift;
            const Pixel want = from >= 0 && from < 5 ? kFive[static_cast<std::size_t>(from)] : kNothing;
            ASSERT_EQ(row.At(x, 0).mask, want.mask) << shift << " at " << x;
            if (want.mask == 0) {
                ASSERT_EQ(row.At(x, 0), want) << shift << " at " << x;
            }
        }
    }
}

TEST(XShear, HalfMovesBlendNeighboursAndFadeTheEnds) {
    for (const double shift : {1.5, -1.5}) {
        const Picture row = Moved(kFive, shift);
        const int first = shift > 0 ? 4 : 1;  // half of pixel 0
        EXPECT_EQ(row.At(first, 0), (Pixel{10, 20, 30, 128})) << shift;
        // Half of a difference of -40 is -20 + 0.5, cut toward zero: to the right the higher pixel comes first.
        const std::uint8_t up = shift > 0 ? 1 : 0;
        const auto raised = [up](std::uint8_t byte) { return static_cast<std::uint8_t>(byte + up); };
        EXPECT_EQ(row.At(first + 1, 0), (Pixel{raised(30), raised(40), raised(50), 0})) << shift;
        EXPECT_EQ(row.At(first + 4, 0), (Pixel{raised(150), raised(160), raised(170), 0})) << shift;
        EXPECT_EQ(row.At(first + 5, 0), (Pixel{170, 180, 190, 128})) << shift;
        for (int x = 0; x < 11; ++x)
            EXPECT_EQ(row.At(x, 0).mask == 255, x < first || x > first + 5) << shift << " at " << x;
    }
}

TEST(XShear, TheMaskWeighsTheColours) {
    EXPECT_EQ(Moved(kFive, -32.6 / 16384).At(2, 0).mask, 254) << "33 of 16384: shares are rounded";
    // A quarter of a pixel of opacity 51 moves onto three quarters of one of opacity 255.
    const Picture row =
        Moved({{{100, 0, 0, 0}, {200, 0, 0, 204}, {1, 1, 1, 204}, {1, 1, 1, 204}, {1, 1, 1, 255}}}, -0.25);
    // (0.75 × 255 × 100 + 0.25 × 51 × 200) / (0.75 × 255 + 0.25 × 51)
    EXPECT_EQ(row.At(3, 0).blue, 106);
    EXPECT_EQ(row.At(3, 0).mask, 51);  // 0.75 × 0 + 0.25 × 204
}

TEST(XShear, KeepsTheWeightOfARow) {
    // What a row holds of opacity and of colour times opacity moves, it does not grow or fade.
    const Picture random = Picture::Random(60, 1, 3);
    for (double shift = -3; shift < 3; shift += 0.37) {
        Picture row(80, 1, kNothing);
        for (int x = 0; x < 60; ++x) row.Set(10 + x, 0, random.At(x, 0));
        ASSERT_TRUE(XShear(Of(row), Of(row), {0.0, -shift, {9, 0, 71, 1}}, 0, 0, TargetRows::Kept, false));
        double before = 0, after = 0;
        for (int x = 0; x < 60; ++x) before += 255 - random.At(x, 0).mask;
        for (int x = 0; x < 80; ++x) after += 255 - row.At(x, 0).mask;
        EXPECT_NEAR(after, before, 30) << shift;  // half a unit for each pixel
    }
}

TEST(XShear, LinesMoveByTheirDistanceFromTheMiddle) {
    Picture picture(9, 5, kNothing);
    for (int y = 0; y < 5; ++y) picture.Set(4, y, Pixel{9, 9, 9, 0});
    ASSERT_TRUE(XShear(Of(picture), Of(picture), {1.0, 0.0, {3, 0, 6, 5}}, 0, 0, TargetRows::Kept, false));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 9; ++x) EXPECT_EQ(picture.At(x, y).mask, x == y + 2 ? 0 : 255) << x << ", " << y;
}

TEST(XShear, DropsWhatLandsOutside) {
    for (const double shift : {-40.0, -3.5, -0.5, 0.5, 3.5, 40.0, 1e300}) {
        Picture source = Picture::Random(10, 3, 9);
        Picture target(4, 2, kNothing);
        ASSERT_TRUE(XShear(Of(source), Of(target), {0.0, -shift, {0, -5, 10, 9}}, 3, 1, TargetRows::Kept, false));
        EXPECT_TRUE(target.GuardsIntact());
    }
}

TEST(XShear, HidesWhatATargetHeldBefore) {
    Picture source = Picture::Random(40, 40, 5);
    Picture empty(50, 45, kNothing), used = Picture::Random(50, 45, 6);
    const Shear shear{0.3, 0.4, {2, 3, 38, 36}};
    ASSERT_TRUE(XShear(Of(source), Of(empty), shear, -6, -2, TargetRows::Kept, false));
    ASSERT_TRUE(XShear(Of(source), Of(used), shear, -6, -2, TargetRows::Cleared, false));
    EXPECT_EQ(used.Difference(empty), "");
}

/// The columns sheared, in bands of so many rows, the upper ones first.
Picture ShearedColumns(Picture& picture, const Shear& shear, int bandRows) {
    Picture result(picture.Width(), picture.Height(), kNothing);
    const ColumnShear columns = YShear(shear, picture.Width(), picture.Height());
    for (int end = picture.Height(); end > 0; end -= std::min(bandRows, end)) {
        const int first = std::max(end - bandRows, 0);
        EXPECT_TRUE(columns(Of(picture),
                            {result.Rows() + first, result.MaskRows() + first, picture.Width(), end - first}, first,
                            false));
    }
    EXPECT_TRUE(result.GuardsIntact());
    return result;
}

/// Rows and columns exchanged.
Picture Transposed(const Picture& p) {
    return Picture(p.Height(), p.Width(), [&](int x, int y) { return p.At(y, x); });
}

/// A picture inside a hidden frame, and the area of it that is sheared: more columns than are walked together.
struct Framed {
    Picture picture{1150, 90, kNothing};
    Area area{20, 29, 1120, 61};

    Framed() {
        const Picture inner = Picture::Random(1100, 30, 11);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 1100; ++x) picture.Set(20 + x, 30 + y, inner.At(x, y));
    }
};

TEST(YShear, IsTheXShearOfTheTransposedPicture) {
    for (const double shear : {0.7071, -0.31, 0.12, 0.01, 1.0, 0.0})
        for (const double fraction : {0.13, 0.5, 0.99999}) {
            auto [picture, area] = Framed();
            Picture other = Transposed(picture);
            const Area transposed{area.bottom, area.left, area.top, area.right};
            ASSERT_TRUE(XShear(Of(other), Of(other), {shear, fraction, transposed}, 0, 0, TargetRows::Kept, false));
            for (const int bandRows : {1, 7, 90})
                EXPECT_EQ(ShearedColumns(picture, {shear, fraction, area}, bandRows).Difference(Transposed(other)), "")
                    << shear << ", " << fraction << ", bands of " << bandRows;
        }
}

TEST(YShear, MakesAPictureInItsPlaceToo) {
    const HelperThreads help(3);
    for (const bool tall : {false, true})
        for (const double slope : {0.1, -0.3}) {
            auto [picture, area] = Framed();
            if (tall) {
                picture = Transposed(picture);
                area = {area.bottom, area.left, area.top, area.right};
            }
            const Shear shear{slope, 0.13, area};
            const Picture expected = ShearedColumns(picture, shear, 37);
            ASSERT_TRUE(YShear(shear, picture.Width(), picture.Height())(Of(picture), Of(picture), 0, false));
            EXPECT_EQ(picture.Difference(expected), "") << slope << (tall ? ", tall" : "");
            EXPECT_TRUE(picture.GuardsIntact());
        }
}

TEST(YShear, LooksNoFartherThanAColumnMoves) {
    auto [picture, area] = Framed();
    const Shear shear{0.02, 0.13, area};  // by up to 11 pixels
    const Picture whole = ShearedColumns(picture, shear, 90);
    constexpr int kFirst = 40, kRows = 5, kAround = 11 + 1;
    std::vector<std::uint8_t*> rows(90), masks(90);  // null where nothing may be looked at
    for (int y = kFirst - kAround; y < kFirst + kRows + kAround; ++y) {
        rows[static_cast<std::size_t>(y)] = picture.Rows()[y];
        masks[static_cast<std::size_t>(y)] = picture.MaskRows()[y];
    }
    Picture part(picture.Width(), kRows, kNothing);
    ASSERT_TRUE(
        YShear(shear, picture.Width(), 90)({rows.data(), masks.data(), picture.Width(), 90}, Of(part), kFirst, false));
    EXPECT_EQ(part.Difference(whole.Cut(0, kFirst, picture.Width(), kRows)), "");
}

TEST(XShear, IsTheSameWithAnyNumberOfThreads) {
    Framed alone;
    Framed shared = alone;
    const auto run = [](int threads, Framed& framed) {
        auto& [picture, area] = framed;
        const HelperThreads help(threads);
        EXPECT_TRUE(XShear(Of(picture), Of(picture), {0.2, 0.3, area}, 0, 0, TargetRows::Kept, false));
    };
    run(1, alone);
    run(3, shared);
    EXPECT_EQ(shared.picture.Difference(alone.picture), "");
}

TEST(Shears, EndAtAnAbort) {
    const Picture before = Picture::Random(8, 8, 2);
    Picture picture = before, other = before;
    const Shear shear{1.0, 0.5, {0, 0, 8, 8}};
    EXPECT_FALSE(XShear(Of(picture), Of(picture), shear, 0, 0, TargetRows::Kept, true));
    EXPECT_FALSE(YShear(shear, 8, 8)(Of(other), Of(picture), 0, true));
    EXPECT_EQ(picture.Difference(before), "");
}

}  // namespace
}  // namespace kestrel::passes
