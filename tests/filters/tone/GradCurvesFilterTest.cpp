// Curves: node texts, the two kinds of tables, the luminance mode, and texts that nobody would draw.
#include <gtest/gtest.h>

#include <cstring>

#include "kestrel/filters/tone/GradCurvesFilter.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kId = "TMFilter.GradCurves.1";

Pixel One(const std::string& text, Pixel in) { return Apply(kId, text.c_str(), Picture(1, 1, in)).At(0, 0); }

TEST(GradCurvesFilter, DefaultCurvesAreTheIdentity) {
    const Picture picture = Picture::Random(40, 9, 1);
    for (const char* text : {"FilterOn=1", "FilterOn=1,Linear=1", "", "nL=2,xL2=000,yL1=255,YIQOn=1,FilterOn=0"})
        EXPECT_EQ(Apply(kId, text, picture).Difference(picture), "") << text;
    // By the luminance the matrix and the integer grey may cost a little.
    const Picture yiq = Apply(kId, "FilterOn=1,YIQOn=1", picture);
    for (int x = 0; x < picture.Width(); ++x) {
        EXPECT_NEAR(yiq.At(x, 3).blue, picture.At(x, 3).blue, 3);
        EXPECT_NEAR(yiq.At(x, 3).green, picture.At(x, 3).green, 3);
        EXPECT_NEAR(yiq.At(x, 3).red, picture.At(x, 3).red, 3);
    }
}

TEST(GradCurvesFilter, TheMasterCurveComesBeforeTheChannels) {
    // Master inverts; red doubles up to 100; green is flat at 7; blue stays.
    const std::string curves = "Linear=1,FilterOn=1,yL1=255,yL2=0,nR=3,xR2=100,yR2=200,xR3=255,yR3=255,yG1=7,yG2=7";
    EXPECT_EQ(One(curves, {10, 50, 200, 9}), (Pixel{245, 7, 110, 9}));
    EXPECT_EQ(One(curves, {255, 0, 155, 0}), (Pixel{0, 7, 200, 0}));
    // In luminance mode the master is not seen by the channels: black turns white, then through red and green.
    EXPECT_EQ(One(curves + ",YIQOn=1", {255, 255, 255, 0}), (Pixel{0, 7, 0, 0}));
    EXPECT_EQ(One(curves + ",YIQOn=1", {0, 0, 0, 0}), (Pixel{255, 7, 255, 0}));
}

TEST(GradCurvesFilter, SplineAndSegmentsDifferBetweenNodes) {
    const std::string nodes = "nL=3,xL2=128,yL2=192,xL3=255,yL3=255,FilterOn=1";
    EXPECT_EQ(One(nodes, {64, 128, 255, 0}), (Pixel{108, 192, 255, 0}));
    EXPECT_EQ(One(nodes + ",Linear=1", {64, 128, 255, 0}), (Pixel{96, 192, 255, 0}));
}

TEST(GradCurvesFilter, TextHoldsCountsThenXThenYThenFlags) {
    Line line(Picture(1, 1));
    line.Add(kId);
    const std::string fresh = line.PendingText(0);
    EXPECT_EQ(fresh, CGradCurvesFilter::Parameters().defaultText);
    EXPECT_EQ(fresh.substr(0, 67), "nL=02, nR=02, nG=02, nB=02, xL1=000, xL2=255, xL3=255, xL4=255, xL5");
    EXPECT_NE(fresh.find("xL12=255, xR1=000, "), std::string::npos);
    EXPECT_NE(fresh.find("xB12=255, yL1=000, "), std::string::npos);
    EXPECT_EQ(fresh.substr(fresh.size() - 49), "yB11=255, yB12=255, Linear=0, YIQOn=0, FilterOn=0");
    EXPECT_EQ(line.ActiveText(0).substr(0, 28), "nL=03, nR=03, nG=03, nB=03, ");

    // The short form of an editor: only the nodes that exist. What is not named stays, what is too large is held.
    line.SetText(
        0, "nL=3, nR=2, nG=2, nB=2, xL1=5, xL2=300, xL3=250, yL1=-4, yL2=99, yL3=255, Linear=0,YIQOn=1,FilterOn=1,");
    const std::string text = line.PendingText(0);
    EXPECT_NE(text.find("nL=03, "), std::string::npos);
    EXPECT_NE(text.find("xL1=005, xL2=255, xL3=250, xL4=255, "), std::string::npos);
    EXPECT_NE(text.find("yL1=000, yL2=099, yL3=255, "), std::string::npos);
    EXPECT_NE(text.find("Linear=0, YIQOn=1, FilterOn=1"), std::string::npos);
    line.Update();
    EXPECT_EQ(line.ActiveText(0), text);

    char buffer[2000];
    std::memset(buffer, '#', sizeof buffer);
    const auto parameters = Ref<IFilterParameters>::Query(&line.Filter(0));
    EXPECT_EQ(parameters->GetParameterText(buffer, 1000), S_OK);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(parameters->GetParameterText(buffer, 1001), S_OK);
    EXPECT_EQ(buffer, text);
}

TEST(GradCurvesFilter, CurvesWithoutATableChangeNothing) {
    const Picture picture = Picture::Random(16, 5, 2);
    for (const char* text : {"nL=1,yL1=200,FilterOn=1", "nL=0,FilterOn=1", "nL=-1,FilterOn=1,Linear=1",
                             "nL=-2147483648,FilterOn=1", "nL=4,xL2=90,yL2=10,xL3=90,yL3=200,FilterOn=1",
                             "nL=13,FilterOn=1", "nL=99999999999,FilterOn=1", "nR=1,nG=-7,nB=0,FilterOn=1,Linear=1"})
        EXPECT_EQ(Apply(kId, text, picture).Difference(picture), "") << text;
}

TEST(GradCurvesFilter, MoreNodesThanSlotsMeanTheSlots) {
    std::string twelve = "FilterOn=1,nL=12";
    for (int i = 1; i <= 12; ++i) {
        twelve += ",xL" + std::to_string(i) + "=" + std::to_string((i - 1) * 20);
        twelve += ",yL" + std::to_string(i) + "=" + std::to_string(i * i);
    }
    const Picture ramp(256, 1, [](int x, int) { return Pixel{static_cast<std::uint8_t>(x), 0, 0, 0}; });
    const Picture expected = Apply(kId, twelve.c_str(), ramp);
    EXPECT_EQ(expected.At(20, 0).blue, 4);
    EXPECT_EQ(expected.At(255, 0).blue, 144);
    for (const char* count : {"nL=13", "nL=2147483647"}) {
        std::string more = twelve;
        more.replace(more.find("nL=12"), 5, count);
        EXPECT_EQ(Apply(kId, more.c_str(), ramp).Difference(expected), "") << count;
    }
}

}  // namespace
}  // namespace kestrel
