// Filters by colour range: saturation, hue and brightness, balance by curves; and the channel mixer.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kTuning = "TMFilter.ColorTuning.1";
constexpr const char* kHsb = "TMFilter.HSB.1";
constexpr const char* kGamma = "TMFilter.Gamma.1";
constexpr const char* kMixer = "TMFilter.RgbMixer.1";

struct Case {
    const char* progId;
    const char* text;
    Pixel in;
    Pixel out;
};

TEST(HueFilters, BytesWorkedOutByHand) {
    const Case cases[] = {
        {kTuning, "SatR=-100", {0, 0, 255, 6}, {127, 127, 127, 6}},
        {kTuning, "SatR=-100", {0, 128, 255, 0}, {63, 127, 191, 0}},  // hue 30 belongs half to red
        {kTuning, "SatR=-100,SatY=-100", {0, 128, 255, 0}, {127, 127, 127, 0}},
        {kTuning, "SatG=-100", {0, 128, 255, 0}, {0, 128, 255, 0}},
        {kTuning, "SatR=100", {100, 100, 110, 0}, {0, 0, 210, 0}},  // any colour saturates fully
        {kTuning, "SatR=100", {100, 100, 100, 0}, {100, 100, 100, 0}},
        {kTuning, "SatB=-100", {255, 0, 0, 0}, {127, 127, 127, 0}},
        {kTuning, "SatM=-100", {255, 0, 255, 0}, {127, 127, 127, 0}},
        {kTuning, "SatC=-100", {255, 255, 0, 0}, {127, 127, 127, 0}},
        {kTuning, "SatR=-2147483648,SatY=2147483647", {0, 0, 255, 0}, {127, 127, 127, 0}},
        {kHsb, "Hue=120", {0, 0, 255, 0}, {0, 255, 0, 0}},
        {kHsb, "Hue=-120", {0, 0, 255, 0}, {255, 0, 0, 0}},
        {kHsb, "Hue=0,Sat=0,Bright=0,HueR=60", {0, 0, 255, 0}, {0, 255, 255, 0}},
        {kHsb, "Hue=180,HueR=180", {0, 0, 255, 0}, {0, 0, 255, 0}},  // a whole turn
        {kHsb, "Hue=0,HueG=-60,HueY=40", {0, 255, 0, 0}, {0, 255, 255, 0}},
        {kHsb, "Hue=0,Sat=100", {100, 100, 100, 0}, {100, 100, 100, 0}},
        {kHsb, "Hue=0,Sat=-100", {0, 0, 255, 0}, {127, 127, 127, 0}},
        {kHsb, "Hue=0,Sat=0,Bright=50", {100, 100, 100, 9}, {227, 227, 227, 9}},
        {kHsb, "Hue=0,Sat=0,Bright=-50", {100, 100, 100, 9}, {0, 0, 0, 9}},
        {kHsb, "Hue=0,Sat=0,Bright=0,BrightR=25", {100, 100, 100, 0}, {100, 100, 100, 0}},
        {kHsb, "Hue=0,Sat=0,Bright=100", {10, 0, 0, 0}, {255, 255, 255, 0}},
        {kHsb, "Hue=2147483647,Sat=0,Bright=0,HueR=2147483647", {0, 0, 255, 0}, {255, 0, 59, 0}},  // 254 degrees
        // Exponent 0.401, brought to 0.519 because red alone brightens the middle: 200 goes to 224, 255/256 of that.
        {kGamma, "S21=100", {0, 0, 200, 5}, {0, 0, 223, 5}},
        {kGamma, "S22=100", {0, 0, 200, 5}, {0, 0, 200, 5}},
        {kGamma, "S21=100", {200, 200, 200, 0}, {200, 200, 200, 0}},
        {kGamma, "S11=31,S21=100", {0, 4, 239, 0}, {0, 4, 239, 0}},
        {kGamma, "S10=45,S20=100", {100, 127, 127, 0}, {100, 127, 127, 0}},   // highlights begin at 128
        {kGamma, "S10=-45,S20=100", {127, 200, 127, 0}, {127, 200, 127, 0}},  // shadows end before 127
        {kGamma, "S50=100", {64, 128, 255, 0}, {146, 193, 255, 0}},
        {kGamma, "S50=100", {0, 64, 128, 0}, {0, 146, 193, 0}},
        {kGamma, "Red=0,Green=0,Blue=0,S50=-2147483648", {1, 254, 255, 0}, {0, 0, 255, 0}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Apply(c.progId, c.text, Picture(1, 1, c.in)).At(0, 0), c.out) << c.progId << " " << c.text;
}

TEST(HueFilters, NeutralTextsCostTruncationOnly) {
    const Picture picture = Picture::Random(80, 20, 3);
    for (const char* progId : {kTuning, kHsb}) {
        const Picture result = Apply(progId, nullptr, picture);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 80; ++x) {
                const Pixel in = picture.At(x, y);
                const Pixel out = result.At(x, y);
                EXPECT_TRUE(in.blue - out.blue <= 1 && in.green - out.green <= 1 && in.red - out.red <= 1) << in;
                EXPECT_TRUE(in.blue >= out.blue && in.green >= out.green && in.red >= out.red) << in;
            }
    }
    EXPECT_EQ(Apply(kGamma, nullptr, picture).Difference(picture), "");
    EXPECT_EQ(Apply(kMixer, nullptr, picture).Difference(picture), "");
}

TEST(HueFilters, ASingleColourIsAPixelOfThatColour) {
    const Picture picture = Picture::Random(64, 2, 8);
    for (const auto& [progId, text] : {std::pair{kTuning, "SatR=40,SatY=-30,SatB=90"},
                                       std::pair{kHsb, "Hue=20,Sat=30,Bright=-10,HueC=-70,SatM=-50,BrightG=40"}}) {
        Line line(picture);
        line.Add(progId, text);
        EXPECT_EQ(line.Color({1, 2, 3, 4}).mask, 4);  // before the first update too
        const Picture result = line.Render();
        for (int x = 0; x < 64; ++x) ASSERT_EQ(line.Color(picture.At(x, 1)), result.At(x, 1)) << progId;
    }
}

TEST(HueFilters, Texts) {
    Line line(Picture(1, 1));
    line.Add(kHsb, "Hue=-5,SatR=7,BrightM=-100").Add(kTuning, "SatC=12");
    EXPECT_EQ(line.PendingText(0),
              "Hue=-005, Sat=000, Bright=000,HueR=000, SatR=007, BrightR=000,HueY=000, SatY=000, BrightY=000,HueG=000, "
              "SatG=000, BrightG=000,HueC=000, SatC=000, BrightC=000,HueB=000, SatB=000, BrightB=000,HueM=000, "
              "SatM=000, BrightM=-100");
    EXPECT_EQ(line.PendingText(1), "SatR=000,SatY=000,SatG=000,SatC=012,SatB=000,SatM=000");
    EXPECT_EQ(line.ActiveText(1), "SatR=-001,SatY=-001,SatG=-001,SatC=-001,SatB=-001,SatM=-001");
}

// Balance

TEST(Gamma, OlderKeysAreTheSlidersOfAllColours) {
    Line line(Picture(1, 1));
    line.Add(kGamma, "Red=30, Green=-20, Blue=10").Add(kGamma, "S20=30,S30=-20,S40=10");
    line.Add(kGamma, "Red=30,S20=5,Blue=7").Add(kGamma, "S20=5,S40=7");
    EXPECT_EQ(line.PendingText(0), line.PendingText(1));
    EXPECT_EQ(line.PendingText(2), line.PendingText(3));
    EXPECT_NE(line.PendingText(0), line.PendingText(2));
}

TEST(Gamma, OlderTextsOfThreeKeysAreMeantForAllColours) {
    Line line(Picture(1, 1));
    line.Add(kGamma, "Red=10,Green=0,Blue=-3");
    EXPECT_EQ(line.PendingText(0).substr(0, 41), "S10=000,S20=010,S30=000,S40=-003,S50=000,");
    line.SetText(0, "S20=5,Red=99");
    EXPECT_EQ(line.PendingText(0).substr(8, 7), "S20=005") << "the newer key is read last";
}

TEST(Gamma, RangesWorkOneAfterTheOther) {
    const Picture picture = Picture::Random(90, 30, 12);
    const std::vector<std::string> ranges = {
        "S10=-10,S20=20,S30=-30,S40=15,S50=10", "S11=10,S21=60,S31=-20,S41=-40,S51=5",
        "S12=-20,S22=80,S32=10,S52=-9",         "S13=45,S23=-90,S33=30,S43=60",
        "S14=5,S24=-70,S34=50,S44=90,S54=30",   "S15=-45,S25=100,S35=100,S45=-100",
        "S16=0,S26=-33,S36=44,S46=-55,S56=66"};
    std::string all;
    Line chain(picture);
    Picture previous = picture;
    for (const std::string& range : ranges) {
        const Picture alone = Apply(kGamma, range.c_str(), previous);
        EXPECT_NE(alone.Difference(previous), "") << range << " changes nothing";
        previous = alone;
        chain.Add(kGamma, range.c_str());
        all += range + ",";
    }
    EXPECT_EQ(Apply(kGamma, all.c_str(), picture).Difference(previous), "");
    EXPECT_EQ(chain.Render().Difference(previous), "");
}

TEST(Gamma, ARangeKeepsToItsHues) {
    // Pure hues, ten degrees apart, through the blue range: within 30 degrees of 240 they change.
    for (int sextant = 0; sextant < 6; ++sextant)
        for (int step = 0; step < 6; ++step) {
            const auto up = static_cast<std::uint8_t>(20 + step * 30);
            const auto down = static_cast<std::uint8_t>(200 - step * 30);
            const Pixel hues[] = {{20, up, 200, 0},   {20, 200, down, 0}, {up, 200, 20, 0},
                                  {200, down, 20, 0}, {200, 20, up, 0},   {down, 20, 200, 0}};
            const Pixel p = hues[sextant];
            const int degrees = sextant * 60 + step * 10;
            const bool inside = std::abs(degrees - 240) < 30;
            const Pixel out = Apply(kGamma, "S15=0,S25=100,S35=100,S45=-50", Picture(1, 1, p)).At(0, 0);
            EXPECT_EQ(out != p, inside) << degrees;
            // Moved by 45 degrees the range lies around 285.
            const Pixel moved = Apply(kGamma, "S15=45,S25=100,S35=100,S45=-50", Picture(1, 1, p)).At(0, 0);
            EXPECT_EQ(moved != p, std::abs(degrees - 285) < 30) << degrees;
        }
}

TEST(Gamma, TablesAreMadeWhenACurveChanges) {
    const Picture picture(2, 2, Pixel{30, 60, 200, 0});
    // A range whose curves equal the values before the first commit, -1, is taken as unchanged and has no tables.
    Line line(picture);
    line.Add(kGamma, "S11=5,S21=-1,S31=-1,S41=-1,S51=-50");
    EXPECT_NE(line.Render().Difference(picture), "");
    Line same(picture);
    same.Add(kGamma, "S11=5,S21=-1,S31=-1,S41=-1,S51=-1");
    EXPECT_EQ(same.Render().Difference(picture), "");
    // A centre alone makes unit curves; moved later, it keeps the tables that there are.
    EXPECT_EQ(Apply(kGamma, "S11=30", picture).Difference(picture), "");
    line.SetText(0, "S11=45");
    const Picture moved = line.Render();
    EXPECT_EQ(moved.Difference(Apply(kGamma, "S11=45,S21=-1,S31=-1,S41=-1,S51=-50", picture)), "");
    // Back at 0 the range is out of use.
    line.SetText(0, "S11=0,S21=0,S31=0,S41=0,S51=0");
    EXPECT_EQ(line.Render().Difference(picture), "");
}

// Mixer

TEST(RgbMixer, BytesWorkedOutByHand) {
    const Case cases[] = {
        {kMixer, "BOnK=1,BOnR=0,BOnG=0,BOnB=0", {10, 20, 30, 7}, {21, 21, 21, 7}},  // 9 + 11 + 1, each cut
        {kMixer, "BOnK=1,BOnR=0,BOnG=0,BOnB=0,BRgb0=0", {10, 20, 30, 0}, {0, 0, 0, 0}},
        {kMixer, "BOnK=1,BOnR=0,BOnG=0,BOnB=0,BRgb0=0,kG=100,kC=10", {10, 20, 30, 0}, {45, 45, 45, 0}},
        {kMixer, "rR=50,rG=50,rB=50,BRgb1=1", {100, 100, 100, 0}, {100, 100, 102, 0}},  // three times 34
        {kMixer, "rR=50,rG=50,rB=50,BRgb1=0", {100, 100, 100, 0}, {100, 100, 150, 0}},
        {kMixer, "rC=100", {1, 2, 3, 0}, {1, 2, 255, 0}},
        {kMixer, "gC=-50", {1, 200, 3, 0}, {1, 73, 3, 0}},
        {kMixer, "BCon1=1,rC=0", {1, 2, 3, 0}, {1, 2, 3, 0}},
        {kMixer, "BCon1=1,rC=100", {1, 2, 64, 0}, {1, 2, 90, 0}},                // exponent 0.75: 90.4
        {kMixer, "BCon3=1,bC=-100", {128, 2, 64, 0}, {32, 2, 64, 0}},            // exponent 3
        {kMixer, "BCon3=1,bC=-100,bR=200", {128, 2, 255, 0}, {255, 2, 255, 0}},  // clamped before the curve
        {kMixer, "rR=0,rB=100,bB=0,bR=100", {10, 20, 30, 0}, {30, 20, 10, 0}},   // all rows read the input
        {kMixer, "gG=-100", {10, 20, 30, 0}, {10, 0, 30, 0}},
        {kMixer, "BBypass=1,rR=0", {10, 20, 30, 0}, {10, 20, 30, 0}},
        {kMixer, "BOnR=0,rR=0", {10, 20, 30, 0}, {10, 20, 30, 0}},  // off without a grey: the channel stays
        // With the grey channel on, it stands for each row's own input.
        {kMixer, "BOnK=1,BRgb0=0,kR=100,BOnB=0,gG=50,gB=100", {10, 20, 200, 0}, {200, 110, 200, 0}},
        {kMixer,
         "BOnK=0,BOnR=1,BOnG=1,BOnB=1,BBypass=0,BRgb0=1,rR=000,rG=000,rB=000,gR=000,gG=000,gB=000,bR=000,bG=000,bB=000",
         {10, 20, 30, 4},
         {0, 0, 0, 4}},
        {kMixer, "rR=2147483647,rG=2147483647,BRgb1=1,gC=2147483647,bG=-2147483648", {10, 20, 30, 0}, {0, 255, 255, 0}},
    };
    for (const Case& c : cases) EXPECT_EQ(Apply(c.progId, c.text, Picture(1, 1, c.in)).At(0, 0), c.out) << c.text;
}

}  // namespace
}  // namespace kestrel
