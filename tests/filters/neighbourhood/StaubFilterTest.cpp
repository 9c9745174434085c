// Dust removal: specks of every size around the limit, a count one by one, texts, windows and aborts.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kStaub = "TMFilter.Staub.1";

int Sum(Pixel p) { return p.blue + p.green + p.red; }

/// What becomes of one pixel, counted over the whole picture.
Pixel Repaired(const Picture& picture, int x, int y, int maxRegion, int tolerance) {
    if (x == 0 || y == 0 || x == picture.Width() - 1 || y == picture.Height() - 1) return picture.At(x, y);
    int count = 0;
    int blue = 0, green = 0, red = 0;
    for (int row = 0; row < picture.Height(); ++row)
        for (int column = 0; column < picture.Width(); ++column) {
            const Pixel p = picture.At(column, row);
            const int away = std::max(std::abs(row - y), std::abs(column - x));
            if (away <= 5 && std::abs(Sum(p) - Sum(picture.At(x, y))) < tolerance) ++count;
            if (away > 1) continue;
            blue += p.blue;
            green += p.green;
            red += p.red;
        }
    Pixel p = picture.At(x, y);
    if (count > maxRegion) return p;
    return {static_cast<std::uint8_t>(blue / 9), static_cast<std::uint8_t>(green / 9),
            static_cast<std::uint8_t>(red / 9), p.mask};
}

TEST(StaubFilter, EqualsACountOverThePicture) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 9}, {9, 2}, {3, 3}, {4, 30}, {37, 25}})
        for (const auto& [maxRegion, tolerance] : {std::pair{5, 45}, {15, 90}, {2, 15}, {30, 200}, {0, 45}, {3, 0}}) {
            const Picture picture = Picture::Random(width, height, static_cast<unsigned>(width + tolerance));
            const std::string text =
                "MaxRgnSize=" + std::to_string(maxRegion) + ",GrayTolerance=" + std::to_string(tolerance);
            const Picture want(width, height, [&, most = maxRegion, apart = tolerance](int x, int y) {
                return Repaired(picture, x, y, most, apart);
            });
            EXPECT_EQ(Apply(kStaub, text.c_str(), picture).Difference(want), "") << text;
        }
}

TEST(StaubFilter, ASpeckOfNPixels) {
    const Pixel paper{0, 0, 0, 40};
    const Pixel ink{255, 255, 255, 80};
    for (int n = 1; n <= 9; ++n) {
        Picture picture(20, 20, paper);
        for (int i = 0; i < n; ++i) picture.Set(8 + i % 3, 8 + i / 3, ink);
        const Picture out = Apply(kStaub, "MaxRgnSize=005", picture);
        EXPECT_EQ(out.At(8, 8) == ink, n > 5) << n << " pixels";
        EXPECT_EQ(out.At(8, 8).mask, ink.mask);
        EXPECT_EQ(out == picture, n > 5) << n << " pixels";
    }
    Picture single(9, 9, Pixel{30, 0, 9, 0});
    single.Set(4, 4, {255, 255, 255, 7});
    EXPECT_EQ(Apply(kStaub, nullptr, single).At(4, 4), (Pixel{55, 28, 36, 7}));  // (8 * paper + 255) / 9
    EXPECT_EQ(Apply(kStaub, nullptr, single).At(3, 4), (Pixel{30, 0, 9, 0}));
}

TEST(StaubFilter, ADifferenceOfTheToleranceIsNoMatch) {
    Picture picture(11, 11, Pixel{100, 100, 100, 0});
    picture.Set(5, 5, {145, 100, 100, 0});
    EXPECT_EQ(Apply(kStaub, "GrayTolerance=45", picture).At(5, 5), (Pixel{105, 100, 100, 0}));
    EXPECT_EQ(Apply(kStaub, "GrayTolerance=46", picture).Difference(picture), "");
    picture.Set(5, 5, {55, 100, 100, 0});
    EXPECT_EQ(Apply(kStaub, "GrayTolerance=45", picture).At(5, 5), (Pixel{95, 100, 100, 0}));
    EXPECT_EQ(Apply(kStaub, "GrayTolerance=46", picture).Difference(picture), "");
}

TEST(StaubFilter, FlatPicturesAndOnesWithoutAnInsideStay) {
    const Picture flat(14, 12, Pixel{1, 2, 3, 4});
    EXPECT_EQ(Apply(kStaub, nullptr, flat).Difference(flat), "");
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 20}, {20, 2}, {1, 20}}) {
        const Picture thin = Picture::Random(width, height, 3);
        EXPECT_EQ(Apply(kStaub, "MaxRgnSize=015,GrayTolerance=1", thin).Difference(thin), "");
    }
}

TEST(StaubFilter, Texts) {
    Line line(Picture(1, 1));
    line.Add(kStaub);
    EXPECT_EQ(line.PendingText(0), "MaxRgnSize=005, GrayTolerance=045");
    EXPECT_EQ(line.ActiveText(0), "MaxRgnSize=-001, GrayTolerance=-001");
    line.SetText(0, "GrayTolerance=90,MaxRgnSize=x");
    EXPECT_EQ(line.PendingText(0), "MaxRgnSize=005, GrayTolerance=090");
    line.SetText(0, "MaxRgnSize=-7");
    line.Update();
    EXPECT_EQ(line.ActiveText(0), "MaxRgnSize=-007, GrayTolerance=090");
    char buffer[64];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(Ref<IFilterParameters>::Query(&line.Filter(0))->GetParameterText(buffer, 50), S_OK);
    EXPECT_EQ(buffer[0], '#');
}

}  // namespace
}  // namespace kestrel
