#include "kestrel/filters/composition/SchattenFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kShadow = "TMFilter.Shadow.1";
constexpr Pixel kNothing{0, 0, 0, 255};

FilterGeometry GeometryOf(const char* text, double scale = 1.0) {
    Line line(Picture(10, 8, Pixel{}));
    line.Add(kShadow, text);
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(scale);
    return line.Geometry();
}

// A second engine -----------------------------------------------------------------------------------------------------
// The whole effect on one plane of masks and one of colours, with whole copies for each round and nothing skipped.

struct Plane {
    int width, height;
    std::vector<int> bytes;
    Plane(int w, int h, int fill) : width(w), height(h), bytes(static_cast<std::size_t>(w * h), fill) {}
    int& At(int x, int y) { return bytes[static_cast<std::size_t>(y * width + x)]; }
    int At(int x, int y) const { return bytes[static_cast<std::size_t>(y * width + x)]; }
};

template <class Rule>
Plane Each(const Plane& plane, int left, int bottom, int right, int top, const Rule& rule) {
    Plane result = plane;
    for (int y = std::max(bottom, 1); y < std::min(top, plane.height - 1); ++y)
        for (int x = std::max(left, 1); x < std::min(right, plane.width - 1); ++x) {
            int near[9];
            for (int i = 0; i < 9; ++i) near[i] = plane.At(x - 1 + i % 3, y - 1 + i / 3);
            result.At(x, y) = rule(near);
        }
    return result;
}

int Weighted(const int (&near)[9], int corner, int side, int centre) {
    return corner * (near[0] + near[2] + near[6] + near[8]) + side * (near[1] + near[3] + near[5] + near[7]) +
           centre * near[4];
}

struct Setting {
    int direction, intensity, density, blur, size, distance;
    bool inner;
    std::string Text() const {
        return "LightDirection=" + std::to_string(direction) + ",InnerOn=" + std::to_string(inner) +
               ",LightIntensity=" + std::to_string(intensity) + ",ShadowDensity=" + std::to_string(density) +
               ",ShadowBlur=" + std::to_string(blur) + ",Size=" + std::to_string(size) +
               ",ShadowDistance=" + std::to_string(distance) + ",ShadowRed=200,ShadowGreen=100,ShadowBlue=50";
    }
};

/// Lays `over` on `under` by the rule in real numbers' order of cases, all integers.
Pixel Lay(Pixel under, Pixel over) {
    if (over.mask == 255) return under;
    if (over.mask == 0 || under.mask == 255) return over;
    const int a = (255 - over.mask) * 255;
    const int b = over.mask * (255 - under.mask);
    const auto mix = [&](int o, int u) {
        return static_cast<std::uint8_t>(under.mask == 0 ? (u * over.mask + o * (255 - over.mask)) / 255
                                                         : (a * o + b * u) / (a + b));
    };
    return {mix(over.blue, under.blue), mix(over.green, under.green), mix(over.red, under.red),
            static_cast<std::uint8_t>(over.mask * under.mask / 255)};
}

class SecondEngine {
public:
    SecondEngine(const Picture& picture, Setting s, int padLeft, int padBottom, int width, int height)
        : input_(picture), s_(s), left_(padLeft), bottom_(padBottom), result_(width, height, kNothing) {
        const int steps[][2] = {{-2, 0}, {-2, -2}, {0, -2}, {2, -2}, {2, 0}, {2, 2}, {0, 2}, {-2, 2}};
        sx_ = steps[s.direction / 450][0];  // the tests use multiples of 45 degrees
        sy_ = steps[s.direction / 450][1];
    }

    Picture Run() {
        for (int y = 0; y < input_.Height(); ++y)
            for (int x = 0; x < input_.Width(); ++x) result_.Set(left_ + x, bottom_ + y, input_.At(x, y));
        if (s_.intensity) Relief();
        if (!s_.density) return result_;
        const int dx = sx_ * s_.distance / 2;
        const int dy = sy_ * s_.distance / 2;
        if (!s_.inner) {
            LayOnShadow(Blurred(Grown(Mask(dx, dy)), dx, dy), 100);
            return result_;
        }
        const Plane shadow = Blurred(Mask(dx, dy), dx, dy);
        for (int y = 0; y < input_.Height(); ++y)
            for (int x = 0; x < input_.Width(); ++x) {
                const Pixel under = result_.At(left_ + x, bottom_ + y);
                const int inverse = 255 - shadow.At(left_ + x, bottom_ + y);
                const int both = 255 - (255 - under.mask) * (255 - inverse) / 255;
                result_.Set(left_ + x, bottom_ + y, Lay(under, Shadow(both, 100)));
            }
        if (s_.size) LayOnShadow(Blurred(Grown(Mask(0, 0)), 0, 0), std::max(50, s_.density * 85 / 100));
        return result_;
    }

private:
    Plane Mask(int dx, int dy) const {
        Plane mask(result_.Width(), result_.Height(), 255);
        for (int y = 0; y < input_.Height(); ++y)
            for (int x = 0; x < input_.Width(); ++x) mask.At(left_ + dx + x, bottom_ + dy + y) = input_.At(x, y).mask;
        return mask;
    }

    Plane Grown(Plane mask) const {
        for (int n = 0; n < s_.size; ++n)
            mask = Each(mask, s_.size, s_.size, mask.width - s_.size, mask.height - s_.size,
                        [](const int(&near)[9]) { return *std::min_element(near, near + 9); });
        return mask;
    }

    Plane Blurred(Plane mask, int dx, int dy) const {
        int k = 0;
        for (; k < s_.blur / 5; ++k)
            mask = Each(mask, left_ + dx - k - 1, bottom_ + dy - k - 1, left_ + dx + input_.Width() + k + 1,
                        bottom_ + dy + input_.Height() + k + 1,
                        [](const int(&near)[9]) { return Weighted(near, 4, 4, 5) * 7085 / 262144; });
        if (const int rest = s_.blur % 5; rest != 0)
            mask = Each(mask, 0, 0, mask.width, mask.height, [rest](const int(&near)[9]) {
                const int sum = Weighted(near, 4 * rest, 4 * rest, 185 - 32 * rest);
                return rest == 2 ? static_cast<int>(std::int64_t{sum} * 1417 / 262144) : sum / 185;
            });
        return mask;
    }

    Pixel Shadow(int mask, int percent) const {
        const int k = s_.density * 255 * percent / 10000;
        return {50, 100, 200, static_cast<std::uint8_t>(255 - k * (255 - mask) / 255)};
    }

    void LayOnShadow(const Plane& mask, int percent) {
        for (int y = 0; y < result_.Height(); ++y)
            for (int x = 0; x < result_.Width(); ++x)
                result_.Set(x, y, Lay(Shadow(mask.At(x, y), percent), result_.At(x, y)));
    }

    void Relief() {
        Plane mask = Mask(0, 0);
        for (int round = 0; round < std::max(s_.intensity - 50, 0) + 15; ++round)
            mask = Each(mask, 0, 0, mask.width, mask.height,
                        [](const int(&near)[9]) { return Weighted(near, 1, 2, 4) / 16; });
        const int a = sx_ > 0 ? 5 : sx_ < 0 ? -5 : 0;
        const int b = sy_ > 0 ? 5 : sy_ < 0 ? -5 : 0;
        const int slopes[] = {a + b, b, b - a, a, 0, -a, a - b, -b, -b - a};
        const Plane relief = Each(mask, 0, 0, mask.width, mask.height, [&](const int(&near)[9]) {
            int sum = 0;
            for (int i = 0; i < 9; ++i) sum += static_cast<int>(slopes[i] * (s_.intensity / 500.0) * 4096) * near[i];
            return std::clamp(sum / 4096 + 128, 0, 255);
        });
        for (int y = 0; y < input_.Height(); ++y)
            for (int x = 0; x < input_.Width(); ++x) {
                Pixel p = result_.At(left_ + x, bottom_ + y);
                const int light = (relief.At(left_ + x, bottom_ + y) - 128) * (s_.inner ? -1 : 1);
                for (std::uint8_t* byte : {&p.blue, &p.green, &p.red})
                    *byte = static_cast<std::uint8_t>(std::clamp(*byte + light, 0, 255));
                result_.Set(left_ + x, bottom_ + y, p);
            }
    }

    Picture input_;
    Setting s_;
    int left_, bottom_, sx_ = 0, sy_ = 0;
    Picture result_;
};

TEST(Shadow, EqualsAnEngineThatSkipsNothing) {
    const Setting settings[] = {
        {1350, 0, 100, 0, 0, 4, false},  {450, 0, 60, 7, 0, 3, false},    {0, 0, 100, 20, 5, 6, false},
        {2700, 30, 80, 13, 2, 0, false}, {3150, 100, 0, 20, 0, 3, false}, {900, 10, 0, 0, 0, 0, true},
        {1350, 0, 100, 10, 0, 5, true},  {2250, 40, 70, 4, 0, 7, true},   {1800, 0, 90, 6, 4, 3, true},
        {2250, 55, 100, 24, 3, 9, true}, {0, 0, 1, 1, 0, 0, false},       {1350, 0, 35, 22, 1, 1, false},
    };
    int seed = 0;
    for (const Setting& s : settings)
        for (const bool masked : {true, false}) {
            // Wide enough for several pieces of a row.
            const Picture picture = Picture::Random(masked ? 300 : 150, 23, static_cast<unsigned>(++seed), masked);
            Line line(picture);
            line.Add(kShadow, s.Text().c_str());
            const FilterGeometry g = line.Geometry();
            SecondEngine engine(picture, s, g.OffsetX, g.OffsetY, g.Width, g.Height);
            EXPECT_EQ(line.Render().Difference(engine.Run()), "") << s.Text() << " masked " << masked;
        }
}

// By hand -------------------------------------------------------------------------------------------------------------

TEST(Shadow, StepsOfEachDirection) {
    const int cases[][3] = {{0, -2, 0},        {450, -2, -2},   {675, -1, -2}, {900, 0, -2},  {1125, 1, -2},
                            {1350, 2, -2},     {1575, 2, -1},   {1800, 2, 0},  {2025, 2, 1},  {2250, 2, 2},
                            {2475, 1, 2},      {2700, 0, 2},    {3150, -2, 2}, {3375, -2, 1}, {3600, -2, 0},
                            {INT_MAX, -2, -2}, {INT_MIN, -2, 2}};
    for (const auto& [direction, x, y] : cases) {
        const DirectionSteps steps(direction);
        EXPECT_EQ(steps.x, x) << direction;
        EXPECT_EQ(steps.y, y) << direction;
    }
}

TEST(Shadow, WithoutLightAndShadowNothingChanges) {
    const Picture picture = Picture::Random(9, 7, 1);
    EXPECT_EQ(Apply(kShadow, nullptr, picture).Difference(picture), "");
    EXPECT_EQ(Apply(kShadow, "LightIntensity=0,ShadowDensity=0,Size=40,ShadowBlur=90", picture).Difference(picture),
              "");
}

TEST(Shadow, TheOutputGrowsByWhatTheShadowNeeds) {
    struct Case {
        const char* text;
        int left, bottom, width, height;
    };
    const Case cases[] = {
        {"ShadowDensity=50,ShadowBlur=0,ShadowDistance=4", 0, 4, 14, 12},
        {"ShadowDensity=50,ShadowBlur=0,ShadowDistance=4,LightDirection=2250", 0, 0, 14, 12},
        {"ShadowDensity=50,ShadowBlur=0,ShadowDistance=4,LightDirection=0", 4, 0, 14, 8},
        {"ShadowDensity=50,ShadowBlur=3,ShadowDistance=4", 0, 5, 15, 13},    // a rest alone needs one pixel
        {"ShadowDensity=50,ShadowBlur=35,ShadowDistance=4", 3, 11, 24, 22},  // reach 7
        {"ShadowDensity=50,ShadowBlur=35,ShadowDistance=4,Size=5", 8, 16, 34, 32},
        {"ShadowDensity=50,ShadowBlur=0,ShadowDistance=4,LightIntensity=9", 1, 5, 16, 14},
        {"ShadowDensity=50,ShadowBlur=5,ShadowDistance=9,Size=2,InnerOn=1", 3, 12, 25, 23},
        {"ShadowDensity=0,LightIntensity=1", 1, 1, 12, 10},
        {"ShadowDensity=50,ShadowBlur=-40,ShadowDistance=4", 0, 4, 14, 12},  // no blur, no negative pad
        {"ShadowDensity=50,ShadowBlur=0,ShadowDistance=2000000000", 0, 255, 265, 263},
        {"ShadowDensity=50,ShadowBlur=0,Size=-7,ShadowDistance=-1", 0, 0, 10, 8},
    };
    for (const Case& c : cases) {
        const FilterGeometry g = GeometryOf(c.text);
        EXPECT_EQ(g.OffsetX, c.left) << c.text;
        EXPECT_EQ(g.OffsetY, c.bottom) << c.text;
        EXPECT_EQ(g.Width, c.width) << c.text;
        EXPECT_EQ(g.Height, c.height) << c.text;
        EXPECT_EQ(g.FullWidth, 10) << c.text;
    }
}

TEST(Shadow, LengthsFollowTheRenderScale) {
    const char* text = "ShadowDensity=50,ShadowBlur=35,ShadowDistance=9,Size=5";
    // blur 17: three rounds and a rest; size 2; distance 4
    const FilterGeometry half = GeometryOf(text, 0.5);
    EXPECT_EQ(half.OffsetX, 1);
    EXPECT_EQ(half.Width, 10 + 1 + 9);
    const FilterGeometry held = GeometryOf("ShadowDensity=50,ShadowBlur=0,ShadowDistance=900,LightDirection=0", 0.5);
    EXPECT_EQ(held.OffsetX, 127);
    Line line(Picture(4, 4, Pixel{}));
    line.Add(kShadow, text);
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(0.5);
    line.Update();
    EXPECT_FALSE(line.Filter(0).HasChanged());
    EXPECT_NE(line.ActiveText(0).find("ShadowBlur=017, Size=002, ShadowDistance=004"), std::string::npos);
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(1.0);
    EXPECT_TRUE(line.Filter(0).HasChanged());
}

TEST(Shadow, LiesWhereTheLightSays) {
    const Picture picture(6, 6, Pixel{9, 9, 9, 0});
    const Picture result = Apply(
        kShadow, "ShadowDensity=40,ShadowBlur=0,ShadowDistance=2,ShadowRed=30,ShadowGreen=20,ShadowBlue=10", picture);
    ASSERT_EQ(result.Width(), 8);
    const Pixel shadow{10, 20, 30, 153};  // 255 - 102
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const bool onPicture = x < 6 && y >= 2;
            const bool onShadow = x >= 2 && y < 6;
            const Pixel want = onPicture ? Pixel{9, 9, 9, 0} : onShadow ? shadow : Pixel{10, 20, 30, 255};
            EXPECT_EQ(result.At(x, y), want) << x << " " << y;
        }
}

// A picture with room of its own around it has the same shadow as one that only the pads give room. The last round
// reaches the outermost ring, which stays as it is, so that what it would have brought is lost and nothing else.
TEST(Shadow, ThePadsCutNoShadow) {
    struct Case {
        const char* text;
        int lost;  // 255 * (12 / 37) ^ rounds along a straight edge
    };
    const Case cases[] = {{"ShadowDensity=100,ShadowBlur=40,ShadowDistance=5", 1},
                          {"ShadowDensity=80,ShadowBlur=20,ShadowDistance=12,LightDirection=2700", 3},
                          {"ShadowDensity=100,ShadowBlur=15,ShadowDistance=0", 9}};
    constexpr int kRoom = 40;
    const Picture picture(20, 15, Pixel{1, 2, 3, 0});
    Picture roomy(20 + 2 * kRoom, 15 + 2 * kRoom, kNothing);
    for (int y = 0; y < 15; ++y)
        for (int x = 0; x < 20; ++x) roomy.Set(kRoom + x, kRoom + y, picture.At(x, y));
    for (const Case& c : cases) {
        Line line(picture);
        line.Add(kShadow, c.text);
        Line roomyLine(roomy);
        roomyLine.Add(kShadow, c.text);
        const Picture got = line.Render();
        const Picture want = roomyLine.Render();
        const int dx = roomyLine.Geometry().OffsetX + kRoom - line.Geometry().OffsetX;
        const int dy = roomyLine.Geometry().OffsetY + kRoom - line.Geometry().OffsetY;
        for (int y = 0; y < want.Height(); ++y)
            for (int x = 0; x < want.Width(); ++x) {
                const int gx = x - dx;
                const int gy = y - dy;
                const bool inside = gx > 0 && gy > 0 && gx < got.Width() - 1 && gy < got.Height() - 1;
                const bool exists = gx >= 0 && gy >= 0 && gx < got.Width() && gy < got.Height();
                const int mask = exists ? got.At(gx, gy).mask : 255;
                const bool exact = inside || mask == 0;
                ASSERT_NEAR(want.At(x, y).mask, mask, exact ? 0 : c.lost) << c.text << " " << x << " " << y;
            }
    }
}

TEST(Shadow, TheReliefIsBrightTowardsTheLight) {
    const Picture picture(40, 40, Pixel{100, 100, 100, 0});
    const Picture raised = Apply(kShadow, "LightIntensity=50", picture);  // light from the upper left
    EXPECT_GT(raised.At(20, 39).blue, 110);
    EXPECT_GT(raised.At(2, 20).blue, 110);
    EXPECT_LT(raised.At(20, 2).blue, 90);
    EXPECT_LT(raised.At(39, 20).blue, 90);
    EXPECT_EQ(raised.At(20, 20).blue, 100);  // far from every edge
    const Picture sunken = Apply(kShadow, "LightIntensity=50,InnerOn=1", picture);
    EXPECT_LT(sunken.At(20, 39).blue, 90);
    EXPECT_GT(sunken.At(20, 2).blue, 110);
}

TEST(Shadow, OldTextsSwitchTheEffects) {
    Line line(Picture(1, 1, Pixel{}));
    line.Add(kShadow, "LightIntensity=40,ShadowDensity=30,LightOn=0,ShadowOn=1");
    EXPECT_NE(line.PendingText(0).find("LightIntensity=000, ShadowDensity=100"), std::string::npos);
    line.SetText(0, "LightOn=1,LightIntensity=7,ShadowOn=0");
    EXPECT_EQ(line.PendingText(0),
              "LightDirection=1350, InnerOn=0, LightIntensity=007, ShadowDensity=000, ShadowBlur=020, Size=000, "
              "ShadowDistance=003, ShadowRed=000, ShadowGreen=000, ShadowBlue=000");
}

TEST(Shadow, AnyNumberIsSafe) {
    const Picture picture = Picture::Random(5, 4, 3);
    for (const char* text :
         {"LightIntensity=2147483647", "LightIntensity=-2147483648,ShadowDensity=-2147483648",
          "ShadowDensity=2147483647,Size=2147483647,ShadowDistance=-2147483648,LightDirection=-2147483648",
          "ShadowDensity=100,InnerOn=1,Size=255,ShadowBlur=-2147483648,ShadowDistance=255"})
        Apply(kShadow, text, picture);
    Line line(picture);  // more than memory holds is refused
    line.Add(kShadow, "ShadowDensity=100,ShadowBlur=2147483647");
    line.Update();
    Picture into(5, 4);
    EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 5, 4), E_OUTOFMEMORY);
}

}  // namespace
}  // namespace kestrel
