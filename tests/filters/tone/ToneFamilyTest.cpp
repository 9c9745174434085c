// What holds for every curve, levels and colour-range filter: texts come round, windows are cuts, masks and guards
// stay, pictures of one kind and texts that no dialog would write do no harm.
#include <gtest/gtest.h>

#include <random>

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
    bool regional;     ///< measures the region that it is asked for
};

constexpr Member kFamily[] = {
    {"TMFilter.GradCurves.1", "nL=03, nR=03, xL2=90, xL3=255, xR2=60, yL2=150, yL3=240, yR2=20, YIQOn=1, FilterOn=1",
     false},
    {"TMFilter.WhiteBlackGrey.1", "RedG=100, GreenG=120, BlueG=90, Mode=1, Opacity=80, FilterOn=1", false},
    {"TMFilter.WhiteBlackGrey.1", "RedG=100, GreenG=120, BlueG=90, Mode=3, Opacity=100, FilterOn=1", true},
    {"TMFilter.Tonwert.1",
     "AutoContrast=1, AutoContrastRGB=1, AutoTone=0, Hi=0, Med=50, Lo=0, Addhi=5, Addmed=3, Addlo=9", false},
    {"TMFilter.Histo.1", "Intensity=060", true},
    {"TMFilter.Optimize.1", "Slider1=030, Slider2=-20, Slider3=040, Slider4=050", false},
    {"TMFilter.ColorTuning.1", "SatR=050,SatY=-40,SatG=090,SatC=-90,SatB=030,SatM=-10", false},
    {"TMFilter.HSB.1", "Hue=020, Sat=010, Bright=005,HueR=-50, SatR=060, BrightR=-10", false},
    {"TMFilter.Gamma.1", "S10=010,S20=050,S30=-40,S40=020,S50=010,S11=000,S21=040,S31=-60,S41=000,S51=020", false},
    {"TMFilter.RgbMixer.1", "BOnK=1, BOnB=0, BRgb0=1, BCon2=1, kR=020, rG=050, gC=-40, gB=030", false},
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

TEST(ToneFamily, WindowsAreCutsOfTheWhole) {
    const Picture picture = Picture::Random(41, 23, 8);
    for (const Member& member : kFamily) {
        if (member.regional) continue;
        Line line(picture);
        line.Add(member.progId, member.text);
        const Picture whole = line.Render();
        EXPECT_EQ(line.Render(7, 5, 13, 11).Difference(whole.Cut(7, 5, 13, 11)), "") << member.progId;
        // Into the middle of a larger picture, whose other pixels stay.
        Picture into(20, 20, Pixel{1, 2, 3, 4});
        ASSERT_EQ(line.Request(into, 4, 6, 7, 5, 13, 11), S_OK);
        EXPECT_EQ(into.Cut(4, 6, 13, 11).Difference(whole.Cut(7, 5, 13, 11)), "") << member.progId;
        EXPECT_EQ(into.At(3, 6), (Pixel{1, 2, 3, 4})) << member.progId;
        EXPECT_EQ(into.At(17, 16), (Pixel{1, 2, 3, 4})) << member.progId;
        EXPECT_EQ(into.At(4, 17), (Pixel{1, 2, 3, 4})) << member.progId;
        EXPECT_TRUE(into.GuardsIntact());
    }
}

TEST(ToneFamily, WrittenTextsReadBackAsTheSame) {
    for (const Member& member : kFamily) {
        Line line(Picture(1, 1));
        line.Add(member.progId, member.text).Add(member.progId);
        const std::string text = line.PendingText(0);
        EXPECT_NE(text, line.PendingText(1)) << member.progId;
        EXPECT_NE(text, line.ActiveText(0)) << member.progId;
        line.SetText(1, text.c_str());
        EXPECT_EQ(line.PendingText(1), text) << member.progId;
        line.Update();
        EXPECT_EQ(line.ActiveText(0), text) << member.progId;
        EXPECT_EQ(line.ActiveText(1), text) << member.progId;
        const bool modeFallsBack = std::string_view(member.progId) == "TMFilter.WhiteBlackGrey.1";
        line.SetText(1, "");
        EXPECT_EQ(line.PendingText(1) == text, !modeFallsBack) << member.progId;
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

TEST(ToneFamily, WritersKeepTheirLeastBuffer) {
    for (const Member& member : kFamily) {
        Line line(Picture(1, 1));
        line.Add(member.progId, member.text);
        const int least = FindClass(std::string_view(member.progId))->parameters().minimumBuffer;
        const auto parameters = Ref<IFilterParameters>::Query(&line.Filter(0));
        std::string buffer(static_cast<std::size_t>(least), '#');
        EXPECT_EQ(parameters->GetParameterTextForSave(buffer.data(), least - 1), S_OK);
        EXPECT_EQ(buffer, std::string(static_cast<std::size_t>(least), '#')) << member.progId;
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

TEST(ToneFamily, AbortsLeaveTheFilterToBeAskedAgain) {
    const Picture picture = Picture::Random(12, 9, 2);
    for (const Member& member : kFamily) {
        Line line(picture);
        line.Add(member.progId, member.text);
        line.Update();
        Picture into(12, 9);
        line.source->afterRequest = [&line] { line.Abort(true); };
        EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 12, 9), 1) << member.progId;
        line.source->afterRequest = nullptr;
        line.Abort(false);
        EXPECT_TRUE(line.Update()) << member.progId;
        EXPECT_EQ(line.Render().Difference(Apply(member.progId, member.text, picture)), "") << member.progId;
        line.source->result = E_FAIL;
        line.SetText(0, "Slider1=7,Intensity=9,SatR=3,Hue=4,S20=1,rR=2,RedG=3,Med=4,nL=2,FilterOn=1");
        line.Update();
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 12, 9), S_OK) << member.progId;
    }
}

TEST(ToneFamily, WildNumbersDoNoHarm) {
    std::mt19937 random(21);
    const Picture picture = Picture::Random(9, 5, 3);
    const char* const numbers[] = {
        "0",   "1",   "-1",  "13",         "100",         "101",        "-101",
        "255", "256", "999", "2147483647", "-2147483648", "4294967295", "99999999999999999999"};
    for (const Member& member : kFamily) {
        const ParameterInfo info = FindClass(std::string_view(member.progId))->parameters();
        for (int round = 0; round < 150; ++round) {
            std::string text;
            for (const KeyInfo& key : info.keys)
                if (random() % 4 != 0) text += key.key + "=" + numbers[random() % std::size(numbers)] + ",";
            Line line(picture);
            line.Add(member.progId, text.c_str());
            const Picture result = line.Render();  // reports bytes written behind a row
            line.Color({1, 2, 3, 4});
            line.SetText(0, line.PendingText(0).c_str());
            ASSERT_EQ(line.Render().Difference(result), "") << member.progId << " " << text;
        }
    }
}

}  // namespace
}  // namespace kestrel
