#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kRotateId = "TMFilter.Rotate.1";

FilterGeometry GeometryOf(const std::string& text, FilterGeometry in) {
    Line line(Picture(1, 1));
    line.source->geometry = in;
    line.Add(kRotateId, text.c_str());
    return line.Geometry();
}

TEST(RotateFilter, SizesOfTheTurnedBox) {
    // cos and sin of 7 degrees: 0.992546, 0.121869; of 30: 0.866025, 0.5; of 45: 0.707107.
    const struct {
        const char* angle;
        int inW, inH, outW, outH, fullW, fullH;
    } cases[] = {
        {"0.000", 101, 57, 101, 57, 101, 57},
        {"90.000", 101, 57, 57, 101, 57, 101},
        {"180.000", 101, 57, 101, 57, 101, 57},
        {"270.000", 101, 57, 57, 101, 57, 101},
        {"360.000", 101, 57, 101, 57, 101, 57},
        {"450", 101, 57, 57, 101, 57, 101},
        {"7", 100, 50, 108, 68, 106, 62},  // 105.35 and 61.81 rounded up
        {"-7", 100, 50, 108, 68, 106, 62},
        {"97", 100, 50, 64, 112, 62, 106},  // a quarter turn first
        {"187", 100, 50, 108, 68, 106, 62},
        {"277", 100, 50, 64, 112, 62, 106},
        {"30.000", 40, 30, 52, 52, 50, 46},  // 49.64 and 45.98
        {"30.004", 40, 30, 52, 52, 50, 46},
        {"45", 40, 30, 52, 56, 50, 50},  // 49.497
        {"-45", 40, 30, 52, 56, 50, 50},
        {"44.99", 40, 30, 52, 56, 50, 50},
        {"0.01", 100, 50, 103, 57, 101, 51},  // 100.009 and 50.017
        {"0.004", 100, 50, 100, 50, 100, 50},
        {"-90", 100, 50, 53, 107, 51, 101},   // becomes -89.99
        {"-360", 100, 50, 103, 57, 101, 51},  // becomes -359.99
        {"7", 1, 1, 4, 8, 2, 2},              // 1.11
    };
    for (const auto& c : cases) {
        const FilterGeometry out =
            GeometryOf(std::string("Angle=") + c.angle, {c.inW, c.inH, c.inW, c.inH, 40, 50, -1, -1});
        EXPECT_EQ(out.Width, c.outW) << c.angle;
        EXPECT_EQ(out.Height, c.outH) << c.angle;
        EXPECT_EQ(out.FullWidth, c.fullW) << c.angle;
        EXPECT_EQ(out.FullHeight, c.fullH) << c.angle;
        const bool right = c.outW == c.fullW;
        EXPECT_EQ(out.OffsetX, right ? 40 : 41) << c.angle;
        EXPECT_EQ(out.OffsetY, right ? 50 : 53) << c.angle;
    }
}

TEST(RotateFilter, TheOriginTurnsWithThePictureWhenItIsNotHeld) {
    const FilterGeometry in{100, 50, 100, 50, 40, 50, -1, -1};
    const auto originOf = [&](const char* text) {
        const FilterGeometry out = GeometryOf(text, in);
        return std::pair{out.OffsetX, out.OffsetY};
    };
    EXPECT_EQ(originOf("Angle=180,AlignLeftBottom=0"), (std::pair{40, 50}));
    // Half a turn about a centre 10 to the right and 5 up moves the picture by twice that, against the picture's own
    // middle: -2 × 10 and -2 × 5.
    EXPECT_EQ(originOf("Angle=180,AlignLeftBottom=0,CenterX=10,CenterY=5"), (std::pair{20, 40}));
    // A quarter turn of 100 × 50 moves the corner by half the difference of the sides.
    EXPECT_EQ(originOf("Angle=90,AlignLeftBottom=0"), (std::pair{15, 75}));
    EXPECT_EQ(originOf("Angle=90,AlignLeftBottom=1"), (std::pair{40, 50}));
    // The box of 106 × 62 lies 3 and 6 pixels further out on each side, the margin brings (1, 3) back.
    EXPECT_EQ(originOf("Angle=7,AlignLeftBottom=0"), (std::pair{40 + 3 + 1, 50 + 6 + 3}));
}

TEST(RotateFilter, RightAnglesMoveEachPixelOnce) {
    const Picture picture = Picture::Random(13, 8, 1);
    const Picture quarter = Apply(kRotateId, "Angle=90,MirrorOn=0", picture);
    ASSERT_EQ(quarter.Width(), 8);
    ASSERT_EQ(quarter.Height(), 13);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 13; ++x) ASSERT_EQ(quarter.At(7 - y, x), picture.At(x, y));
    EXPECT_EQ(Apply(kRotateId, "Angle=0.000,MirrorOn=0", picture).Difference(picture), "");
    EXPECT_EQ(Apply(kRotateId, "Angle=360", picture).Difference(picture), "");
    EXPECT_EQ(Apply(kRotateId, "Angle=270", quarter).Difference(picture), "");
    EXPECT_EQ(Apply(kRotateId, "Angle=180", Apply(kRotateId, "Angle=180", picture)).Difference(picture), "");
    const Picture mirrored = Apply(kRotateId, "Angle=0,MirrorOn=1", picture);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 13; ++x) ASSERT_EQ(mirrored.At(12 - x, y), picture.At(x, y));
}

struct Point {
    double x, y;
};

/// A turn by definition.
Point Turned(Point p, double degrees) {
    const double a = degrees * std::numbers::pi / 180;
    return {p.x * std::cos(a) - p.y * std::sin(a), p.x * std::sin(a) + p.y * std::cos(a)};
}

/// Centre of gravity of what is visible, against the picture's middle.
Point Gravity(const Picture& p) {
    double x = 0, y = 0, sum = 0;
    for (int j = 0; j < p.Height(); ++j)
        for (int i = 0; i < p.Width(); ++i) {
            const double opacity = 255 - p.At(i, j).mask;
            x += opacity * (i + 0.5);
            y += opacity * (j + 0.5);
            sum += opacity;
        }
    return {x / sum - p.Width() / 2.0, y / sum - p.Height() / 2.0};
}

TEST(RotateFilter, PixelsComeToWhereATurnPutsThem) {
    // A visible blot on nothing, away from the middle; the sizes are even, so that the turn is about the middle.
    const auto blot = [](Point at) {
        return Picture(60, 40, [=](int x, int y) {
            const bool in = x >= at.x && x < at.x + 6 && y >= at.y && y < at.y + 6;
            return in ? Pixel{20, 40, 60, 0} : Pixel{0, 0, 0, 255};
        });
    };
    for (const double angle : {7.0, -7.0, 30.0, -30.0, 44.99, 45.0, -45.0, 60.0, 100.0, 135.0, 200.0, 314.0, 359.0})
        for (const Point at : {Point{5, 4}, Point{50, 30}, Point{50, 4}, Point{27, 17}}) {
            const Picture source = blot(at);
            const Picture result = Apply(kRotateId, ("Angle=" + std::to_string(angle)).c_str(), source);
            const Point want = Turned(Gravity(source), angle);
            const Point got = Gravity(result);
            // The middle of an odd result lies half a pixel beside that of the even intermediate picture.
            EXPECT_NEAR(got.x, want.x, 0.7) << angle << " from " << at.x << ", " << at.y;
            EXPECT_NEAR(got.y, want.y, 0.7) << angle << " from " << at.x << ", " << at.y;
        }
}

double Opacity(const Picture& p) {
    double sum = 0;
    for (int y = 0; y < p.Height(); ++y)
        for (int x = 0; x < p.Width(); ++x) sum += 255 - p.At(x, y).mask;
    return sum / 255;
}

TEST(RotateFilter, NothingIsCutOffAndNothingIsLeftBehind) {
    const struct {
        int width, height;
    } sizes[] = {{60, 40}, {41, 63}, {5, 200}, {200, 5}, {1, 1}, {2, 90}, {90, 1}, {37, 37}};
    for (const auto& size : sizes)
        for (const double angle : {0.01, 1.0, 7.0, 22.5, 44.99, 45.0, -44.0, -45.0, 93.0, 181.5, 269.99}) {
            const Picture result = Apply(kRotateId, ("Angle=" + std::to_string(angle)).c_str(),
                                         Picture(size.width, size.height, Pixel{10, 200, 90, 0}));
            const double area = static_cast<double>(size.width) * size.height;
            // Half a turn of an odd size moves the picture by up to a pixel to keep its centre, over the margin's edge.
            const bool moved = angle > 135 && angle < 225 && (size.width % 2 != 0 || size.height % 2 != 0);
            const double rounding = (moved ? 0.07 : 0.02) * (size.width + size.height) + 0.02;
            EXPECT_NEAR(Opacity(result), area, rounding) << size.width << " x " << size.height << " by " << angle;
        }
}

TEST(RotateFilter, TheCornersAreMaskedOut) {
    for (const char* text : {"Angle=7", "Angle=-30", "Angle=45", "Angle=200,MirrorOn=1"}) {
        const Picture result = Apply(kRotateId, text, Picture(50, 70, Pixel{10, 200, 90, 0}));
        const int right = result.Width() - 1;
        const int top = result.Height() - 1;
        for (const auto& [x, y] : {std::pair{0, 0}, {right, 0}, {0, top}, {right, top}})
            EXPECT_EQ(result.At(x, y).mask, 255) << text;
    }
}

TEST(RotateFilter, FlatPicturesStayFlat) {
    for (const int level : {0, 128, 255}) {
        const auto byte = static_cast<std::uint8_t>(level);
        for (const char* text : {"Angle=7", "Angle=-33.3,MirrorOn=1", "Angle=45", "Angle=120"}) {
            const Picture result = Apply(kRotateId, text, Picture(50, 40, Pixel{byte, byte, byte, 0}));
            for (int y = 0; y < result.Height(); ++y)
                for (int x = 0; x < result.Width(); ++x) {
                    const Pixel p = result.At(x, y);
                    if (p.mask == 255) continue;
                    ASSERT_EQ(p.blue, byte) << text << " at " << x << ", " << y;
                }
            EXPECT_EQ(result.At(result.Width() / 2, result.Height() / 2), (Pixel{byte, byte, byte, 0}));
        }
    }
}

TEST(RotateFilter, NothingUnderMask255Bleeds) {
    // Where nothing is, a loud colour lies in one picture and a quiet one in the other.
    const auto disc = [](std::uint8_t around) {
        return Picture(40, 40, [=](int x, int y) {
            const bool in = (x - 20) * (x - 20) + (y - 20) * (y - 20) < 150;
            return in ? Pixel{30, 60, 90, 0} : Pixel{around, around, around, 255};
        });
    };
    for (const char* text : {"Angle=7", "Angle=-20", "Angle=45", "Angle=130"}) {
        const Picture a = Apply(kRotateId, text, disc(0));
        const Picture b = Apply(kRotateId, text, disc(255));
        for (int y = 0; y < a.Height(); ++y)
            for (int x = 0; x < a.Width(); ++x) {
                ASSERT_EQ(a.At(x, y).mask, b.At(x, y).mask);
                if (a.At(x, y).mask != 255) {
                    ASSERT_EQ(a.At(x, y), b.At(x, y)) << text << " at " << x << ", " << y;
                }
            }
    }
}

TEST(RotateFilter, HundredthsCount) {
    const Picture picture = Picture::Random(30, 20, 2, false);
    const auto turned = [&](const char* text) { return Apply(kRotateId, text, picture); };
    EXPECT_EQ(turned("Angle=30.004").Difference(turned("Angle=30.000")), "");
    EXPECT_NE(turned("Angle=30.5").Difference(turned("Angle=30.000")), "");
    EXPECT_EQ(turned("Angle=390").Difference(turned("Angle=30")), "");
    EXPECT_EQ(turned("Angle=-330.01").Difference(turned("Angle=30")), "");
}

TEST(RotateFilter, TextsRoundTrip) {
    Line line(Picture(4, 4));
    line.Add(kRotateId);
    EXPECT_EQ(line.PendingText(0), "MirrorOn=0, Angle=0.000, CenterX=0, CenterY=0, AlignLeftBottom=1");
    EXPECT_EQ(line.ActiveText(0), "MirrorOn=1, Angle=90.000, CenterX=10, CenterY=10, AlignLeftBottom=0");
    line.SetText(0, "Angle=-12.3456,CenterX=-7,MirrorOn=5");
    const std::string saved = line.PendingText(0);
    EXPECT_EQ(saved, "MirrorOn=1, Angle=-12.346, CenterX=-7, CenterY=0, AlignLeftBottom=1");
    line.SetText(0, "Angle=nan, MirrorOn=, CenterY=x");  // nothing readable
    EXPECT_EQ(line.PendingText(0), saved);
    line.Update();
    EXPECT_EQ(line.ActiveText(0), saved);
    line.Render();
    EXPECT_FALSE(line.Update());
}

TEST(RotateFilter, EmptyAndHugeInputsFail) {
    for (const int size : {0, -7, 2000000000}) {
        Line line(Picture(1, 1));
        line.source->geometry = {size, size, size, size, 2000000000, -2000000000, -1, -1};
        line.Add(kRotateId, "Angle=33,AlignLeftBottom=0");
        line.Geometry();
        Picture into(1, 1);
        EXPECT_NE(line.Request(into, 0, 0, 0, 0, 1, 1), 0) << size;
    }
}

TEST(RotateFilter, AtFortyFiveDegreesAQuarterTurnComesFirst) {
    const Picture picture = Picture::Random(12, 8, 45);
    const Picture turned = Apply("TMFilter.Rotate.1", "Angle=90", picture);
    EXPECT_EQ(
        Apply("TMFilter.Rotate.1", "Angle=45", picture).Difference(Apply("TMFilter.Rotate.1", "Angle=315", turned)),
        "");
}

}  // namespace
}  // namespace kestrel
