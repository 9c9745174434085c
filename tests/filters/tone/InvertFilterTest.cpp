#include <gtest/gtest.h>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

TEST(InvertFilter, MixesTheNegativeOverThePicture) {
    const Picture picture(1, 1, Pixel{10, 128, 255, 7});
    EXPECT_EQ(Apply("TMFilter.Invert.1", "Inversity=100", picture).At(0, 0), (Pixel{245, 127, 0, 7}));
    EXPECT_EQ(Apply("TMFilter.Invert.1", "Inversity=50", picture).At(0, 0), (Pixel{127, 127, 127, 7}));
    EXPECT_EQ(Apply("TMFilter.Invert.1", nullptr, picture).At(0, 0), (Pixel{10, 128, 255, 7}));
    EXPECT_EQ(Apply("TMFilter.Invert.1", "Inversity=25", picture).At(0, 0), (Pixel{68, 127, 191, 7}));
}

TEST(InvertFilter, TwiceIsTheIdentity) {
    const Picture picture = Picture::Random(13, 7, 1);
    Line line(picture);
    line.Add("TMFilter.Invert.1", "Inversity=100").Add("TMFilter.Invert.1", "Inversity=100");
    EXPECT_EQ(line.Render().Difference(picture), "");
    EXPECT_EQ(line.Color({1, 2, 3, 4}), (Pixel{1, 2, 3, 4}));
}

}  // namespace
}  // namespace kestrel
