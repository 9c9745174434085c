// Filters that move tones by what they measure: white balance, tone levels, equalising, exposure by the luminance.
#include <gtest/gtest.h>

#include <cmath>

#include "kestrel/foundation/HelperThreads.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

Pixel One(const char* progId, const char* text, Pixel in) { return Apply(progId, text, Picture(1, 1, in)).At(0, 0); }

Pixel Grey(int tone) {
    const auto byte = static_cast<std::uint8_t>(tone);
    return {byte, byte, byte, 0};
}

Picture Ramp() {
    return Picture(256, 1, [](int x, int) { return Grey(x); });
}

// White balance

constexpr const char* kBalance = "TMFilter.WhiteBlackGrey.1";

TEST(WhiteBlackGrey, LinearSegmentsMeetAtTheGreyPoint) {
    const char* text = "RedG=100,GreenG=150,BlueG=200,Mode=0";
    EXPECT_EQ(One(kBalance, text, {200, 150, 100, 3}), (Pixel{150, 150, 150, 3}));
    EXPECT_EQ(One(kBalance, text, {100, 77, 200, 0}), (Pixel{75, 77, 218, 0}));
    EXPECT_EQ(One(kBalance, text, {0, 0, 0, 0}), (Pixel{0, 0, 0, 0}));
    EXPECT_EQ(One(kBalance, text, {255, 255, 255, 0}), (Pixel{255, 255, 255, 0}));
    EXPECT_EQ(One(kBalance, "RedG=100,GreenG=150,BlueG=200,Opacity=50", {100, 77, 200, 0}), (Pixel{87, 77, 209, 0}));
}

TEST(WhiteBlackGrey, CurvesCarryTheGreyPointToTheMiddle) {
    const char* text = "RedG=64,GreenG=128,BlueG=200,Mode=1";
    const Pixel p = One(kBalance, text, {200, 128, 64, 0});
    EXPECT_NEAR(p.blue, 128, 1);
    EXPECT_EQ(p.green, 128);
    EXPECT_NEAR(p.red, 128, 1);
    // A channel at 255 cannot be carried down by any power: all but white goes to black.
    EXPECT_EQ(One(kBalance, "RedG=64,GreenG=128,BlueG=255,Mode=1", {254, 200, 30, 0}), (Pixel{0, 200, 87, 0}));
    EXPECT_EQ(One(kBalance, "RedG=64,GreenG=128,BlueG=255,Mode=1", {255, 0, 255, 0}), (Pixel{255, 0, 255, 0}));
}

TEST(WhiteBlackGrey, NeutralSettingsAreTheIdentity) {
    const Picture picture = Picture::Random(50, 7, 1);
    for (const char* text : {"Mode=0", "RedG=128,GreenG=128,BlueG=128,Mode=1", "Mode=1", "RedG=9,Mode=4",
                             "RedG=9,Mode=-1", "RedG=9,Opacity=0", "RedG=9,Mode=3,Opacity=-5", "RedG=9,FilterOn=0"})
        EXPECT_EQ(Apply(kBalance, text, picture).Difference(picture), "") << text;
    // One pixel has nothing to give up: black and white stay where they are.
    EXPECT_EQ(One(kBalance, "Mode=2", {1, 100, 200, 4}), (Pixel{1, 100, 200, 4}));
}

TEST(WhiteBlackGrey, AFlatRegionIsHeldTenTonesApart) {
    // Both limits pass tone 100 and cross at 101 and 99; white then stands ten above 99.
    EXPECT_EQ(Apply(kBalance, "Mode=2", Picture(40, 10, Grey(100))).At(7, 7), Grey(25));
    // At 201 and 199 white is bright, and black stands ten below 201.
    EXPECT_EQ(Apply(kBalance, "Mode=2", Picture(40, 10, Grey(200))).At(7, 7), Grey(229));
    EXPECT_EQ(Apply(kBalance, "Mode=2", Picture(40, 10, Grey(0))).At(0, 0), Grey(0));
    EXPECT_EQ(Apply(kBalance, "Mode=2", Picture(40, 10, Grey(255))).At(0, 0), Grey(255));
    EXPECT_EQ(Apply(kBalance, "Mode=3", Picture(40, 10, Pixel{255, 100, 200, 255})).At(0, 0),
              (Pixel{255, 25, 229, 255}));
}

/// 1000 pixels: ten of `low`, ten of `high`, 980 of `middle` in each channel.
Picture ThreeTones(Pixel low, Pixel middle, Pixel high) {
    return Picture(100, 10, [=](int x, int y) { return y > 0 || x >= 20 ? middle : x < 10 ? low : high; });
}

TEST(WhiteBlackGrey, ContrastIsMeasuredInTheRegionThatIsAskedFor) {
    const Picture picture = ThreeTones({20, 30, 20, 0}, {125, 125, 125, 0}, {230, 200, 230, 0});
    // Each channel by itself: black one above its low tone, white one below its high one.
    const Pixel separate = Apply(kBalance, "Mode=3", picture).At(50, 5);
    EXPECT_EQ(separate, (Pixel{127, 142, 127, 0}));  // 104/208 and 94/168 of 255
    // In common, by the luminances 25 and 212.
    const Pixel common = Apply(kBalance, "Mode=2", picture).At(50, 5);
    EXPECT_EQ(common, Grey(136));  // 99/185 of 255

    for (const char* text : {"Mode=2", "Mode=3,RedG=100"}) {
        Line line(picture);
        line.Add(kBalance, text);
        EXPECT_EQ(line.Render(30, 2, 20, 5).Difference(Apply(kBalance, text, picture.Cut(30, 2, 20, 5))), "");
    }
}

TEST(WhiteBlackGrey, TheGreyPointIsMeantInTheStretchedTones) {
    // Limits 51 and 199: tone 125 is stretched to 127, 100 to 84. Red is then carried from 84 to the middle.
    const Picture picture = ThreeTones(Grey(50), Grey(125), Grey(200));
    const double k = 128.0 / 127;
    const double red = std::floor(84 * k + 0.5);
    const double exponent = std::log(128.0 / 255) / std::log(red / 255);
    const auto want = static_cast<int>(std::pow(74.0 / 148, exponent) * 255);
    const Pixel p = Apply(kBalance, "RedG=100,GreenG=125,BlueG=125,Mode=3", picture).At(50, 5);
    EXPECT_NEAR(p.red, want, 1);
    EXPECT_GT(p.red, 155);
    EXPECT_EQ(p.green, 127);
    Line line(picture);
    line.Add(kBalance, "RedG=100,GreenG=125,BlueG=125,Mode=3");
    line.Render();
    EXPECT_EQ(line.ActiveText(0), "RedG=100, GreenG=125, BlueG=125, Mode=3, Opacity=100, FilterOn=1");
    line.SetText(0, "RedG=7");
    EXPECT_EQ(line.PendingText(0), "RedG=007, GreenG=125, BlueG=125, Mode=0, Opacity=100, FilterOn=1")
        << "a text without a mode means mode 0";
}

// Tone levels

constexpr const char* kLevels = "TMFilter.Tonwert.1";

TEST(Tonwert, ByHand) {
    const Picture ramp = Ramp();
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0", ramp).Difference(ramp), "");
    const Picture narrow = Apply(kLevels, "AutoContrast=0,Lo=100,Hi=100", ramp);
    EXPECT_EQ(narrow.At(100, 0), Grey(0));
    EXPECT_EQ(narrow.At(101, 0), Grey(4));
    EXPECT_EQ(narrow.At(128, 0), Grey(129));
    EXPECT_EQ(narrow.At(155, 0), Grey(255));
    // Exponents 0.5 and 3: 64 becomes 127.75, 128 becomes 32.25, both rounded.
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,Med=100", ramp).At(64, 0), Grey(128));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,Med=-100", ramp).At(128, 0), Grey(32));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,Med=-900", ramp).At(128, 0), Grey(32));
}

TEST(Tonwert, AutomaticPointsComeFromTheHistogram) {
    const Picture picture = ThreeTones(Grey(50), Grey(125), Grey(200));
    const Picture stretched = Apply(kLevels, nullptr, picture);  // a fresh filter has AutoContrast on
    EXPECT_EQ(stretched.At(0, 0), Grey(0));
    EXPECT_EQ(stretched.At(10, 0), Grey(255));
    EXPECT_EQ(stretched.At(50, 5), Grey(127));  // 74 x 255 / 148, below 127.5
    // Points relative to the automatic ones are held within 0..125 and 130..255.
    EXPECT_EQ(Apply(kLevels, "Addlo=200", picture).At(50, 5), Grey(0));
    EXPECT_EQ(Apply(kLevels, "Addlo=-51,Addhi=-56", picture).At(50, 5), Grey(125));
    EXPECT_EQ(Apply(kLevels, "Addlo=-2147483648,Addhi=-2147483648", picture).At(50, 5), Grey(125));
    EXPECT_EQ(Apply(kLevels, "Addhi=100", picture).At(50, 5), Grey(238));  // 74 x 255 / (130 - 51)
}

TEST(Tonwert, ChannelsMayHaveTheirOwnPoints) {
    const Picture picture = ThreeTones({20, 30, 50, 1}, {125, 125, 125, 2}, {230, 200, 200, 3});
    EXPECT_EQ(Apply(kLevels, "AutoContrastRGB=1", picture).At(50, 5), (Pixel{127, 142, 127, 2}));
    EXPECT_EQ(Apply(kLevels, "AutoContrastRGB=1", picture).At(0, 0), (Pixel{0, 0, 0, 1}));
    // By the luminance all channels go one way: 34 and 203 are the limits.
    EXPECT_EQ(Apply(kLevels, "AutoContrastRGB=0", picture).At(50, 5), (Pixel{137, 137, 137, 2}));
}

TEST(Tonwert, TheMidtoneIsEstimatedFromTheMean) {
    Picture dark(20, 20, Grey(0));
    dark.Set(3, 3, Grey(64));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", dark).At(3, 3), Grey(128)) << "as far as Med=100 goes";
    Picture bright(20, 20, Grey(255));
    bright.Set(3, 3, Grey(128));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", bright).At(3, 3), Grey(32)) << "as far as Med=-100 goes";
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1,Addmed=100", bright).At(3, 3), Grey(128));
    // A mean of 100 asks for nothing; 65 for exponent 0.75, 150 for -40 and exponent 1.8.
    const Picture middle(20, 20, Grey(100));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", middle).Difference(middle), "");
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", Picture(9, 9, Grey(65))).At(1, 1), Grey(91));
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", Picture(9, 9, Grey(150))).At(1, 1), Grey(98));
    // White counts as 256: 199 black, 200 white and one grey have a mean of 127.8 and ask for -22, exponent 1.44.
    const Picture poles(20, 20, [](int x, int y) { return Grey(y < 10 ? (x + y == 0 ? 128 : 0) : 255); });
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,AutoTone=1", poles).At(0, 0), Grey(95));
    // What lies up to the black point counts as 1, from the white point on as 256.
    EXPECT_EQ(Apply(kLevels, "AutoContrast=0,Lo=100,AutoTone=1", middle).At(1, 1), Grey(0));
}

TEST(Tonwert, TheClipIsThatOfTheCallThatMeasured) {
    const Picture picture = ThreeTones(Grey(50), Grey(125), Grey(200));
    Line line(picture);
    line.Add(kLevels);
    line.Update();
    Picture part(5, 5);
    // 25 pixels give up none, so that nothing is stretched, and later windows follow.
    ASSERT_EQ(line.Request(part, 0, 0, 40, 3, 5, 5), S_OK);
    EXPECT_EQ(part.At(2, 2), Grey(125));
    Picture whole(100, 10);
    ASSERT_EQ(line.Request(whole, 0, 0, 0, 0, 100, 10), S_OK);
    EXPECT_EQ(whole.Difference(picture), "");
    EXPECT_EQ(line.source->requests, 1);
    // Measured anew by a whole request, windows are cuts of it.
    line.SetText(0, "Addmed=1");
    const Picture stretched = line.Render();
    EXPECT_EQ(stretched.At(0, 0), Grey(0));
    EXPECT_EQ(line.Render(20, 2, 30, 4).Difference(stretched.Cut(20, 2, 30, 4)), "");
    EXPECT_EQ(line.source->requests, 2);
}

// Equalising

constexpr const char* kEqualize = "TMFilter.Histo.1";

TEST(Histo, FlatRegionsGoToTheirEnd) {
    for (const char* text : {"Intensity=0", "Intensity=50", "Intensity=100"}) {
        EXPECT_EQ(Apply(kEqualize, text, Picture(9, 4, Grey(100))).At(2, 2), Grey(255)) << text;
        EXPECT_EQ(Apply(kEqualize, text, Picture(9, 4, Grey(0))).At(2, 2), Grey(0)) << text;
        EXPECT_EQ(Apply(kEqualize, text, Picture(1, 1, Grey(255))).At(0, 0), Grey(255)) << text;
    }
}

TEST(Histo, TonesAreSpreadByHowOftenTheyOccur) {
    // Tone 50 three times, tone 150 once.
    const Picture picture(4, 1, [](int x, int) { return Grey(x < 3 ? 50 : 150); });
    // Each tone counts 1 at intensity 0: 50 becomes half of white, and 2.55 in single precision is a little less.
    EXPECT_EQ(Apply(kEqualize, "Intensity=0", picture).At(0, 0), Grey(127));
    EXPECT_EQ(Apply(kEqualize, "Intensity=0", picture).At(3, 0), Grey(255));
    EXPECT_EQ(Apply(kEqualize, "Intensity=100", picture).At(0, 0), Grey(191));  // 3/4 of 255 = 191.25
    EXPECT_EQ(Apply(kEqualize, "Intensity=50", picture).At(0, 0), Grey(162));   // 1.732/2.732 of 255 = 161.67
}

TEST(Histo, SumsAreSinglePrecision) {
    // Two tones in equal numbers share 255 alike: whether the darker one is 127 or 128 lies in the last bits of the
    // sums.
    const auto half = [](int dark, int bright, int count, const char* text) {
        return Apply(kEqualize, text,
                     Picture(2 * count, 1, [=](int x, int) { return Grey(x < count ? dark : bright); }))
            .At(0, 0);
    };
    EXPECT_EQ(half(21, 69, 5, "Intensity=75"), Grey(128));
    EXPECT_EQ(half(120, 234, 2, "Intensity=50"), Grey(127));
    EXPECT_EQ(half(117, 191, 6, "Intensity=75"), Grey(127));
}

TEST(Histo, ChannelsKeepTheirRatio) {
    // Luminance (151 x 40 + 77 x 20) >> 8 = 29 is the only tone: all channels times 255/29.
    EXPECT_EQ(Apply(kEqualize, "Intensity=100", Picture(2, 2, Pixel{0, 40, 20, 8})).At(1, 1), (Pixel{0, 255, 176, 8}));
}

TEST(Histo, MeasuresTheRegionThatIsAskedFor) {
    const Picture picture = Picture::Random(30, 20, 4);
    Line line(picture);
    line.Add(kEqualize, "Intensity=70");
    EXPECT_EQ(line.Render(3, 5, 11, 7).Difference(Apply(kEqualize, "Intensity=70", picture.Cut(3, 5, 11, 7))), "");
    EXPECT_EQ(Apply(kEqualize, "Intensity=2147483647", Picture(2, 1, Grey(9))).At(0, 0), Grey(0))
        << "a sum beyond all numbers leaves no factor";
}

TEST(Histo, CountsTheSameWithAnyNumberOfThreads) {
    const Picture picture = Picture::Random(13, 203, 9);
    const Picture alone = Apply(kEqualize, "Intensity=80", picture);
    for (const int threads : {2, 3, 7}) {
        const HelperThreads help(threads);
        EXPECT_EQ(Apply(kEqualize, "Intensity=80", picture).Difference(alone), "") << threads;
    }
}

// Exposure by the luminance

constexpr const char* kOptimize = "TMFilter.Optimize.1";

TEST(Optimize, NeutralSlidersCostRoundingOnly) {
    const Picture picture = Picture::Random(64, 16, 7);
    const Picture result = Apply(kOptimize, "Slider1=000,Slider2=000,Slider3=000,Slider4=000", picture);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 64; ++x) {
            EXPECT_NEAR(result.At(x, y).blue, picture.At(x, y).blue, 3);
            EXPECT_NEAR(result.At(x, y).green, picture.At(x, y).green, 3);
            EXPECT_NEAR(result.At(x, y).red, picture.At(x, y).red, 3);
            EXPECT_EQ(result.At(x, y).mask, picture.At(x, y).mask);
        }
}

TEST(Optimize, HandlesMoveTheirTones) {
    struct Case {
        const char* text;
        int tone;
        int want;
    };
    // On greys the colour differences are a hair beside 0, so that a channel may lose one.
    const Case cases[] = {{"Slider3=100", 40, 90},  {"Slider3=-100", 40, 7},         {"Slider3=5", 40, 42},
                          {"Slider3=-5", 40, 39},   {"Slider2=100", 220, 200},       {"Slider2=-100", 220, 245},
                          {"Slider2=9", 220, 219},  {"Slider2=-7", 220, 221},        {"Slider3=100", 160, 160},
                          {"Slider1=100", 10, 133}, {"Slider1=-25", 128, 64},        {"Slider1=100", 0, 0},
                          {"Slider1=125", 1, 255},  {"Slider1=2147483647", 255, 255}};
    for (const Case& c : cases) {
        const Pixel p = One(kOptimize, c.text, Grey(c.tone));
        EXPECT_TRUE(p.green == c.want || p.green == c.want - 1) << c.text << " gives " << p;
        EXPECT_TRUE(p.red == c.want || p.red == c.want - 1) << c.text << " gives " << p;
    }
}

TEST(Optimize, SaturationComesLast) {
    const Pixel plain = One(kOptimize, "Slider4=0", {50, 100, 150, 0});
    EXPECT_EQ(plain, (Pixel{49, 99, 149, 0}));
    // Four fifths of -100 leave a fifth: (149 - 99) / 5 = 10 on either side of the lightness 99.
    EXPECT_EQ(One(kOptimize, "Slider4=-100", {50, 100, 150, 0}), (Pixel{89, 99, 109, 0}));
    EXPECT_EQ(One(kOptimize, "Slider4=100", {50, 100, 150, 0}), (Pixel{0, 98, 198, 0}));
    EXPECT_EQ(One(kOptimize, "Slider1=100,Slider4=50", {0, 0, 0, 0}), (Pixel{0, 0, 0, 0}));
}

}  // namespace
}  // namespace kestrel
