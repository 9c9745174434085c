#include <gtest/gtest.h>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kScaleId = "TMFilter.Scale.1";
constexpr const char* kScale100Id = "TMFilter.Scale100.1";

std::string Box(int width, int height, int keep = 1, int enlarge = 0) {
    return "KeepProportions=" + std::to_string(keep) + ",AllowEnlarge=" + std::to_string(enlarge) +
           ",MaximumHorizontalSize=" + std::to_string(width) + ",MaximumVerticalSize=" + std::to_string(height);
}

std::string Percent(int x, int y, int keep = 1, int enlarge = 1) {
    return "HorizontalProz=" + std::to_string(x) + ",VerticalProz=" + std::to_string(y) +
           ",KeepProportions=" + std::to_string(keep) + ",AllowEnlarge=" + std::to_string(enlarge);
}

FilterGeometry GeometryOf(const char* filter, const std::string& text, FilterGeometry in) {
    Line line(Picture(1, 1));
    line.source->geometry = in;
    line.Add(filter, text.c_str());
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetViewSize(in.ViewWidth, in.ViewHeight);
    return line.Geometry();
}

TEST(ScaleFilter, FitsTheBox) {
    const struct {
        int inW, inH, viewW, viewH;
        std::string text;
        int outW, outH;
    } cases[] = {
        {200, 100, -1, -1, Box(100, 100), 100, 50},
        {100, 200, -1, -1, Box(100, 100), 50, 100},
        {200, 100, -1, -1, Box(100, 100, 0), 100, 100},
        {50, 40, -1, -1, Box(100, 100), 50, 40},  // no enlarging
        {50, 40, 50, 40, Box(100, 100), 50, 40},
        {50, 40, 1000, 800, Box(100, 100), 100, 80},  // a reduced rendering of a larger picture
        {50, 40, -1, -1, Box(100, 100, 1, 1), 100, 80},
        {50, 40, -1, -1, Box(100, 20, 0), 50, 20},   // one axis capped
        {333, 500, -1, -1, Box(100, 100), 67, 100},  // 66.6 + 0.5
        {1000, 3, -1, -1, Box(100, 100), 100, 1},    // 0.3 rounds to none
        {480, 640, -1, -1, Box(640, 480, 2), 480, 640},
        {640, 480, -1, -1, Box(640, 480, 2), 640, 480},
        {960, 1280, -1, -1, Box(640, 480, 2), 480, 640},
        {960, 1280, -1, -1, Box(640, 480, 1), 360, 480},
        {1280, 960, -1, -1, Box(480, 640, 2), 640, 480},
        {900, 900, -1, -1, Box(640, 480, 2), 480, 480},
    };
    for (const auto& c : cases) {
        const FilterGeometry out = GeometryOf(kScaleId, c.text, {c.inW, c.inH, c.inW, c.inH, 0, 0, c.viewW, c.viewH});
        EXPECT_EQ(out, (FilterGeometry{c.outW, c.outH, c.outW, c.outH, 0, 0, -1, -1}))
            << c.inW << " x " << c.inH << " " << c.text << ": " << out.Width << " x " << out.Height;
    }
}

TEST(ScaleFilter, TheOriginIsScaledToo) {
    const FilterGeometry out = GeometryOf(kScaleId, Box(50, 50), {100, 100, 100, 100, 31, -30, -1, -1});
    EXPECT_EQ(out.OffsetX, 15);  // -floor(-15.5 + 0.5)
    EXPECT_EQ(out.OffsetY, -15);
}

TEST(ScaleFilter, TextsRoundTrip) {
    Line line(Picture(300, 200));
    line.Add(kScaleId);
    EXPECT_EQ(line.PendingText(0),
              "KeepProportions=1, AllowEnlarge=0, MaximumHorizontalSize=100, "
              "MaximumVerticalSize=100, ExtraParam=|SCALE|");
    EXPECT_EQ(line.ActiveText(0),
              "KeepProportions=1, AllowEnlarge=0, MaximumHorizontalSize=-001, "
              "MaximumVerticalSize=-001, ExtraParam=|SCALE|");
    line.SetText(0, "KeepProportions=2,AllowEnlarge=1,MaximumHorizontalSize=60,MaximumVerticalSize=80,ScaleThrough=1");
    const std::string saved = line.PendingText(0);
    EXPECT_EQ(saved,
              "KeepProportions=2, AllowEnlarge=1, MaximumHorizontalSize=060, MaximumVerticalSize=080, "
              "ExtraParam=|SCALE|,ScaleThrough=1");
    line.SetText(0, "MaximumHorizontalSize=7");  // a missing size stays, a missing 2 and a missing flag do not
    EXPECT_EQ(line.PendingText(0),
              "KeepProportions=1, AllowEnlarge=1, MaximumHorizontalSize=007, "
              "MaximumVerticalSize=080, ExtraParam=|SCALE|");
    line.SetText(0, saved.c_str());
    EXPECT_EQ(line.PendingText(0), saved);
    line.Update();
    // The box was turned to the wide picture; the active form knows nothing of the way through.
    EXPECT_EQ(line.ActiveText(0),
              "KeepProportions=2, AllowEnlarge=1, MaximumHorizontalSize=080, "
              "MaximumVerticalSize=060, ExtraParam=|SCALE|");
    EXPECT_EQ(line.PendingText(0), saved);
    line.SetText(0, "KeepProportions=0");
    EXPECT_EQ(line.PendingText(0).substr(0, 17), "KeepProportions=0");
}

TEST(ScaleFilter, ATurnedBoxIsNoLastingChange) {
    Line line(Picture(20, 40));
    line.Add(kScaleId, Box(16, 8, 2).c_str());
    EXPECT_EQ(line.Render().Height(), 16);
    EXPECT_FALSE(line.Update());
    EXPECT_FALSE(line.Update());
}

TEST(ScaleFilter, EqualSizesPassWithoutACopy) {
    const Picture picture = Picture::Random(30, 20, 1);
    Line line(picture);
    line.Add(kScaleId, Box(100, 100).c_str());
    EXPECT_EQ(line.Render().Difference(picture), "");
    EXPECT_EQ(line.source->requests, 1);
    line.Render(3, 4, 5, 6);
    EXPECT_EQ(line.source->requests, 2);
    line.source->result = E_FAIL;
    Picture into(30, 20);
    EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 30, 20), 1);
}

TEST(ScaleFilter, OpaqueStaysOpaqueAndEdgesDoNotDarken) {
    for (const std::string& text : {Box(30, 30), Box(150, 150, 1, 1), Box(100, 30, 0, 1), Box(1, 1)}) {
        const Pixel fill{250, 128, 5, 0};
        const Picture result = Apply(kScaleId, text.c_str(), Picture(100, 77, fill));
        EXPECT_EQ(result.Difference(Picture(result.Width(), result.Height(), fill)), "") << text;
    }
}

TEST(ScaleFilter, ReducesAndSharpens) {
    // A step edge at half size. The average mixes a quarter of a pixel into each side of it, the sharpening takes back
    // as much, and far from the edge both leave the levels alone.
    const Picture step(40, 40, [](int x, int) { return x < 20 ? Pixel{60, 60, 60, 0} : Pixel{180, 180, 180, 0}; });
    const Picture result = Apply(kScaleId, Box(20, 20).c_str(), step);
    EXPECT_EQ(result.At(2, 10).red, 60);
    EXPECT_LT(result.At(9, 10).red, 66);
    EXPECT_GT(result.At(10, 10).red, 174);
    EXPECT_EQ(result.At(17, 10).red, 180);
    EXPECT_NEAR(result.At(9, 10).red + result.At(10, 10).red, 240, 1);
}

TEST(ScaleFilter, OneAxisAtFullSizeTakesTheCubic) {
    // The averaging would mix rows; the cubic at the same height leaves each row to itself.
    const Picture rows(30, 10, [](int, int y) {
        const auto byte = static_cast<std::uint8_t>(y % 2 ? 200 : 20);
        return Pixel{byte, byte, byte, 0};
    });
    EXPECT_EQ(Apply(kScaleId, Box(15, 10, 0).c_str(), rows).Difference(rows.Cut(0, 0, 15, 10)), "");
}

TEST(ScaleFilter, APictureTooNarrowToEnlargeGivesNothing) {
    EXPECT_EQ(Apply(kScaleId, Box(8, 8, 0, 1).c_str(), Picture(2, 4, Pixel{9, 9, 9, 0}))
                  .Difference(Picture(8, 8, Pixel{0, 0, 0, 255})),
              "");
}

TEST(ScaleFilter, ImpossibleSizesFail) {
    const struct {
        std::string filter, text;
    } cases[] = {{kScaleId, Box(0, 0)},
                 {kScaleId, Box(-5, 100)},
                 {kScaleId, Box(100, -2000000000, 0)},
                 {kScaleId, Box(2000000000, 2000000000, 0, 1)},
                 {kScaleId, Box(2000000000, 1, 0, 1)},
                 {kScaleId, Box(1, 2000000000, 0, 1)},
                 {kScaleId, Box(2000000000, 2000000000, 1, 1)},
                 {kScaleId, Box(1000000000, 1, 0, 1)},
                 {kScale100Id, Percent(0, 100)},
                 {kScale100Id, Percent(-50, -50)},
                 {kScale100Id, Percent(100, -2147483647, 0)},
                 {kScale100Id, Percent(2000000000, 2000000000)},
                 {kScale100Id, Percent(2147483647, 1, 0)}};
    for (const auto& c : cases) {
        Line line(Picture(40, 30, Pixel{1, 2, 3, 0}));
        line.Add(c.filter.c_str(), c.text.c_str());
        const FilterGeometry out = line.Geometry();
        EXPECT_GE(out.Width, 1) << c.text;
        EXPECT_GE(out.Height, 1) << c.text;
        Picture into(4, 4);
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0) << c.text;
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0) << c.text << ", asked again";
    }
}

TEST(ScaleFilter, EmptyAndHugeInputsFail) {
    for (const int size : {0, -7, 2000000000}) {
        for (const char* filter : {kScaleId, kScale100Id}) {
            Line line(Picture(1, 1));
            line.source->geometry = {size, size, size, size, 2000000000, -2000000000, -1, -1};
            line.Add(filter, filter == kScaleId ? Box(10, 10).c_str() : Percent(1, 1).c_str());
            line.Geometry();
            Picture into(1, 1);
            EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0) << size;
        }
    }
}

TEST(ScaleFilter, ExtremeProportionsEndSoon) {
    // Almost all taps of the low axis lie outside the picture.
    for (const std::uint8_t mask : {std::uint8_t{0}, std::uint8_t{9}}) {
        Line line(Picture(3000, 1, Pixel{10, 20, 30, mask}));
        line.Add(kScaleId, Box(1, 1).c_str());
        const Pixel p = line.Render().At(0, 0);
        EXPECT_EQ(p.blue, 10);
        EXPECT_EQ(p.red, 30);
    }
}

TEST(Scale100Filter, TakesPercents) {
    const struct {
        int inW, inH;
        std::string text;
        int outW, outH;
    } cases[] = {{100, 60, Percent(100, 100), 100, 60},   {100, 60, Percent(50, 200), 50, 30},
                 {100, 60, Percent(50, 200, 0), 50, 120}, {100, 60, Percent(150, 150, 1, 0), 100, 60},
                 {10, 10, Percent(1, 1), 1, 1},           {33, 33, Percent(50, 50), 17, 17},
                 {3, 5, Percent(150, 150), 5, 8}};  // 4.5 + 0.5, 7.5 + 0.5
    for (const auto& c : cases) {
        const FilterGeometry out = GeometryOf(kScale100Id, c.text, {c.inW, c.inH, c.inW, c.inH, 0, 0, -1, -1});
        EXPECT_EQ(out, (FilterGeometry{c.outW, c.outH, c.outW, c.outH, 0, 0, -1, -1})) << c.text;
    }
}

TEST(Scale100Filter, ReproducesThePictureAtFullSize) {
    Picture picture = Picture::Random(31, 17, 4);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 31; ++x)
            if (picture.At(x, y).mask == 255) picture.Set(x, y, Pixel{0, 0, 0, 255});
    Line line(picture);
    line.Add(kScale100Id, "HorizontalProz=100,VerticalProz=100,KeepProportions=1,AllowEnlarge=1");
    EXPECT_EQ(line.Render().Difference(picture), "");
    line.Render(1, 1, 2, 2);
    EXPECT_EQ(line.source->requests, 1);  // made once and kept, also at full size
}

TEST(Scale100Filter, ReducesLikeTheBox) {
    // The two differ in where they drop the low byte of opaque sums: by at most a unit before sharpening, and nowhere
    // where a mask counts.
    const Picture masked = Picture::Random(60, 60, 5);
    EXPECT_EQ(
        Apply(kScale100Id, Percent(20, 20).c_str(), masked).Difference(Apply(kScaleId, Box(12, 12).c_str(), masked)),
        "");
    const Picture opaque = Picture::Random(60, 60, 6, false);
    const Picture a = Apply(kScale100Id, Percent(20, 20).c_str(), opaque);
    const Picture b = Apply(kScaleId, Box(12, 12).c_str(), opaque);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x) EXPECT_NEAR(a.At(x, y).green, b.At(x, y).green, 2);
}

TEST(Scale100Filter, TextsRoundTrip) {
    Line line(Picture(4, 4));
    line.Add(kScale100Id);
    EXPECT_EQ(line.PendingText(0),
              "KeepProportions=1, AllowEnlarge=1, HorizontalProz=100, VerticalProz=100, ExtraParam=|SCALE100|");
    EXPECT_EQ(line.ActiveText(0),
              "KeepProportions=1, AllowEnlarge=1, HorizontalProz=-001, VerticalProz=-001, ExtraParam=|SCALE100|");
    line.SetText(0, "VerticalProz=7,AllowEnlarge=0");
    const std::string saved = line.PendingText(0);
    EXPECT_EQ(saved, "KeepProportions=1, AllowEnlarge=0, HorizontalProz=100, VerticalProz=007, ExtraParam=|SCALE100|");
    line.Update();
    EXPECT_EQ(line.ActiveText(0), saved);
    char small[101] = "kept";
    EXPECT_EQ(Ref<IFilterParameters>::Query(&line.Filter(0))->GetParameterText(small, 100), S_OK);
    EXPECT_STREQ(small, "kept");
}

TEST(Scale100Filter, AReductionIsSharpened) {
    const Picture step(40, 40, [](int x, int) {
        const auto grey = static_cast<std::uint8_t>(x < 20 ? 64 : 192);
        return Pixel{grey, grey, grey, 0};
    });
    for (const char* setting : {"TMFilter.Scale100.1 HorizontalProz=50,VerticalProz=50",
                                "TMFilter.Scale.1 MaximumHorizontalSize=20,MaximumVerticalSize=20"}) {
        const std::string text(setting);
        const std::size_t blank = text.find(' ');
        const Picture half = Apply(text.substr(0, blank).c_str(), text.substr(blank + 1).c_str(), step);
        ASSERT_EQ(half.Width(), 20);
        EXPECT_LT(half.At(9, 10).green, 64) << setting;  // both sides of the step overshoot
        EXPECT_GT(half.At(10, 10).green, 192) << setting;
        EXPECT_EQ(half.At(3, 10).green, 64) << setting;
    }
}

}  // namespace
}  // namespace kestrel
