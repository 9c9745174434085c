#include <gtest/gtest.h>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Bounds;
using test::Changed;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kGlass = "TMFilter.Rauchglas.1";

TEST(Rauchglas, ThePaneLiesWhereItsPercentagesSay) {
    const Picture picture(100, 60, Pixel{50, 50, 50, 0});
    struct Case {
        const char* text;
        Bounds pane;
    };
    const Case cases[] = {
        {"Borderhori=50,Borderverti=50", {25, 15, 50, 30}},
        {"Borderhori=50,Borderverti=50,Poscorhori=-100,Poscorverti=-100", {0, 0, 50, 30}},
        {"Borderhori=50,Borderverti=50,Poscorhori=100,Poscorverti=50", {50, 22, 50, 30}},
        {"Borderhori=33,Borderverti=10,Poscorhori=10", {36, 27, 33, 6}},
        {"Borderhori=100,Borderverti=100", {0, 0, 100, 60}},
        {"Borderhori=300,Borderverti=50", {0, 15, 100, 30}},  // wider than the picture
        {"Borderhori=50,Borderverti=50,Poscorhori=200", {75, 15, 25, 30}},
        {"Borderhori=50,Borderverti=50,Poscorhori=-250", {0, 15, 13, 30}},
        {"Borderhori=50,Borderverti=50,Poscorhori=400", {}},  // beyond the edge
        {"Borderhori=0,Borderverti=50", {}},
        {"Borderhori=-20,Borderverti=50", {}},
    };
    for (const Case& c : cases) {
        const Picture result = Apply(kGlass, (std::string(c.text) + ",Radius=0").c_str(), picture);
        EXPECT_EQ(Changed(picture, result), c.pane) << c.text;
    }
}

TEST(Rauchglas, TintsByHandComputedBytes) {
    const Picture picture(3, 3, Pixel{200, 100, 7, 40});
    const auto centre = [&](const char* text) {
        return Apply(kGlass, (std::string("Borderhori=100,Borderverti=100,Radius=0,") + text).c_str(), picture)
            .At(1, 1);
    };
    EXPECT_EQ(centre("Transparency=0"), (Pixel{180, 180, 180, 40}));
    // alpha 102: 200*102/255 = 80, 180*153/255 = 108
    EXPECT_EQ(centre("Transparency=40"), (Pixel{188, 148, 110, 40}));
    EXPECT_EQ(centre("Transparency=40,Red=255,Green=0,Blue=1"), (Pixel{80, 40, 155, 40}));
    EXPECT_EQ(centre("Transparency=100"), (Pixel{200, 100, 7, 40}));
}

TEST(Rauchglas, BlursOnlyUnderThePane) {
    const Picture picture = Picture::Random(40, 30, 3, false);
    const char* pane = "Borderhori=50,Borderverti=50,Transparency=100";
    const Picture result = Apply(kGlass, (std::string(pane) + ",Radius=100").c_str(), picture);
    EXPECT_EQ(Changed(picture, result), (Bounds{10, 7, 20, 15}));
    // The blur of the whole picture, cut out.
    const Picture blurred = Apply("TMFilter.Blur.1", "Blurness=100", picture);
    EXPECT_EQ(result.Cut(10, 7, 20, 15).Difference(blurred.Cut(10, 7, 20, 15)), "");
    EXPECT_EQ(Apply(kGlass, (std::string(pane) + ",Radius=0").c_str(), picture).Difference(picture), "");
    EXPECT_EQ(Apply(kGlass, (std::string(pane) + ",Radius=400").c_str(), picture).Difference(result), "");
}

TEST(Rauchglas, APaneOfTwoByTwoIsNotBlurred) {
    const Picture picture = Picture::Random(4, 4, 4, false);
    const char* text = "Borderhori=50,Borderverti=50,Transparency=100,Radius=100";
    EXPECT_EQ(Apply(kGlass, text, picture).Difference(picture), "");
}

TEST(Rauchglas, APaneThatIsNarrowOneWayOnlyIsBlurred) {
    const Picture picture = Picture::Random(10, 10, 3, false);
    for (const char* text : {"Borderhori=20,Borderverti=60", "Borderhori=60,Borderverti=20"})
        EXPECT_NE(
            Apply(kGlass, (std::string(text) + ",Radius=100,Transparency=100").c_str(), picture).Difference(picture),
            "")
            << text;
}

TEST(Rauchglas, TheBlurFollowsTheRenderScaleOnce) {
    const Picture picture = Picture::Random(12, 12, 5, false);
    Line line(picture);
    line.Add(kGlass, "Borderhori=100,Borderverti=100,Transparency=100,Radius=60");
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(0.5);
    const Picture blurred = Apply("TMFilter.Blur.1", "Blurness=30", picture);
    EXPECT_EQ(line.Render().Difference(blurred), "");
}

TEST(Rauchglas, ThePaneIsLaidOutInEachRequest) {
    const Picture picture = Picture::Random(40, 20, 6, false);
    Line line(picture);
    line.Add(kGlass, "Borderhori=50,Borderverti=50,Transparency=30,Radius=50");
    line.Render();
    const Picture part = line.Render(20, 10, 20, 10);
    EXPECT_EQ(Changed(picture.Cut(20, 10, 20, 10), part), (Bounds{5, 2, 10, 5}));
    // Placed elsewhere in the caller's rows, the window is the same and nothing else is touched.
    Picture into(50, 40, Pixel{1, 1, 1, 1});
    ASSERT_EQ(line.Request(into, 7, 9, 20, 10, 20, 10), S_OK);
    EXPECT_EQ(into.Cut(7, 9, 20, 10).Difference(part), "");
    EXPECT_EQ(Changed(Picture(50, 40, Pixel{1, 1, 1, 1}), into), (Bounds{7, 9, 20, 10}));
}

TEST(Rauchglas, TheTextNamesTheSizeOfThePicture) {
    Line line(Picture(33, 1200, Pixel{}));
    line.source->geometry.FullWidth = 77;
    line.Add(kGlass);
    EXPECT_EQ(
        line.PendingText(0),
        "BordersizeOn=1, Borderhori=075, Borderverti=075, TotalHori=0150, TotalVerti=0150, Radius=005, Blue=180 , "
        "Green=180, Red=180, Poscorhori=000, Poscorverti=000, Transparency=000, SrcWidth=0000, SrcHeight=0000");
    line.Update();
    EXPECT_NE(line.ActiveText(0).find(", SrcWidth=0077, SrcHeight=1200"), std::string::npos);
    EXPECT_EQ(line.ActiveText(0), line.PendingText(0));
}

}  // namespace
}  // namespace kestrel
