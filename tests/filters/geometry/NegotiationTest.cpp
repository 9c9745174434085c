// Sizes on their way through lines of geometry filters: what the host wants to see goes down, what the source has to
// deliver comes back up.
#include <gtest/gtest.h>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Line;
using test::Picture;

struct Size {
    int width, height;
    bool operator==(const Size&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Size& size) { return out << size.width << " x " << size.height; }

Ref<IFilterGeometry> Head(Line& line) { return Ref<IFilterGeometry>::Query(&line.Filter(0)); }

Size Required(Line& line, double aspect) {
    Size size{7, 7};
    EXPECT_EQ(Head(line)->GetRequiredSize(&size.width, &size.height, aspect), S_OK);
    return size;
}

Size ViewAtSink(Line& line) { return {line.sink->geometry.ViewWidth, line.sink->geometry.ViewHeight}; }

constexpr const char* kHalves = "LeftMargin=0.25,RightMargin=0.75,BottomMargin=0,TopMargin=1,FixRatioOn=0";

TEST(Negotiation, ASinkWithoutAWishLeavesTheSizeOpen) {
    for (const char* filter : {"TMFilter.Crop.1", "TMFilter.Rotate.1", "TMFilter.Scale100.1", "TMFilter.RotCrop.1",
                               "TMFilter.PrintCrop.1", "TMFilter.Offset.1", "TMFilter.PrintPad.1"}) {
        Line line(Picture(40, 20));
        line.Add(filter);
        line.Update();
        EXPECT_EQ(Required(line, 2), (Size{-1, -1})) << filter;
    }
}

TEST(Negotiation, CropAsksForMoreThanIsSeen) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Crop.1", kHalves);
    line.Update();
    line.sink->wantedWidth = 150;
    line.sink->wantedHeight = 150;
    EXPECT_EQ(Required(line, 2.0), (Size{300, 150}));
    EXPECT_DOUBLE_EQ(line.sink->aspect, 1.0);  // half the width is seen
    line.SetText(0, "ShrinkAlpha=1,FixRatioOn=0");
    line.Update();
    EXPECT_EQ(Required(line, 2.0), (Size{32767, 32767}));
    line.SetText(0, "LeftMargin=0.5,RightMargin=0.5,FixRatioOn=0");
    line.Update();
    EXPECT_EQ(Required(line, 2.0), (Size{150000, 150}));  // the least span is a thousandth
    line.sink->wantedHeight = 0;
    EXPECT_EQ(Required(line, 2.0), (Size{-1, -1}));
}

TEST(Negotiation, ScaleAsksForItsBox) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Scale.1", "KeepProportions=1,MaximumHorizontalSize=90,MaximumVerticalSize=60");
    EXPECT_EQ(Required(line, 2.0), (Size{-1, -1}));  // nothing is known before the first update
    line.Update();
    EXPECT_EQ(Required(line, 2.0), (Size{90, 45}));
    EXPECT_EQ(Required(line, 1.5), (Size{90, 60}));
    EXPECT_EQ(Required(line, 0.5), (Size{30, 60}));
    EXPECT_EQ(Required(line, 1e-9), (Size{1, 60}));
    EXPECT_EQ(Required(line, 0.0), (Size{90, 60}));
    line.SetText(0, "KeepProportions=0");
    line.Update();
    EXPECT_EQ(Required(line, 2.0), (Size{90, 60}));
}

TEST(Negotiation, PercentsAreUndone) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Scale100.1", "HorizontalProz=50,VerticalProz=200,KeepProportions=0");
    line.Update();
    line.sink->wantedWidth = 101;
    line.sink->wantedHeight = 1;
    EXPECT_EQ(Required(line, 2.0), (Size{202, 1}));
    line.sink->wantedWidth = 2000000000;
    EXPECT_EQ(Required(line, 2.0).width, 2147483647);
}

TEST(Negotiation, ATurnedBoxIsTurnedBack) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Rotate.1", "Angle=90");
    line.Update();
    line.sink->wantedWidth = 300;
    line.sink->wantedHeight = 600;
    EXPECT_EQ(Required(line, 2.0), (Size{600, 300}));
    EXPECT_DOUBLE_EQ(line.sink->aspect, 0.5);  // the sink is asked with what it sees
    line.SetText(0, "Angle=30");
    line.Update();
    // 2 : 1 turned by 30 degrees fills 2.232 : 1.866; 300 across are the tighter bound.
    EXPECT_EQ(Required(line, 2.0), (Size{269, 134}));
    EXPECT_NEAR(line.sink->aspect, 1.1962, 0.0001);
}

TEST(Negotiation, TheViewIsScaledAndCutOnItsWay) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Crop.1", kHalves)
        .Add("TMFilter.Scale.1", "KeepProportions=1,MaximumHorizontalSize=100,MaximumVerticalSize=100")
        .Add("TMFilter.Scale100.1", "HorizontalProz=50,VerticalProz=50");
    line.Update();
    EXPECT_EQ(ViewAtSink(line), (Size{-1, -1}));  // not said stays not said
    Head(line)->SetViewSize(800, 400);
    EXPECT_EQ(ViewAtSink(line), (Size{50, 50}));  // 400 × 400 cut, 100 × 100 scaled, half of it
    line.SetText(0, "FixRatioOn=0");              // new values are told as soon as they count
    line.Update();
    EXPECT_EQ(ViewAtSink(line), (Size{50, 25}));
}

TEST(Negotiation, WrappersPassEverythingThroughTheirInnerLine) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.RotCrop.1", (std::string(kHalves) + ",Angle=0").c_str())
        .Add("TMFilter.PrintScale.1", "PrintWidth=80,PrintHeight=80,PrintTurn=1");
    line.Update();
    EXPECT_EQ(line.sink->geometry.Width, 80);
    EXPECT_EQ(line.sink->geometry.Height, 80);
    Head(line)->SetViewSize(400, 200);
    EXPECT_EQ(ViewAtSink(line), (Size{80, 80}));
    // The box of the scale behind, for the half that is seen.
    EXPECT_EQ(Required(line, 2.0), (Size{160, 80}));
    Size mapped{0, 0};
    line.Filter(0).MapSize(60, 60, &mapped.width, &mapped.height);
    EXPECT_EQ(mapped, (Size{120, 60}));
}

TEST(Negotiation, AScaleEndsTheRenderScaleUnlessItIsLetThrough) {
    Line line(Picture(40, 20));
    line.Add("TMFilter.Crop.1").Add("TMFilter.RotCrop.1").Add("TMFilter.Scale.1");
    Head(line)->SetRenderScale(0.25);
    EXPECT_DOUBLE_EQ(line.sink->renderScale, 1.0);
    line.SetText(2, "ScaleThrough=1");
    Head(line)->SetRenderScale(0.25);
    EXPECT_DOUBLE_EQ(line.sink->renderScale, 0.25);
    line.SetText(2, "KeepProportions=1");
    Head(line)->SetRenderScale(0.25);
    EXPECT_DOUBLE_EQ(line.sink->renderScale, 1.0);

    Line inner(Picture(40, 20));
    inner.Add("TMFilter.PrintScale.1");
    Head(inner)->SetRenderScale(0.25);
    EXPECT_DOUBLE_EQ(inner.sink->renderScale, 1.0);
}

TEST(Negotiation, GeometryTravelsThroughALineOfAll) {
    Line line(Picture(400, 200));
    line.Add("TMFilter.Crop.1", kHalves)                                                    // 200 × 200
        .Add("TMFilter.Rotate.1", "Angle=90")                                               // 200 × 200
        .Add("TMFilter.Offset.1", "OffsetX=-10,OffsetY=4")                                  // origin 10, -4
        .Add("TMFilter.Scale100.1", "HorizontalProz=50,VerticalProz=25,KeepProportions=0")  // 100 × 50, origin 5, -1
        .Add("TMFilter.PrintPad.1", "AspectRatioX=3,AspectRatioY=1,ForceRatio=1");          // 150 × 50
    EXPECT_EQ(line.Geometry(), (FilterGeometry{150, 50, 150, 50, 5, -1, -1, -1}));
    EXPECT_EQ(line.sink->geometry.OffsetX, 5);
    const Picture whole = line.Render();
    EXPECT_EQ(line.Render(10, 10, 30, 20).Difference(whole.Cut(10, 10, 30, 20)), "");
}

}  // namespace
}  // namespace kestrel
