#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/passes/RoundCorners.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kPasspartout = "TMFilter.Passpartout.1";
constexpr Pixel kBoard{10, 20, 30, 0};
const std::string kColours = ",Red=30,Green=20,Blue=10";

Picture Board(const std::string& text, const Picture& picture) {
    return Apply(kPasspartout, (text + ",Radius=0" + kColours).c_str(), picture);
}

/// How many pixels of the picture are those of the board.
int CountBoard(const Picture& picture) {
    int count = 0;
    for (int y = 0; y < picture.Height(); ++y)
        for (int x = 0; x < picture.Width(); ++x) count += picture.At(x, y) == kBoard;
    return count;
}

// Geometry ------------------------------------------------------------------------------------------------------------

TEST(Passpartout, ABorderGoesAroundThePicture) {
    const Picture picture = Picture::Random(9, 5, 1, false);
    const Picture result = Board("Borderhori=3,Borderverti=2", picture);
    ASSERT_EQ(result.Width(), 15);
    ASSERT_EQ(result.Height(), 9);
    EXPECT_EQ(result.Cut(3, 2, 9, 5).Difference(picture), "");
    EXPECT_EQ(CountBoard(result), 15 * 9 - 9 * 5);
}

TEST(Passpartout, ABorderOfNothingShowsNoBoard) {
    const Picture picture = Picture::Random(9, 5, 1, false);
    EXPECT_EQ(Board("Borderhori=0,Borderverti=0", picture).Difference(picture), "");
}

TEST(Passpartout, ATotalSizeNeverCutsThePicture) {
    const Picture picture = Picture::Random(20, 6, 2, false);
    const Picture result = Board("BordersizeOn=0,TotalHori=10,TotalVerti=11", picture);
    ASSERT_EQ(result.Width(), 20);
    ASSERT_EQ(result.Height(), 11);
    EXPECT_EQ(result.Cut(0, 2, 20, 6).Difference(picture), "");  // five rows more: two below, three above
    EXPECT_EQ(CountBoard(result), 20 * 5);
}

TEST(Passpartout, ThePictureMovesOnTheBoard) {
    const Picture picture = Picture::Random(8, 8, 3, false);
    const Picture border = Board("Borderhori=4,Borderverti=4,Poscorhori=-2,Poscorverti=3", picture);
    EXPECT_EQ(border.Cut(2, 7, 8, 8).Difference(picture), "");
    EXPECT_EQ(CountBoard(border), 16 * 16 - 8 * 8);
    const Picture total = Board("BordersizeOn=0,TotalHori=20,TotalVerti=20,Poscorhori=5,Poscorverti=-6", picture);
    EXPECT_EQ(total.Cut(11, 0, 8, 8).Difference(picture), "");
    const Picture cut = Board("BordersizeOn=0,TotalHori=20,TotalVerti=20,Poscorhori=-9,Poscorverti=8", picture);
    EXPECT_EQ(cut.Cut(0, 14, 5, 6).Difference(picture.Cut(3, 0, 5, 6)), "");
    EXPECT_EQ(CountBoard(cut), 20 * 20 - 5 * 6);
}

TEST(Passpartout, AFrameThatIsLargerThanItsContentCountsAsThePicture) {
    Line line(Picture(10, 10, Pixel{1, 2, 3, 0}));
    line.source->geometry.FullWidth = 14;
    line.source->geometry.FullHeight = 8;
    line.source->geometry.OffsetX = 3;
    line.Add(kPasspartout, "Borderhori=2,Borderverti=0");
    const FilterGeometry g = line.Geometry();
    EXPECT_EQ(g.Width, 18);
    EXPECT_EQ(g.Height, 10);
    EXPECT_EQ(g.FullWidth, 18);
    EXPECT_EQ(g.OffsetX, 0);
}

TEST(Passpartout, LengthsFollowTheRenderScale) {
    Line line(Picture(10, 10, Pixel{}));
    line.Add(kPasspartout, "Borderhori=5,Borderverti=-5,Radius=7,Poscorhori=-3");
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(0.5);
    EXPECT_EQ(line.Geometry().Width, 16);  // 2.5 rounds to 3
    EXPECT_FALSE(line.Filter(0).HasChanged());
    // 3, -3, 75, 75, 4, -2 back at full scale
    EXPECT_EQ(line.ActiveText(0),
              "BordersizeOn=1, Borderhori=006, Borderverti=-006, TotalHori=0150, TotalVerti=0150, Radius=008, Blue=105 "
              ", Green=000, Red=000, Poscorhori=-004, Poscorverti=000, Transparency=000");
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(2.0);
    EXPECT_TRUE(line.Filter(0).HasChanged());
    EXPECT_EQ(line.Geometry().Width, 30);
}

TEST(Passpartout, LengthsInUseAreHeldAndTheLogTellsIt) {
    static std::vector<std::string> lines;
    lines.clear();
    SetLogSink([](int, const char*, int, const std::string& text) { lines.push_back(text); });
    Line line(Picture(100, 100, Pixel{}));
    line.Add(kPasspartout, "Borderhori=2000000000,Borderverti=-51,TotalHori=2000000000");
    EXPECT_EQ(line.Geometry().Width, 2100);
    EXPECT_EQ(line.Geometry().Height, 100);
    SetLogSink(nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>{"m_nBorderHori clipped to max\n", "m_nBorderVerti clipped to min\n",
                                               "CPasspartoutFilter---PARMS CLIPPED\n"}));
    EXPECT_FALSE(line.Filter(0).HasChanged());
    line.SetText(0, "BordersizeOn=0,TotalVerti=0");
    EXPECT_EQ(line.Geometry().Width, 10000);
    EXPECT_EQ(line.Geometry().Height, 100);
}

// Painting ------------------------------------------------------------------------------------------------------------

TEST(Passpartout, ANegativeBorderTintsTheEdgeOfThePicture) {
    const Picture picture(30, 20, Pixel{100, 100, 100, 0});
    const Picture result = Board("Borderhori=-4,Borderverti=-3,Transparency=50", picture);
    ASSERT_EQ(result.Width(), 30);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x) {
            const bool inner = x >= 4 && x < 26 && y >= 3 && y < 17;
            EXPECT_EQ(result.At(x, y), inner ? (Pixel{100, 100, 100, 0}) : (Pixel{55, 60, 65, 0})) << x << " " << y;
        }
    // Without transparency the board simply covers the edge.
    EXPECT_EQ(CountBoard(Board("Borderhori=-4,Borderverti=-3", picture)), 30 * 20 - 22 * 14);
}

TEST(Passpartout, ABandOverThePictureHasBoardAtItsSides) {
    const Picture picture(10, 20, Pixel{100, 100, 100, 0});
    const Picture result = Board("Borderhori=5,Borderverti=-3,Transparency=20", picture);
    ASSERT_EQ(result.Width(), 20);
    ASSERT_EQ(result.Height(), 20);
    const Pixel board{10, 20, 30, 51};
    for (const int y : {0, 2, 17, 19}) {
        EXPECT_EQ(result.At(4, y), board);
        EXPECT_EQ(result.At(5, y), (Pixel{28, 36, 44, 0})) << y;
        EXPECT_EQ(result.At(14, y), (Pixel{28, 36, 44, 0}));
        EXPECT_EQ(result.At(15, y), board);
    }
    EXPECT_EQ(result.At(4, 3), board);
    EXPECT_EQ(result.At(5, 3), (Pixel{100, 100, 100, 0}));
}

TEST(Passpartout, BordersThatMeetTintEachPixelOnce) {
    const Picture picture(30, 10, Pixel{100, 100, 100, 0});
    const Picture result = Board("Borderhori=-20,Borderverti=-8,Transparency=50", picture);
    EXPECT_EQ(result.Difference(Picture(30, 10, Pixel{55, 60, 65, 0})), "");
}

TEST(Passpartout, TheBoardShowsThroughTransparentPixels) {
    Picture picture(3, 1, Pixel{100, 100, 100, 0});
    picture.Set(1, 0, {100, 100, 100, 255});
    picture.Set(2, 0, {100, 100, 100, 51});
    const Picture result = Board("Borderhori=1,Borderverti=0", picture);
    EXPECT_EQ(result.At(1, 0), (Pixel{100, 100, 100, 0}));
    EXPECT_EQ(result.At(2, 0), kBoard);
    EXPECT_EQ(result.At(3, 0), (Pixel{82, 84, 86, 0}));
    const Picture clear = Board("Borderhori=1,Borderverti=0,Transparency=100", picture);
    EXPECT_EQ(clear.At(0, 0), (Pixel{10, 20, 30, 255}));
    EXPECT_EQ(clear.At(3, 0), (Pixel{100, 100, 100, 51}));
}

TEST(Passpartout, ColoursLieOnTheBoardAsPixelsDo) {
    Line line(Picture(1, 1, Pixel{}));
    line.Add(kPasspartout, ("Transparency=0" + kColours).c_str());
    line.Update();
    EXPECT_EQ(line.Color({100, 100, 100, 0}), (Pixel{100, 100, 100, 0}));
    EXPECT_EQ(line.Color({100, 100, 100, 255}), kBoard);
    EXPECT_EQ(line.Color({100, 100, 100, 51}), (Pixel{82, 84, 86, 0}));
}

TEST(Passpartout, RoundsTheBoard) {
    const Picture picture(30, 20, Pixel{1, 2, 3, 0});
    const Picture result = Apply(kPasspartout, "Borderhori=5,Borderverti=5,Radius=8", picture);
    Picture mask(40, 30, Pixel{});
    passes::RoundCorners({mask.Rows(), mask.MaskRows(), 40, 30}, 8);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) EXPECT_EQ(result.At(x, y).mask, mask.At(x, y).mask) << x << " " << y;
}

}  // namespace
}  // namespace kestrel
