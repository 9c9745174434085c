// Per-pixel colour filters: bytes worked out by hand, and what must hold for every tone and every parameter.
#include <gtest/gtest.h>

#include <climits>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

struct Case {
    const char* progId;
    const char* text;
    Pixel in;
    Pixel out;
};

constexpr Pixel kWhite{255, 255, 255, 0};
constexpr Pixel kBlack{0, 0, 0, 0};

TEST(ColourFilters, BytesWorkedOutByHand) {
    const Case cases[] = {
        {"TMFilter.Sepia.1", "Sepia=100", kWhite, {200, 242, 255, 0}},
        {"TMFilter.Sepia.1", "Sepia=100", kBlack, {0, 0, 49, 0}},
        {"TMFilter.Sepia.1", "Sepia=050", kWhite, {227, 248, 255, 0}},
        {"TMFilter.Sepia.1", "Sepia=000", {1, 2, 3, 4}, {1, 2, 3, 4}},
        {"TMFilter.BlackWhiteness.1", "BlackWhiteNess=100", {10, 200, 30, 9}, {148, 148, 148, 9}},
        {"TMFilter.BlackWhiteness.1", "BlackWhiteNess=50", {10, 200, 30, 9}, {79, 174, 89, 9}},
        {"TMFilter.BlackWhiteness.1", nullptr, {10, 200, 30, 9}, {148, 148, 148, 9}},
        {"TMFilter.Transparency.1", "Transparency=100", {1, 2, 3, 0}, {1, 2, 3, 255}},
        {"TMFilter.Transparency.1", "Transparency=50", {1, 2, 3, 0}, {1, 2, 3, 128}},
        {"TMFilter.Transparency.1", "Transparency=50", {1, 2, 3, 100}, {1, 2, 3, 178}},
        {"TMFilter.Transparency.1", "Transparency=0", {1, 2, 3, 100}, {1, 2, 3, 100}},
        {"TMFilter.RGBColor.1", "Red=100,Green=-10,Blue=-100", {200, 100, 200, 7}, {0, 75, 255, 7}},
        {"TMFilter.RGBColor.1", "Red=1,Green=-1,Blue=0", {5, 100, 100, 7}, {5, 98, 102, 7}},
        {"TMFilter.Exposure2.1", "Red=100", {0, 0, 128, 0}, {0, 0, 202, 0}},
        {"TMFilter.Exposure2.1", "Red=100,Green=-100,Blue=33", {77, 77, 77, 0}, {77, 77, 77, 0}},
        // 100 x 2.55 is a little below 255 in doubles, and the table truncates.
        {"TMFilter.BrightnessContrast.1", "Brightness=100", kBlack, {254, 254, 254, 0}},
        {"TMFilter.BrightnessContrast.1", "Contrast=33", {100, 128, 200, 0}, {52, 128, 255, 0}},
        {"TMFilter.BrightnessContrast.1", "Saturation=-100", {0, 0, 255, 0}, {127, 127, 127, 0}},
        {"TMFilter.BrightnessContrast.1", "Saturation=101", {64, 64, 191, 0}, {0, 0, 255, 0}},
        {"TMFilter.BrightnessContrast.1", "Saturation=50", {90, 90, 90, 0}, {90, 90, 90, 0}},
        {"TMFilter.Exposure.1", "Green=-100", {0, 0, 255, 0}, {102, 102, 153, 0}},
        {"TMFilter.Exposure.1", "Red=150", {0, 1, 255, 0}, kWhite},
        {"TMFilter.Exposure.1", "Green=1", {3, 60, 200, 0}, {3, 60, 200, 0}},
        {"TMFilter.InvertMask.1", "Transparency=000", {1, 2, 3, 0}, {1, 2, 3, 0}},
        {"TMFilter.InvertMask.1", "Transparency=100", {1, 2, 3, 0}, {1, 2, 3, 255}},
        {"TMFilter.InvertMask.1", "Red=9,Green=8,Blue=7,Transparency=100", {1, 2, 3, 255}, {7, 8, 9, 0}},
        {"TMFilter.InvertMask.1", "Transparency=50", {100, 100, 100, 51}, {131, 131, 131, 127}},
        {"TMFilter.DuoColor.1", "Intensity=0", {11, 22, 33, 4}, {11, 22, 33, 4}},
        {"TMFilter.DuoColor.1", "ColorRed=255,Red2=0,Green2=0,Blue2=255", kBlack, {0, 0, 255, 0}},
        {"TMFilter.AdoptColor.1", "ColorRed=255", {128, 128, 128, 5}, {0, 0, 255, 5}},
        {"TMFilter.AdoptColor.1", "ColorRed=255,Intensity=0", {10, 20, 30, 5}, {10, 20, 30, 5}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Apply(c.progId, c.text, Picture(1, 1, c.in)).At(0, 0), c.out) << c.progId << " " << c.text;
}

/// All tones as greys, then saturated ramps, with every mask byte.
Picture AllTones() {
    return Picture(256, 4, [](int x, int y) {
        const auto tone = static_cast<std::uint8_t>(x);
        const std::uint8_t other = 40;
        switch (y) {
            case 0:
                return Pixel{tone, tone, tone, tone};
            case 1:
                return Pixel{tone, other, other, 0};
            case 2:
                return Pixel{other, tone, other, 1};
            default:
                return Pixel{other, other, tone, 254};
        }
    });
}

TEST(ColourFilters, NeutralTextsChangeNothing) {
    const Picture picture = AllTones();
    for (const auto& [progId, text] : std::vector<std::pair<const char*, const char*>>{
             {"TMFilter.Invert.1", "Inversity=000"},
             {"TMFilter.Sepia.1", "Sepia=000"},
             {"TMFilter.BlackWhiteness.1", "BlackWhiteNess=000"},
             {"TMFilter.Transparency.1", "Transparency=000"},
             {"TMFilter.RGBColor.1", "Red=000,Green=000,Blue=000"},
             {"TMFilter.Exposure.1", "Red=000,Green=000,Blue=000"},
             {"TMFilter.Exposure2.1", "Red=000,Green=000,Blue=000"},
             {"TMFilter.BrightnessContrast.1", "Brightness=000,Contrast=000,Saturation=000"},
             {"TMFilter.AdoptColor.1", "Intensity=000"},
             {"TMFilter.DuoColor.1", "Intensity=000"}})
        EXPECT_EQ(Apply(progId, text, picture).Difference(picture), "") << progId;
}

TEST(ColourFilters, ASingleColourIsAPixelOfThatColour) {
    // RGBColor and AdoptColor answer for a single colour in their own ways and stand apart.
    const Picture picture = Picture::Random(64, 3, 5);
    for (const auto& [progId, text] : std::vector<std::pair<const char*, const char*>>{
             {"TMFilter.Invert.1", "Inversity=37"},
             {"TMFilter.Sepia.1", "Sepia=71"},
             {"TMFilter.BlackWhiteness.1", "BlackWhiteNess=43"},
             {"TMFilter.Transparency.1", "Transparency=29"},
             {"TMFilter.BrightnessContrast.1", "Brightness=10,Contrast=20,Saturation=30"},
             {"TMFilter.DuoColor.1", "ColorRed=80,ColorBlue=40,Green2=90,Intensity=66"},
             {"TMFilter.InvertMask.1", "Red=12,Green=200,Blue=90,Transparency=41"}}) {
        Line line(picture);
        line.Add(progId, text);
        const Picture result = line.Render();
        for (int x = 0; x < picture.Width(); ++x)
            ASSERT_EQ(line.Color(picture.At(x, 1)), result.At(x, 1)) << progId << " at " << picture.At(x, 1);
    }
}

TEST(ColourFilters, PreviewedColoursFollowThePendingValues) {
    Line line(Picture(1, 1));
    line.Add("TMFilter.RGBColor.1", "Red=10");
    line.Render();
    line.SetText(0, "Red=20");
    EXPECT_EQ(line.Color({0, 0, 100, 0}), (Pixel{0, 0, 151, 0}));
    EXPECT_EQ(line.ActiveText(0), "Red=010, Green=000, Blue=000");

    Line adopt(Picture(1, 1));
    adopt.Add("TMFilter.AdoptColor.1", "ColorRed=200,ColorGreen=100,ColorBlue=50,Intensity=25");
    EXPECT_EQ(adopt.Color({100, 100, 100, 7}), (Pixel{87, 100, 125, 7}));
}

TEST(ColourFilters, AdoptColorLandsTheMeanOnTheColourAndTheExtremesInRange) {
    const Picture blackAndWhite(2, 1, [](int x, int) { return x == 0 ? kBlack : kWhite; });
    // Mean 0.5. A dark red pulls it down to 0.25: black stays at 0 and white lands on the pure colour.
    const Picture dark = Apply("TMFilter.AdoptColor.1", "ColorRed=127,ColorGreen=0,ColorBlue=0", blackAndWhite);
    EXPECT_EQ(dark.At(0, 0), kBlack);
    EXPECT_EQ(dark.At(1, 0).green, 0);
    EXPECT_GE(dark.At(1, 0).red, 253);
    // The transparent half has no say in the mean, yet its lightness bounds the scale.
    const Picture masked(2, 1, [](int x, int) { return x == 0 ? Pixel{0, 0, 0, 255} : Pixel{128, 128, 128, 0}; });
    EXPECT_EQ(Apply("TMFilter.AdoptColor.1", "ColorRed=255", masked).At(1, 0), (Pixel{0, 0, 255, 0}));
}

TEST(ColourFilters, InvertMaskTakesTheWholeFrame) {
    Line line(Picture(4, 3, Pixel{1, 2, 3, 0}));
    line.source->geometry.FullWidth = 8;
    line.source->geometry.OffsetX = 2;
    line.Add("TMFilter.InvertMask.1", "Transparency=100");
    EXPECT_EQ(line.Render().At(3, 2), (Pixel{1, 2, 3, 255}));
    line.Render();
    EXPECT_EQ(line.source->requests, 2) << "an offset makes each update a change";
}

TEST(ColourFilters, TextsKeepEveryPercentage) {
    for (const char* key : {"Sepia", "Transparency"}) {
        Line line(Picture(1, 1));
        line.Add((std::string("TMFilter.") + key + ".1").c_str());
        for (int percent = 0; percent <= 100; ++percent) {
            const std::string text = std::string(key) + "=" + std::to_string(percent);
            line.SetText(0, text.c_str());
            EXPECT_EQ(std::stoi(line.PendingText(0).substr(std::string(key).size() + 1)), percent);
        }
        line.SetText(0, "nothing to read");
        EXPECT_EQ(line.PendingText(0), std::string(key) + "=000");
        EXPECT_FALSE(line.Filter(0).HasChanged());
    }
}

TEST(ColourFilters, StoredForms) {
    const std::pair<const char*, const char*> forms[] = {
        {"TMFilter.Invert.1", "Inversity=000"},
        {"TMFilter.RGBColor.1", "Red=000, Green=000, Blue=000"},
        {"TMFilter.BrightnessContrast.1", "Brightness=000, Contrast=000, Saturation=000"},
        {"TMFilter.AdoptColor.1", "Intensity=100, ColorRed=000, ColorGreen=000, ColorBlue=000"},
        {"TMFilter.DuoColor.1",
         "Intensity=100, ColorRed=000, ColorGreen=000, ColorBlue=000, Red2=255, Green2=255, Blue2=255"},
        {"TMFilter.InvertMask.1", "Blue=255 , Green=255, Red=255, Transparency=000"}};
    for (const auto& [progId, text] : forms) {
        Line line(Picture(1, 1));
        line.Add(progId);
        EXPECT_EQ(line.PendingText(0), text);
        EXPECT_TRUE(line.Filter(0).HasChanged()) << progId;
    }
    Line line(Picture(1, 1));
    line.Add("TMFilter.RGBColor.1", "Red=-5,Green=1234");
    EXPECT_EQ(line.PendingText(0), "Red=-005, Green=1234, Blue=000");
}

}  // namespace
}  // namespace kestrel
