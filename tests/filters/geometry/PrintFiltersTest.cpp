#include <gtest/gtest.h>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kPadId = "TMFilter.PrintPad.1";
constexpr const char* kPrintCropId = "TMFilter.PrintCrop.1";
constexpr const char* kPrintScaleId = "TMFilter.PrintScale.1";

TEST(PrintPad, Proportions) {
    const struct {
        int inW, inH;
        const char* text;
        int outW, outH;
    } cases[] = {
        {300, 200, "AspectRatioX=3,AspectRatioY=2,ForceRatio=1", 300, 200},
        {200, 300, "AspectRatioX=3,AspectRatioY=2,ForceRatio=1,Landscape=1", 200, 300},  // portrait after all
        {300, 200, "AspectRatioX=2,AspectRatioY=3,ForceRatio=1", 300, 200},
        {300, 200, "AspectRatioX=3,AspectRatioY=2,ForceRatio=1,Toggle=1", 300, 450},
        {300, 200, "AspectRatioX=1,AspectRatioY=1,ForceRatio=1", 300, 300},
        {200, 200, "AspectRatioX=3,AspectRatioY=2,ForceRatio=1,Landscape=1", 300, 200},  // a square keeps the flag
        {200, 200, "AspectRatioX=3,AspectRatioY=2,ForceRatio=1,Landscape=0", 200, 300},
        {300, 200, "ForceRatio=1", 300, 200},                                // missing keys are 3 : 2
        {301, 100, "AspectRatioX=5,AspectRatioY=4,ForceRatio=1", 301, 240},  // 240.8
        {300, 200, "AspectRatioX=7,AspectRatioY=1,ForceRatio=0", 300, 200},
        {5, 4, "AspectRatioX=0,AspectRatioY=-4,ForceRatio=1", 5, 5},  // both are 1 at least
    };
    for (const auto& c : cases) {
        Line line(Picture(c.inW, c.inH));
        line.source->geometry.OffsetX = 3;
        line.Add(kPadId, c.text);
        EXPECT_EQ(line.Geometry(), (FilterGeometry{c.outW, c.outH, c.outW, c.outH, 3, 0, -1, -1})) << c.text;
    }
}

TEST(PrintPad, FlattensOntoTheColour) {
    Picture picture(3, 1);
    picture.Set(0, 0, Pixel{10, 20, 30, 0});
    picture.Set(1, 0, Pixel{10, 20, 30, 51});
    picture.Set(2, 0, Pixel{10, 20, 30, 255});
    const Picture flat = Apply(kPadId, "ForceRatio=0,PadColor=ff8040", picture);
    EXPECT_EQ(flat.At(0, 0), (Pixel{10, 20, 30, 0}));
    // a fifth of 0x40, 0x80, 0xff in memory order, four fifths of the pixel
    EXPECT_EQ(flat.At(1, 0), (Pixel{20, 41, 75, 0}));
    EXPECT_EQ(flat.At(2, 0), (Pixel{0x40, 0x80, 0xff, 0}));

    const Picture padded = Apply(kPadId, "AspectRatioX=1,AspectRatioY=1,ForceRatio=1,PadColor=000102", picture);
    ASSERT_EQ(padded.Height(), 3);
    EXPECT_EQ(padded.At(0, 1), (Pixel{10, 20, 30, 0}));
    for (int x = 0; x < 3; ++x)
        for (const int y : {0, 2}) EXPECT_EQ(padded.At(x, y), (Pixel{2, 1, 0, 0}));
}

TEST(PrintPad, TextsRoundTrip) {
    Line line(Picture(20, 30));
    line.Add(kPadId);
    EXPECT_EQ(line.PendingText(0),
              "AspectRatioX=1, AspectRatioY=1, ForceRatio=0, Toggle=0, Landscape=0, PadColor=ffffff");
    const char* const text =
        "AspectRatioX=4, AspectRatioY=3, ForceRatio=1, Toggle=1, Landscape=1, PadColor=00a0ff, Copy=12";
    line.SetText(0, text);
    EXPECT_EQ(line.PendingText(0), text);
    line.Update();
    // The orientation is decided, and the copies wait, on the active side only.
    EXPECT_EQ(line.ActiveText(0),
              "AspectRatioX=4, AspectRatioY=3, ForceRatio=1, Toggle=1, Landscape=0, PadColor=00a0ff");
    EXPECT_EQ(line.PendingText(0), text);
    line.Render();
    EXPECT_FALSE(line.Update());
    line.SetText(0, "AspectRatioX=4,AspectRatioY=3,ForceRatio=1,Toggle=1,Landscape=1,PadColor=00a0ff,Copy=13");
    EXPECT_FALSE(line.Update());
    line.SetText(0, "PadColor=1000000, Copy=5000, AspectRatioX=2000000000");
    EXPECT_EQ(line.PendingText(0),
              "AspectRatioX=1000000, AspectRatioY=2, ForceRatio=0, Toggle=0, Landscape=0, PadColor=ffffff, Copy=1000");
}

TEST(PrintPad, SizesBeyondMemoryFail) {
    for (const auto& [width, height, text] :
         {std::tuple{3000, 2000, "AspectRatioX=1000000,AspectRatioY=1,ForceRatio=1"},
          {2000, 3000, "AspectRatioX=1000000,AspectRatioY=1,ForceRatio=1"}}) {
        Line line(Picture(1, 1));
        line.source->geometry = {width, height, width, height, 0, 0, -1, -1};
        line.Add(kPadId, text);
        line.Geometry();
        Picture into(1, 1);
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0);
    }
}

TEST(PrintCrop, CutsAndKeepsItsMeasures) {
    const Picture picture = Picture::Random(100, 50, 2);
    Line line(picture);
    line.Add(kPrintCropId);
    EXPECT_EQ(line.PendingText(0),
              "MarginL=0.0000, MarginR=1.0000, MarginB=0.0000, MarginT=1.0000, Width=15.0000, Height=10.0000, "
              "Measur=1, PPI=100.0000, FixedPPI=0");
    const char* const text =
        "MarginL=0.1000, MarginR=0.6000, MarginB=0.2000, MarginT=1.0000, Width=9.5000, Height=13.0000, "
        "Measur=0, PPI=300.0000, FixedPPI=1";
    line.SetText(0, text);
    EXPECT_EQ(line.PendingText(0), text);
    EXPECT_EQ(line.Render().Difference(picture.Cut(10, 10, 50, 40)), "");
    EXPECT_EQ(line.ActiveText(0), text);
    EXPECT_FALSE(line.Update());
    double resolution = 0;
    EXPECT_EQ(Ref<IFilterGeometry>::Query(&line.Filter(0))->PassAlong15(&resolution), S_OK);
    EXPECT_EQ(resolution, 300.0);
    line.SetText(0, "Width=0,PPI=1e9,Measur=7,MarginR=x");
    EXPECT_EQ(line.PendingText(0),
              "MarginL=0.0000, MarginR=1.0000, MarginB=0.0000, MarginT=1.0000, Width=0.1000, Height=10.0000, "
              "Measur=1, PPI=10000.0000, FixedPPI=0");
    char small[250] = "kept";
    auto texts = Ref<IFilterParameters>::Query(&line.Filter(0));
    EXPECT_EQ(texts->GetParameterText(small, 249), S_OK);
    EXPECT_STREQ(small, "kept");
}

TEST(PrintScale, TurnsThenFits) {
    const Picture picture = Picture::Random(60, 30, 3);
    Line pair(picture);
    pair.Add("TMFilter.Rotate.1", "Angle=90")
        .Add("TMFilter.Scale.1", "KeepProportions=1,AllowEnlarge=1,MaximumHorizontalSize=20,MaximumVerticalSize=30");
    Line line(picture);
    line.Add(kPrintScaleId, "PrintWidth=20, PrintHeight=30, PrintTurn=1");
    EXPECT_EQ(line.Geometry(), (FilterGeometry{15, 30, 15, 30, 0, 0, -1, -1}));
    EXPECT_EQ(line.Render().Difference(pair.Render()), "");
    EXPECT_FALSE(line.Update());
    EXPECT_EQ(Apply(kPrintScaleId, "PrintWidth=120,PrintHeight=120", picture).Width(), 120);
}

TEST(PrintScale, TheActiveTextIsWhatTheInnerFiltersDo) {
    Line line(Picture(60, 30));
    line.Add(kPrintScaleId);
    EXPECT_EQ(line.PendingText(0), "PrintWidth=100, PrintHeight=100, PrintTurn=0");
    const struct {
        const char* text;
        const char* saved;
        const char* active;
    } cases[] = {
        {"PrintWidth=7, PrintHeight=8, PrintTurn=3", "PrintWidth=7, PrintHeight=8, PrintTurn=3",
         "PrintWidth=7, PrintHeight=8, PrintTurn=3"},
        {"PrintTurn=5", "PrintWidth=100, PrintHeight=100, PrintTurn=5", "PrintWidth=100, PrintHeight=100, PrintTurn=0"},
        {"PrintTurn=4,PrintWidth=0", "PrintWidth=1, PrintHeight=100, PrintTurn=4",
         "PrintWidth=1, PrintHeight=100, PrintTurn=0"},
        {"PrintTurn=2", "PrintWidth=100, PrintHeight=100, PrintTurn=2",
         "PrintWidth=100, PrintHeight=100, PrintTurn=2"}};
    for (const auto& c : cases) {
        line.SetText(0, c.text);
        EXPECT_EQ(line.PendingText(0), c.saved);
        line.Update();
        EXPECT_EQ(line.ActiveText(0), c.active);
    }
}

TEST(PrintScale, SizesBeyondMemoryFailAndWildTurnsDoNot) {
    Line line(Picture(40, 30, Pixel{1, 2, 3, 0}));
    line.Add(kPrintScaleId, "PrintWidth=1000000,PrintHeight=1000000");
    line.Geometry();
    Picture into(1, 1);
    EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0);
    line.SetText(0, "PrintTurn=2147483647,PrintWidth=20,PrintHeight=20");
    line.Geometry();
    EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 1, 1), 0);
}

}  // namespace
}  // namespace kestrel
