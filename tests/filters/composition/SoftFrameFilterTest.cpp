#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kSoftFrame = "TMFilter.SoftFrame.1";

std::vector<int> MaskRow(const Picture& picture, int y) {
    std::vector<int> masks;
    for (int x = 0; x < picture.Width(); ++x) masks.push_back(picture.At(x, y).mask);
    return masks;
}

std::vector<int> MaskColumn(const Picture& picture, int x) {
    std::vector<int> masks;
    for (int y = 0; y < picture.Height(); ++y) masks.push_back(picture.At(x, y).mask);
    return masks;
}

const std::string kNoEdge = ",Oben=0,Unten=0,Rechts=0,Links=0";

std::string OneEdge(const char* edge, const char* width) {
    return std::string(edge) + "=1,FrameWidth=" + width + kNoEdge;  // of two pieces with one key the first counts
}

// A width of 4 fades by 750, 500, 250, 0 thousandths of 255: 191, 127, 63, 0.
TEST(SoftFrame, EachEdgeFadesByHandComputedBytes) {
    const Picture picture(7, 6, Pixel{9, 8, 7, 0});
    using Masks = std::vector<int>;
    EXPECT_EQ(MaskRow(Apply(kSoftFrame, OneEdge("Links", "4").c_str(), picture), 3), (Masks{191, 127, 63, 0, 0, 0, 0}));
    EXPECT_EQ(MaskRow(Apply(kSoftFrame, OneEdge("Rechts", "4").c_str(), picture), 3),
              (Masks{0, 0, 0, 0, 63, 127, 191}));
    EXPECT_EQ(MaskColumn(Apply(kSoftFrame, OneEdge("Unten", "4").c_str(), picture), 3), (Masks{191, 127, 63, 0, 0, 0}));
    EXPECT_EQ(MaskColumn(Apply(kSoftFrame, OneEdge("Oben", "4").c_str(), picture), 3), (Masks{0, 0, 0, 63, 127, 191}));
    EXPECT_EQ(Apply(kSoftFrame, "FrameWidth=4", picture).At(0, 0).blue, 9);
}

TEST(SoftFrame, RoundedCornersMultiplyAndMitredOnesTakeTheNearerEdge) {
    const Picture picture(20, 20, Pixel{1, 2, 3, 0});
    const Picture soft = Apply(kSoftFrame, "FrameWidth=4,SoftCorner=1", picture);
    const Picture mitred = Apply(kSoftFrame, "FrameWidth=4,SoftCorner=0", picture);
    EXPECT_EQ(mitred.At(0, 10).mask, 191);
    EXPECT_EQ(mitred.At(0, 0).mask, 191);
    EXPECT_EQ(mitred.At(1, 2).mask, 127);
    EXPECT_EQ(mitred.At(18, 17).mask, 127);
    EXPECT_EQ(soft.At(0, 10).mask, 191);
    EXPECT_EQ(soft.At(0, 0).mask, 239);  // (750*255 + 250*191) / 1000
    EXPECT_EQ(soft.At(1, 2).mask, 159);  // 127, then (250*255 + 750*127) / 1000
}

TEST(SoftFrame, FadesWhatIsThereAlready) {
    const Picture nothing(5, 1, Pixel{1, 2, 3, 255});
    // 255 in thirds: 666*255 + 333*255 = 254745 loses a unit
    EXPECT_EQ(MaskRow(Apply(kSoftFrame, OneEdge("Links", "3").c_str(), nothing), 0),
              (std::vector<int>{254, 254, 255, 255, 255}));
    const Picture half(2, 1, Pixel{1, 2, 3, 100});
    EXPECT_EQ(MaskRow(Apply(kSoftFrame, OneEdge("Links", "2").c_str(), half), 0), (std::vector<int>{177, 100}));
}

TEST(SoftFrame, WidthsInPercentAreOfHalfTheLongerSide) {
    const Picture picture(200, 100, Pixel{});
    const auto faded = [&](const char* text) {
        const Picture result = Apply(kSoftFrame, (text + (",Links=1" + kNoEdge)).c_str(), picture);
        int columns = 0;
        while (columns < 200 && result.At(columns, 50).mask != 0) ++columns;
        return columns;
    };
    // The last column of a fade keeps its mask.
    EXPECT_EQ(faded("FrameWidth=100,CalcPix=0,Ver=2"), 99);
    EXPECT_EQ(faded("FrameWidth=33,CalcPix=0,Ver=2"), 32);
    EXPECT_EQ(faded("FrameWidth=50,CalcPix=1,Ver=2"), 49);
    EXPECT_EQ(faded("FrameWidth=50,CalcPix=0"), 49);  // old texts count in pixels
}

TEST(SoftFrame, HalfAnOddSideIsCutBeforeThePercentIsTaken) {
    const Picture picture(15, 9, Pixel{1, 2, 3, 0});
    const std::string left = "Links=1,CalcPix=0,Ver=1" + kNoEdge;
    // 27 percent of 7 is 1, a fade that shows everything; of 7.5 it would be 2.
    EXPECT_EQ(Apply(kSoftFrame, (left + ",FrameWidth=27").c_str(), picture).Difference(picture), "");
    EXPECT_EQ(Apply(kSoftFrame, (left + ",FrameWidth=29").c_str(), picture).At(0, 0).mask, 127);
}

TEST(SoftFrame, EdgesThatDoNotFadeAreAThousandPixelsAway) {
    const Picture picture(3, 2, Pixel{});
    EXPECT_EQ(Apply(kSoftFrame, ("FrameWidth=1000" + kNoEdge).c_str(), picture).Difference(picture), "");
    // 2000 wide: 1001 of 2000 remain, (499 * 255) / 1000, once across and once along the rows
    const Picture across = Apply(kSoftFrame, ("FrameWidth=2000,SoftCorner=0" + kNoEdge).c_str(), picture);
    const Picture both = Apply(kSoftFrame, ("FrameWidth=2000" + kNoEdge).c_str(), picture);
    EXPECT_EQ(across.At(1, 1).mask, 127);
    EXPECT_EQ(both.At(1, 1).mask, 190);
}

TEST(SoftFrame, AMiddleTileIsNotTouched) {
    const Picture picture = Picture::Random(40, 40, 6);
    Line line(picture);
    line.Add(kSoftFrame, "FrameWidth=10");
    EXPECT_EQ(line.Render(12, 12, 16, 16).Difference(picture.Cut(12, 12, 16, 16)), "");
}

TEST(SoftFrame, VersionCountsAtOnceAndStandsInBothTexts) {
    Line line(Picture(4, 4, Pixel{}));
    line.Add(kSoftFrame, "FrameWidth=7,Links=0");
    line.Update();
    EXPECT_EQ(line.ActiveText(0), "FrameWidth=007, SoftCorner=1, Oben=1, Unten=1, Rechts=1, Links=0, CalcPix=1, Ver=0");
    line.Render();
    line.SetText(0, "Ver=2");
    EXPECT_EQ(line.ActiveText(0), line.PendingText(0));
    EXPECT_FALSE(line.Filter(0).HasChanged());
    line.SetText(0, "FrameWidth=-5");
    EXPECT_TRUE(line.Filter(0).HasChanged());
    EXPECT_EQ(line.PendingText(0),
              "FrameWidth=-005, SoftCorner=1, Oben=1, Unten=1, Rechts=1, Links=0, CalcPix=1, Ver=2");
}

}  // namespace
}  // namespace kestrel
