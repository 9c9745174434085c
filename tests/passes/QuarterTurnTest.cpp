#include "kestrel/passes/QuarterTurn.h"

#include <gtest/gtest.h>

#include "kestrel/foundation/HelperThreads.h"
#include "tests/support/Picture.h"

namespace kestrel::passes {
namespace {
using test::Picture;
using test::Pixel;

Planes All(Picture& picture) { return {picture.Rows(), picture.MaskRows(), picture.Width(), picture.Height()}; }

Picture Turned(Picture source, int turns, bool mirror) {
    const bool odd = turns % 2 != 0;
    Picture target(odd ? source.Height() : source.Width(), odd ? source.Width() : source.Height());
    EXPECT_TRUE(TurnQuarter(All(source), All(target), turns, mirror, 0, 0, false));
    EXPECT_TRUE(target.GuardsIntact());
    return target;
}

TEST(TurnQuarter, TurnsCounterclockwise) {
    // Two pixels side by side, 1 left and 2 right, row 0 being the bottom row.
    Picture pair(2, 1);
    pair.Set(0, 0, Pixel{1, 1, 1, 10});
    pair.Set(1, 0, Pixel{2, 2, 2, 20});
    const struct {
        int turns;
        bool mirror;
        int firstX, firstY;  ///< where pixel 1 comes to
    } cases[] = {{0, false, 0, 0}, {1, false, 0, 0}, {2, false, 1, 0}, {3, false, 0, 1},
                 {0, true, 1, 0},  {1, true, 0, 1},  {2, true, 0, 0},  {3, true, 0, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(Turned(pair, c.turns, c.mirror).At(c.firstX, c.firstY), (Pixel{1, 1, 1, 10}))
            << c.turns << (c.mirror ? " mirrored" : "");
}

TEST(TurnQuarter, MovesEveryPixelOnce) {
    const Picture picture = Picture::Random(7, 4, 1);
    EXPECT_EQ(Turned(picture, 0, false).Difference(picture), "");
    EXPECT_EQ(Turned(Turned(picture, 1, false), 3, false).Difference(picture), "");
    EXPECT_EQ(Turned(Turned(picture, 2, false), 2, false).Difference(picture), "");
    EXPECT_EQ(Turned(Turned(picture, 0, true), 0, true).Difference(picture), "");
    EXPECT_EQ(Turned(Turned(picture, 1, false), 1, false).Difference(Turned(picture, 2, false)), "");
    // The flip comes before the turn.
    EXPECT_EQ(Turned(picture, 1, true).Difference(Turned(Turned(picture, 0, true), 1, false)), "");
}

/// Sizes around those of blocks and tiles, beyond one of each, over the whole target and over a part of it.
TEST(TurnQuarter, PutsEveryPixelWhereItBelongs) {
    for (const auto& [width, height] : {std::pair(1, 1), {16, 64}, {17, 15}, {67, 130}, {200, 33}})
        for (int turns = 0; turns < 4; ++turns)
            for (const int variant : {0, 1, 2, 3}) {
                const bool mirror = variant % 2 != 0;
                const HelperThreads help(variant < 2 ? 1 : 3);
                Picture source = Picture::Random(width, height, 3);
                const bool odd = turns % 2 != 0;
                const int turnedWidth = odd ? height : width, turnedHeight = odd ? width : height;
                Picture want(turnedWidth + 5, turnedHeight + 2), target = want;
                for (int y = 0; y < turnedHeight; ++y)
                    for (int x = 0; x < turnedWidth; ++x) {
                        // the place in the flipped picture that is turned to (x, y)
                        const int across = turns == 0 ? x : turns == 1 ? y : turns == 2 ? width - 1 - x : width - 1 - y;
                        const int up = turns == 0 ? y : turns == 1 ? height - 1 - x : turns == 2 ? height - 1 - y : x;
                        want.Set(x + 5, y + 1, source.At(mirror ? width - 1 - across : across, up));
                    }
                ASSERT_TRUE(TurnQuarter(All(source), All(target), turns, mirror, 5, 1, false));
                EXPECT_EQ(target.Difference(want), "") << width << " x " << height << ", " << turns << mirror;
                EXPECT_TRUE(target.GuardsIntact());
            }
}

TEST(TurnQuarter, EndsAtAnAbort) {
    const Picture before = Picture::Random(8, 8, 2);
    for (int turns = 0; turns < 4; ++turns) {
        Picture source = before, target = before;
        EXPECT_FALSE(TurnQuarter(All(source), All(target), turns, false, 0, 0, true));
        EXPECT_EQ(target.Difference(before), "");
    }
}

}  // namespace
}  // namespace kestrel::passes
