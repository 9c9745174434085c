// Sharpen, Blur, FindEdges and Emboss: bytes by hand, a convolution in exact fractions, texts, windows and aborts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

struct Family {
    const char* progId;
    const char* key;
    int weights[9];
    int divisor;
};

const Family kFamily[] = {
    {"TMFilter.Sharpen.1", "Sharpness=", {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1},
    {"TMFilter.Blur.1", "Blurness=", {4, 4, 4, 4, 5, 4, 4, 4, 4}, 37},
    {"TMFilter.FindEdges.1", "EdgeEnhance=", {1, 1, 1, 1, -8, 1, 1, 1, 1}, 1},
    {"TMFilter.Emboss.1", "EmbossStrength=", {2, 0, 0, 0, 0, 0, 0, 0, -2}, 1},
};

Picture Convolved(const Family& family, int strength, const Picture& picture) {
    return Apply(family.progId, (family.key + std::to_string(strength)).c_str(), picture);
}

/// The sum of a byte's neighbours as a numerator over 100 * divisor, in whole numbers: a neighbour that is not there
/// stands for the centre.
int Numerator(const Family& family, int strength, const Picture& picture, int x, int y, std::uint8_t Pixel::*channel) {
    const int centre = picture.At(x, y).*channel;
    int sum = (100 - strength) * family.divisor * centre;
    for (int k = 0; k < 9; ++k) {
        const int nx = x + k % 3 - 1;
        const int ny = y + k / 3 - 1;
        const bool there =
            nx >= 0 && ny >= 0 && nx < picture.Width() && ny < picture.Height() && picture.At(nx, ny).mask != 255;
        sum += strength * family.weights[k] * (there ? picture.At(nx, ny).*channel : centre);
    }
    return sum;
}

TEST(ConvolutionFilters, EqualAConvolutionInWholeNumbers) {
    for (const Family& family : kFamily)
        for (const int strength : {1, 12, 25, 50, 73, 99, 100, 160, 255})
            for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {1, 5}, {3, 3}, {31, 7}}) {
                const Picture picture = Picture::Random(width, height, static_cast<unsigned>(strength + width));
                const Picture out = Convolved(family, strength, picture);
                const int unit = 100 * family.divisor;
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        ASSERT_EQ(out.At(x, y).mask, picture.At(x, y).mask);
                        for (const auto channel : {&Pixel::blue, &Pixel::green, &Pixel::red}) {
                            const int sum = Numerator(family, strength, picture, x, y, channel);
                            const int want = std::clamp(sum / unit, 0, 255);
                            const int got = out.At(x, y).*channel;
                            // A sum that is a whole number may come out a hair below it and lose the unit.
                            const bool mayLose = sum > 0 && sum % unit == 0 && sum <= 255 * unit;
                            ASSERT_TRUE(got == want || (mayLose && got == want - 1))
                                << family.key << strength << " at " << x << ", " << y << ": " << got << " for " << sum
                                << " / " << unit;
                        }
                    }
            }
}

TEST(ConvolutionFilters, StrengthNothingIsTheIdentity) {
    const Picture picture = Picture::Random(20, 9, 5);
    for (const Family& family : kFamily) {
        EXPECT_EQ(Convolved(family, 0, picture).Difference(picture), "") << family.key;
        EXPECT_EQ(Apply(family.progId, nullptr, picture).Difference(picture), "") << family.key;
        EXPECT_EQ(Apply(family.progId, "nothing of mine", picture).Difference(picture), "") << family.key;
    }
}

TEST(ConvolutionFilters, FlatRegionsUpToTheEdge) {
    // Strengths whose weights are whole numbers or binary fractions, so that no unit is lost.
    const Picture flat(6, 5, Pixel{37, 200, 255, 3});
    EXPECT_EQ(Convolved(kFamily[0], 100, flat).Difference(flat), "");
    EXPECT_EQ(Convolved(kFamily[0], 50, flat).Difference(flat), "");
    const Picture black(6, 5, Pixel{0, 0, 0, 3});
    EXPECT_EQ(Convolved(kFamily[2], 100, flat).Difference(black), "");
    EXPECT_EQ(Convolved(kFamily[3], 100, flat).Difference(black), "");  // not to mid-grey
}

TEST(ConvolutionFilters, BlurSpreadsASinglePixel) {
    Picture picture(5, 5);
    picture.Set(2, 2, {37, 74, 250, 0});
    const Picture out = Convolved(kFamily[1], 100, picture);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) {
            const bool centre = x == 2 && y == 2;
            const bool near = x >= 1 && x <= 3 && y >= 1 && y <= 3;
            const Pixel got = out.At(x, y);
            EXPECT_EQ(int{got.red}, centre ? 33 : near ? 27 : 0);  // 250 * 5 / 37 and 250 * 4 / 37
        }
    Picture corner(2, 2);
    corner.Set(0, 0, {0, 0, 250, 0});
    EXPECT_EQ(int{Convolved(kFamily[1], 100, corner).At(0, 0).red}, 168);  // 250 * 25 / 37
    EXPECT_EQ(int{Convolved(kFamily[1], 100, corner).At(1, 1).red}, 27);
}

TEST(ConvolutionFilters, EmbossIsBrightWhereTheLowerLeftIs) {
    // The kernel's first row meets the lower row of the picture.
    Picture picture(3, 3);
    picture.Set(0, 0, {50, 50, 50, 0});
    EXPECT_EQ(Convolved(kFamily[3], 100, picture).At(1, 1), (Pixel{100, 100, 100, 0}));
    picture.Set(2, 2, {20, 60, 0, 0});
    EXPECT_EQ(Convolved(kFamily[3], 100, picture).At(1, 1), (Pixel{60, 0, 100, 0}));
}

TEST(ConvolutionFilters, BlurFollowsTheRenderScaleAtVersion2Only) {
    const Picture picture = Picture::Random(12, 12, 4);
    const auto atScale = [&](const char* text, double scale) {
        Line line(picture);
        line.Add("TMFilter.Blur.1", text);
        Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(scale);
        return line.Render();
    };
    const Picture half = atScale("Blurness=050", 0.5);
    EXPECT_EQ(half.Difference(Convolved(kFamily[1], 50, picture)), "");
    EXPECT_EQ(atScale("Blurness=050,Version=3", 0.5).Difference(half), "");
    EXPECT_EQ(atScale("Blurness=050,Version=2", 1.0).Difference(half), "");
    EXPECT_EQ(atScale("Blurness=048,Version=2", 0.5).Difference(Convolved(kFamily[1], 12, picture)), "");
    EXPECT_EQ(atScale("Blurness=100,Version=2", 1e-9).Difference(picture), "");
    atScale("Blurness=1,Version=2", 1e200);
}

TEST(ConvolutionFilters, Texts) {
    const struct {
        const char* progId;
        const char* text;
        const char* pending;
        const char* active;  // before the first update
    } cases[] = {
        {"TMFilter.Sharpen.1", nullptr, "Sharpness=000,ExtraParam=|SHARP|", "Sharpness=255,ExtraParam=|SHARP|"},
        {"TMFilter.Sharpen.1", "Sharpness=300", "Sharpness=044,ExtraParam=|SHARP|", "Sharpness=255,ExtraParam=|SHARP|"},
        {"TMFilter.Sharpen.1", "Version=2,Sharpness= 7", "Sharpness=007,ExtraParam=|SHARP|,Version=2",
         "Sharpness=007,ExtraParam=|SHARP|,Version=2"},
        {"TMFilter.Sharpen.1", "Sharpness=-1,Version=x", "Sharpness=255,ExtraParam=|SHARP|",
         "Sharpness=255,ExtraParam=|SHARP|"},
        {"TMFilter.Blur.1", "Blurness=40,Version=1", "Blurness=040", "Blurness=255"},
        {"TMFilter.Blur.1", "Blurness=40,Version=258", "Blurness=040,Version=2", "Blurness=040,Version=2"},
        {"TMFilter.Blur.1", "Blurness=,Version=0", "Blurness=000", "Blurness=255"},
        {"TMFilter.FindEdges.1", "EdgeEnhance=12,Version=2", "EdgeEnhance=012", "EdgeEnhance=255"},
        {"TMFilter.Emboss.1", "EmbossStrength=99999999999", "EmbossStrength=255", "EmbossStrength=255"},
    };
    for (const auto& c : cases) {
        Line line(Picture(1, 1));
        line.Add(c.progId, c.text);
        EXPECT_EQ(line.PendingText(0), c.pending);
        EXPECT_EQ(line.ActiveText(0), c.active);
        line.Update();
        EXPECT_EQ(line.ActiveText(0), c.pending);
        line.SetText(0, "");  // a text without the key resets strength and version
        EXPECT_EQ(line.PendingText(0), Line(Picture(1, 1)).Add(c.progId).PendingText(0));
    }
}

TEST(ConvolutionFilters, AVersionAloneIsNoChange) {
    Line line(Picture::Random(4, 4, 1));
    line.Add("TMFilter.Blur.1", "Blurness=050");
    line.Render();
    line.SetText(0, "Blurness=050,Version=2");
    EXPECT_FALSE(line.Update());
    line.SetText(0, "Blurness=051,Version=2");
    EXPECT_TRUE(line.Update());
}

TEST(ConvolutionFilters, TheColourPathLeavesColoursAlone) {
    for (const Family& family : kFamily) {
        Line line(Picture(1, 1));
        line.Add(family.progId, (std::string(family.key) + "100").c_str());
        line.Update();
        EXPECT_EQ(line.Color({1, 2, 3, 4}), (Pixel{1, 2, 3, 4}));
    }
}

}  // namespace
}  // namespace kestrel
