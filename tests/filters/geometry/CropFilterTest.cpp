#include <gtest/gtest.h>

#include "kestrel/filters/geometry/CropRecord.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kCropId = "TMFilter.Crop.1";
constexpr const char* kRotCropId = "TMFilter.RotCrop.1";
constexpr const char* kOffsetId = "TMFilter.Offset.1";

std::string Margins(const char* left, const char* right, const char* bottom, const char* top) {
    return std::string("LeftMargin=") + left + ",RightMargin=" + right + ",BottomMargin=" + bottom +
           ",TopMargin=" + top + ",FixRatioOn=0";
}

TEST(CropFilter, CutsFractions) {
    const Picture picture = Picture::Random(100, 41, 1);
    const struct {
        std::string text;
        int x, y, width, height;
    } cases[] = {{Margins("0", "1", "0", "1"), 0, 0, 100, 41},
                 {Margins("0.25", "0.75", "0", "1"), 25, 0, 50, 41},
                 {Margins("0.1", "1", "0.5", "1"), 10, 21, 90, 20},  // 20.5 rounds up, twice
                 {Margins("0", "1", "0", "0.5"), 0, 0, 100, 20},
                 {Margins("0.5", "0.5", "0", "1"), 50, 0, 1, 41},  // no width is one pixel
                 {Margins("1", "1", "1", "1"), 99, 40, 1, 1},
                 {Margins("-3", "7", "0", "2"), 0, 0, 100, 41},  // into the range
                 {"", 0, 0, 100, 41}};
    for (const auto& c : cases)
        EXPECT_EQ(Apply(kCropId, c.text.c_str(), picture).Difference(picture.Cut(c.x, c.y, c.width, c.height)), "")
            << c.text;
}

TEST(CropFilter, HoldsNoPictureAndStartsANewOrigin) {
    const Picture picture = Picture::Random(20, 10, 2);
    Line line(picture);
    line.source->geometry.OffsetX = 7;
    line.source->geometry.OffsetY = -7;
    line.Add(kCropId, Margins("0.5", "1", "0", "1").c_str());
    EXPECT_EQ(line.Geometry(), (FilterGeometry{10, 10, 10, 10, 0, 0, -1, -1}));
    EXPECT_EQ(line.Render(2, 3, 4, 5).Difference(picture.Cut(12, 3, 4, 5)), "");
    line.Render();
    EXPECT_EQ(line.source->requests, 2);
    line.source->result = E_FAIL;
    Picture into(10, 10);
    EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 10, 10), 1);
}

TEST(CropFilter, CrossedMarginsFail) {
    for (const std::string& text : {Margins("0.75", "0.25", "0", "1"), Margins("0", "1", "0.6", "0.5")}) {
        Line line(Picture(100, 100));
        line.Add(kCropId, text.c_str());
        EXPECT_GE(line.Geometry().Width, 1);
        Picture into(1, 1);
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0);
    }
}

TEST(CropFilter, EmptyInputsFail) {
    for (const int size : {0, -3}) {
        Line line(Picture(1, 1));
        line.source->geometry = {size, size, size, size, 0, 0, -1, -1};
        line.Add(kCropId, Margins("0.2", "0.4", "0", "1").c_str());
        line.Geometry();
        Picture into(1, 1);
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0);
    }
}

TEST(CropFilter, TextsRoundTrip) {
    Line line(Picture(100, 100));
    line.Add(kCropId);
    EXPECT_EQ(line.PendingText(0),
              "LeftMargin=0.0000, RightMargin=1.0000, BottomMargin=0.0000, TopMargin=1.0000, ShrinkAlpha=0, "
              "FixRatioOn=1, FixRatio=-1.0000, Landscape=0, DlgSizeX=100, DlgSizeY=100");
    const char* const texts[] = {
        "LeftMargin=0.1235, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=1, FixRatioOn=0",
        "LeftMargin=0.1000, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=0, FixRatioOn=1, "
        "FixRatio=1.5000, Landscape=1, AdjustOri=2, DlgSizeX=640, DlgSizeY=480",
        "LeftMargin=0.1000, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=0, FixRatioOn=1, "
        "FixRatio=-1.0000, Landscape=0, AdjustOri=-7"};
    for (const char* text : texts) {
        line.SetText(0, text);
        EXPECT_EQ(line.PendingText(0), text);
    }
    line.SetText(0, "LeftMargin=x, FixRatio=-3, DlgSizeX=999999, DlgSizeY=5, TopMargin=nan");
    EXPECT_EQ(line.PendingText(0),
              "LeftMargin=0.0000, RightMargin=1.0000, BottomMargin=0.0000, TopMargin=1.0000, ShrinkAlpha=0, "
              "FixRatioOn=1, FixRatio=0.0001, Landscape=0, DlgSizeX=100000, DlgSizeY=5");
}

TEST(CropFilter, SmallDifferencesAreNoChange) {
    Line line(Picture(100, 100));
    line.Add(kCropId, Margins("0.2", "0.8", "0", "1").c_str());
    line.Render();
    line.SetText(0, Margins("0.20005", "0.8", "0", "1").c_str());
    EXPECT_FALSE(line.Filter(0).HasChanged());
    line.SetText(0, Margins("0.2003", "0.8", "0", "1").c_str());
    EXPECT_TRUE(line.Filter(0).HasChanged());
}

TEST(FitRatio, KeepsTheLargerSideAndTheCentre) {
    const struct {
        double ratio;
        int inW, inH;
        double from[4];  ///< left, bottom, right, top
        double to[4];
    } cases[] = {
        {1, 100, 100, {0, 0, 1, 1}, {0, 0, 1, 1}},
        {2, 100, 100, {0, 0, 1, 1}, {0, 0.25, 1, 0.75}},
        {0.5, 100, 100, {0, 0, 1, 1}, {0.25, 0, 0.75, 1}},
        {1, 200, 100, {0, 0, 1, 1}, {0.25, 0, 0.75, 1}},
        {2, 100, 100, {0.4, 0.4, 0.8, 0.5}, {0.4, 0.35, 0.8, 0.55}},
        {1, 100, 100, {0.9, 0.2, 1, 0.8}, {0.4, 0.2, 1, 0.8}},  // grows to the left, the right edge holds it
        {1, 100, 100, {0.7, 0.5, 0.3, 0.5}, {0.49995, 0.49995, 0.50005, 0.50005}},  // crossed: the least rectangle
        {0, 100, 100, {0.1, 0.2, 0.3, 0.4}, {0.1, 0.2, 0.3, 0.4}},
        {-1, 100, 100, {0.1, 0.2, 0.3, 0.4}, {0.1, 0.2, 0.3, 0.4}},
        {2, 0, 100, {0.1, 0.2, 0.3, 0.4}, {0.1, 0.2, 0.3, 0.4}},
    };
    for (const auto& c : cases) {
        double r[4] = {c.from[0], c.from[1], c.from[2], c.from[3]};
        FitRatio(c.ratio, c.inW, c.inH, &r[0], &r[1], &r[2], &r[3]);
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(r[i], c.to[i], 1e-9) << c.ratio << ", side " << i;
    }
}

TEST(CropFilter, FittedMarginsShowInBothTexts) {
    Line line(Picture(200, 100));
    line.Add(kCropId, "FixRatioOn=1,FixRatio=1.0");
    EXPECT_EQ(line.Geometry(), (FilterGeometry{100, 100, 100, 100, 0, 0, -1, -1}));
    EXPECT_EQ(line.PendingText(0).substr(0, 40), "LeftMargin=0.2500, RightMargin=0.7500, B");
    EXPECT_EQ(line.ActiveText(0), line.PendingText(0));
    line.Render();
    EXPECT_FALSE(line.Update());
    // With both dialog sizes their ratio counts: 1 : 4.
    line.SetText(0, "FixRatioOn=1,FixRatio=1.0,DlgSizeX=25,DlgSizeY=100");
    EXPECT_EQ(line.Geometry(), (FilterGeometry{25, 100, 25, 100, 0, 0, -1, -1}));
    line.SetText(0, "FixRatioOn=1,FixRatio=-1,DlgSizeX=25,DlgSizeY=100");
    EXPECT_EQ(line.Geometry().Width, 200);
}

TEST(OffsetFilter, MovesTheOriginAndNothingElse) {
    const Picture picture = Picture::Random(9, 7, 3);
    Line line(picture);
    line.source->geometry.OffsetX = 100;
    line.source->geometry.OffsetY = -100;
    line.Add(kOffsetId, "OffsetX=30,OffsetY=-5");
    EXPECT_EQ(line.Geometry(), (FilterGeometry{9, 7, 9, 7, 70, -95, -1, -1}));
    EXPECT_EQ(line.Geometry(), (FilterGeometry{9, 7, 9, 7, 70, -95, -1, -1}));  // not once more
    EXPECT_EQ(line.Render().Difference(picture), "");
    EXPECT_EQ(line.PendingText(0), "OffsetX=030, OffsetY=-005");
    line.SetText(0, "OffsetY=7");
    EXPECT_EQ(line.PendingText(0), "OffsetX=030, OffsetY=007");
    EXPECT_EQ(line.ActiveText(0), "OffsetX=030, OffsetY=-005");
    line.SetText(0, "OffsetX=-2147483648,OffsetY=2147483647");
    EXPECT_EQ(line.Geometry().OffsetX, 2147483647);
}

TEST(RotCropFilter, WithoutAnAngleItIsACrop) {
    const Picture picture = Picture::Random(60, 40, 4);
    const std::string text = Margins("0.25", "0.75", "0.1", "1");
    EXPECT_EQ(Apply(kRotCropId, text.c_str(), picture).Difference(Apply(kCropId, text.c_str(), picture)), "");
    EXPECT_EQ(Apply(kRotCropId, nullptr, picture).Difference(picture), "");
}

TEST(RotCropFilter, IsARotationAndACrop) {
    // 0.12 radians are 6.875 degrees; mirrored they count the other way.
    const Picture picture = Picture::Random(60, 40, 5);
    for (const bool mirrored : {false, true}) {
        const std::string crop = Margins("0.2", "0.7", "0.1", "0.9");
        const std::string text = crop + ",Angle=0.12,Mirrored=" + (mirrored ? "1" : "0");
        Line line(picture);
        line.source->geometry.OffsetX = 11;
        line.Add("TMFilter.Rotate.1", mirrored ? "Angle=-6.875,MirrorOn=1" : "Angle=6.875,MirrorOn=0")
            .Add(kCropId, crop.c_str());
        Line one(picture);
        one.source->geometry.OffsetX = 11;
        one.Add(kRotCropId, text.c_str());
        EXPECT_EQ(one.Geometry(), line.Geometry());
        EXPECT_EQ(one.Geometry().OffsetX, 0);
        EXPECT_EQ(one.Render().Difference(line.Render()), "");
    }
}

TEST(RotCropFilter, ItsInnerLineIsPartOfTheLine) {
    const Picture picture = Picture::Random(50, 30, 6);
    const std::string text = Margins("0.2", "0.8", "0.2", "0.8") + ",Angle=0.3";
    Line line(picture);
    line.Add("TMFilter.Invert.1", "Inversity=100")
        .Add(kRotCropId, text.c_str())
        .Add("TMFilter.Invert.1", "Inversity=100");
    const Picture whole = line.Render();
    EXPECT_EQ(line.Render(3, 4, 10, 9).Difference(whole.Cut(3, 4, 10, 9)), "");
    EXPECT_EQ(line.source->requests, 1);  // the rotation inside keeps its picture
    EXPECT_FALSE(line.Update());

    line.source->SetPicture(Picture::Random(50, 30, 7));  // news from the head of the line reach the inner line
    EXPECT_TRUE(line.Update());
    EXPECT_NE(line.Render().Difference(whole), "");
    EXPECT_EQ(line.source->requests, 2);

    line.source->SetPicture(picture);
    line.Update();
    line.source->afterRequest = [&] { line.Abort(true); };
    Picture into(whole.Width(), whole.Height());
    EXPECT_NE(line.Request(into, 0, 0, 0, 0, whole.Width(), whole.Height()), 0);
    line.source->afterRequest = nullptr;
    line.Abort(false);
    EXPECT_EQ(line.Render().Difference(whole), "");

    line.SetText(1, Margins("0", "1", "0", "1").c_str());
    EXPECT_EQ(line.Render().Difference(picture), "");
    EXPECT_EQ(line.Color({1, 2, 3, 4}), (Pixel{1, 2, 3, 4}));
}

TEST(RotCropFilter, TextsRoundTrip) {
    Line line(Picture(200, 100));
    line.Add(kRotCropId);
    const std::string text =
        "LeftMargin=0.1000, RightMargin=0.9000, BottomMargin=0.2000, TopMargin=0.8000, ShrinkAlpha=0, FixRatioOn=0, "
        "Mirrored=1, Angle=-0.1234,Rot1X=0.10000,Rot1Y=0.20000, Rot2X=0.30000, Rot2Y=1.00000";
    line.SetText(0, text.c_str());
    EXPECT_EQ(line.PendingText(0), text);
    line.Update();
    EXPECT_EQ(line.ActiveText(0), text);
    EXPECT_EQ(line.PendingText(0), text);
    // The fitted margins come back from the crop inside.
    line.SetText(0, "FixRatio=1.0");
    line.Update();
    EXPECT_EQ(line.PendingText(0),
              "LeftMargin=0.2500, RightMargin=0.7500, BottomMargin=0.0000, TopMargin=1.0000, ShrinkAlpha=0, "
              "FixRatioOn=1, FixRatio=1.0000, Landscape=0, Mirrored=0, Angle=0.0000,Rot1X=0.25000,Rot1Y=0.50000, "
              "Rot2X=0.75000, Rot2Y=0.50000");
    EXPECT_EQ(line.ActiveText(0), line.PendingText(0));
    line.Render();
    EXPECT_FALSE(line.Update());
}

}  // namespace
}  // namespace kestrel
