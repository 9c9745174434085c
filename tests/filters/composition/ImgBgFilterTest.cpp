#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kestrel/diagnostics/LogSink.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kImgBg = "TMFilter.ImgBg.1";

TEST(ImgBg, AnOpaquePicturePasses) {
    const Picture picture = Picture::Random(17, 9, 1, false);
    EXPECT_EQ(Apply(kImgBg, "Red=1,Transparency=40", picture).Difference(picture), "");
}

TEST(ImgBg, FillsWhatIsTransparent) {
    Picture picture(4, 1, Pixel{100, 50, 0, 255});
    picture.Set(1, 0, {100, 50, 0, 51});
    picture.Set(2, 0, {100, 50, 0, 128});
    picture.Set(3, 0, {100, 50, 0, 0});
    const Picture opaque = Apply(kImgBg, "Red=30,Green=20,Blue=10,Transparency=0", picture);
    EXPECT_EQ(opaque.At(0, 0), (Pixel{10, 20, 30, 0}));
    EXPECT_EQ(opaque.At(1, 0), (Pixel{82, 44, 6, 0}));
    EXPECT_EQ(opaque.At(3, 0), (Pixel{100, 50, 0, 0}));
    // alpha 127: n = 63, colours 5, 10, 15; blue (100*127 + 5*128) / 192
    const Picture half = Apply(kImgBg, "Red=30,Green=20,Blue=10,Transparency=50", picture);
    EXPECT_EQ(half.At(2, 0), (Pixel{69, 39, 10, 63}));
    EXPECT_EQ(half.At(0, 0), (Pixel{9, 19, 29, 127}));
    EXPECT_EQ(Apply(kImgBg, "Transparency=100", picture).Difference(picture), "");
}

TEST(ImgBg, ColoursGoByTheirOwnRule) {
    Line line(Picture(1, 1, Pixel{}));
    line.Add(kImgBg, "Red=30,Green=20,Blue=10,Transparency=100");
    line.Update();
    EXPECT_EQ(line.Color({100, 50, 0, 255}), (Pixel{10, 20, 30, 255}));
    EXPECT_EQ(line.Color({100, 50, 0, 128}), (Pixel{100, 50, 0, 128}));
    line.SetText(0, "Transparency=50");
    line.Update();
    EXPECT_EQ(line.Color({100, 50, 0, 255}), (Pixel{10, 20, 30, 127}));
    // w1 = 127*255, w2 = 128*128: blue (32385*100 + 16384*10) / 48769
    EXPECT_EQ(line.Color({100, 50, 0, 128}), (Pixel{69, 39, 10, 63}));
}

TEST(ImgBg, ABoardWithoutSizeIsClippedInTheLog) {
    static std::vector<std::string> lines;
    lines.clear();
    SetLogSink([](int, const char*, int, const std::string& text) { lines.push_back(text); });
    Line line(Picture(4, 4, Pixel{}));
    line.Add(kImgBg);
    line.Update();
    SetLogSink(nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>{"m_nTotalHori clipped to min\n", "m_nTotalVerti clipped to min\n",
                                               "CImgBgFilter---PARMS CLIPPED\n"}));
}

TEST(ImgBg, Text) {
    Line line(Picture(1, 1, Pixel{}));
    line.Add(kImgBg, "Red=1,Green=2,Blue=3,Transparency=-4");
    EXPECT_EQ(line.PendingText(0), "Blue=003 , Green=002, Red=001, Transparency=-004");
    line.Update();
    EXPECT_EQ(line.ActiveText(0), line.PendingText(0));
    EXPECT_EQ(line.Render().At(0, 0), Pixel{});
}

}  // namespace
}  // namespace kestrel
