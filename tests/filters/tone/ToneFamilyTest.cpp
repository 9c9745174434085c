// What holds for every curve, levels and colour-range filter.
#include <gtest/gtest.h>

#include "kestrel/server/ClassTable.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

struct Member {
    const char* progId;
    const char* text;  ///< a setting that changes pictures
};

constexpr Member kFamily[] = {
    {"TMFilter.GradCurves.1", "nL=03, nR=03, xL2=90, xL3=255, xR2=60, yL2=150, yL3=240, yR2=20, YIQOn=1, FilterOn=1"},
    {"TMFilter.WhiteBlackGrey.1", "RedG=100, GreenG=120, BlueG=90, Mode=1, Opacity=80, FilterOn=1"},
    {"TMFilter.WhiteBlackGrey.1", "RedG=100, GreenG=120, BlueG=90, Mode=3, Opacity=100, FilterOn=1"},
    {"TMFilter.Tonwert.1",
     "AutoContrast=1, AutoContrastRGB=1, AutoTone=0, Hi=0, Med=50, Lo=0, Addhi=5, Addmed=3, Addlo=9"},
    {"TMFilter.Histo.1", "Intensity=060"},
    {"TMFilter.Optimize.1", "Slider1=030, Slider2=-20, Slider3=040, Slider4=050"},
    {"TMFilter.ColorTuning.1", "SatR=050,SatY=-40,SatG=090,SatC=-90,SatB=030,SatM=-10"},
    {"TMFilter.HSB.1", "Hue=020, Sat=010, Bright=005,HueR=-50, SatR=060, BrightR=-10"},
    {"TMFilter.Gamma.1", "S10=010,S20=050,S30=-40,S40=020,S50=010,S11=000,S21=040,S31=-60,S41=000,S51=020"},
    {"TMFilter.RgbMixer.1", "BOnK=1, BOnB=0, BRgb0=1, BCon2=1, kR=020, rG=050, gC=-40, gB=030"},
};

TEST(ToneFamily, EachChangesAPictureAndLeavesItsMask) {
    const Picture picture = Picture::Random(37, 19, 6);
    for (const Member& member : kFamily) {
        const Picture result = Apply(member.progId, member.text, picture);
        EXPECT_NE(result.Difference(picture), "") << member.progId;
        for (int y = 0; y < 19; ++y)
            for (int x = 0; x < 37; ++x) ASSERT_EQ(result.At(x, y).mask, picture.At(x, y).mask) << member.progId;
    }
}

TEST(ToneFamily, DefaultTextsAreFreshFilters) {
    for (const Member& member : kFamily) {
        if (std::string_view(member.progId) == "TMFilter.RgbMixer.1") continue;  // its dialog's default is black
        const ParameterInfo info = FindClass(std::string_view(member.progId))->parameters();
        Line line(Picture(1, 1));
        line.Add(member.progId).Add(member.progId, member.text);
        line.SetText(1, info.defaultText.c_str());
        EXPECT_EQ(line.PendingText(1), line.PendingText(0)) << member.progId;
        for (const KeyInfo& key : info.keys)
            EXPECT_EQ(key.role == Role::Setting, line.PendingText(0).find(key.key + "=") != std::string::npos)
                << member.progId << " " << key.key;
    }
}

TEST(ToneFamily, PicturesOfOneKindStayOfOneKind) {
    const Pixel kinds[] = {{0, 0, 0, 0},       {255, 255, 255, 0}, {128, 128, 128, 255}, {0, 0, 255, 255},
                           {10, 200, 90, 128}, {255, 254, 255, 0}, {1, 0, 0, 0}};
    for (const Member& member : kFamily)
        for (const Pixel kind : kinds)
            for (const auto& [width, height] : {std::pair{1, 1}, std::pair{40, 10}, std::pair{1, 300}}) {
                const Picture result = Apply(member.progId, member.text, Picture(width, height, kind));
                EXPECT_EQ(result.Difference(Picture(width, height, result.At(0, 0))), "") << member.progId << kind;
            }
}

}  // namespace
}  // namespace kestrel
