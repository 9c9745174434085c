#include "kestrel/passes/CubicScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "kestrel/foundation/HelperThreads.h"
#include "tests/support/Picture.h"

namespace kestrel::passes {
namespace {
using test::Picture;
using test::Pixel;

Planes Of(Picture& picture) { return {picture.Rows(), picture.MaskRows(), picture.Width(), picture.Height()}; }
Planes ColourOf(Picture& picture) { return {picture.Rows(), nullptr, picture.Width(), picture.Height()}; }
Planes MaskOf(Picture& picture) { return {nullptr, picture.MaskRows(), picture.Width(), picture.Height()}; }

bool Scale(const Planes& source, const Planes& target, const AbortFlag& abort) {
    return ScaleCubic(source, target, BuildCubicTaps(source.height, target.height), abort);
}

Picture Scaled(Picture source, int width, int height) {
    Picture target(width, height, Pixel{1, 2, 3, 4});
    EXPECT_TRUE(Scale(Of(source), Of(target), false));
    EXPECT_TRUE(target.GuardsIntact());
    return target;
}

using Weights = std::array<int, 4>;
Weights WeightsOf(const kernels::CubicTap& tap) { return {tap.weight[0], tap.weight[1], tap.weight[2], tap.weight[3]}; }

TEST(CubicTaps, EqualSizesTakeThePixelItself) {
    for (const int size : {1, 3, 100, 4001})
        for (int j = 0; const kernels::CubicTap& tap : BuildCubicTaps(size, size)) {
            ASSERT_EQ(tap.base, j++);
            ASSERT_EQ(WeightsOf(tap), (Weights{0, 4096, 0, 0}));
        }
}

TEST(CubicTaps, MoveInFiftieths) {
    // Twice as large: positions 0.25 and 0.75 of each pixel, a hair less, so that fractions are 0.24 and 0.74.
    const auto taps = BuildCubicTaps(4, 8);
    EXPECT_EQ(taps[0].base, 0);
    EXPECT_EQ(taps[7].base, 3);
    // fraction 12.5 fiftieths less a hair rounds to 12: k at -0.74, 0.26, 1.26, 2.26
    EXPECT_EQ(WeightsOf(taps[0]), (Weights{978, 3511, -291, 0}));
    // fraction 37.5 less a hair rounds to 37: k at -1.24, -0.24, 0.76, 1.76
    EXPECT_EQ(WeightsOf(taps[1]), (Weights{-283, 3591, 878, -89}));
    // One fiftieth of the first pixel and less: the far tap is not there and the sum is above one.
    const auto tiny = BuildCubicTaps(3, 300);
    EXPECT_EQ(tiny[0].base, 0);
    EXPECT_EQ(WeightsOf(tiny[0]), (Weights{2304, 2304, -256, 0}));
    EXPECT_EQ(tiny[0].Sum(), 4352);
}

TEST(CubicTaps, StayInsideHoweverLongTheLine) {
    for (const auto& [in, out] : {std::pair{9999999, 10000001}, {20000003, 9000000}, {3, 5000000}}) {
        const auto taps = BuildCubicTaps(in, out);
        EXPECT_GE(taps.front().base, 0);
        EXPECT_LE(taps.back().base, in - 1);
    }
}

/// The rule in floating point, one axis at a time: weights of the same steps, no truncation, divided by their sum.
struct ReferenceTap {
    int base;
    std::array<double, 4> weight;
};

ReferenceTap TapAt(int in, int out, int j) {
    const auto kernel = [](double x) {
        x = std::abs(x);
        return x < 1 ? 1 - x * x * (2.5 - 1.5 * x) : x < 2 ? 2 + x * (-4 + x * (2.5 - 0.5 * x)) : 0.0;
    };
    const double position = (j + 0.5) * static_cast<float>(in / static_cast<double>(out)) - 1e-5;
    const double whole = std::trunc(position);
    const double steps = std::floor((position - whole) * 50 + 0.5) / 50;
    ReferenceTap tap{static_cast<int>(whole), {}};
    double sum = 0;
    for (int k = 0; k < 4; ++k) sum += tap.weight[static_cast<std::size_t>(k)] = kernel(steps + 0.5 - k);
    for (double& w : tap.weight) w /= sum;
    return tap;
}

/// One colour of an opaque picture.
double ReferenceValue(const Picture& source, int width, int height, int x, int y) {
    const ReferenceTap column = TapAt(source.Width(), width, x);
    const ReferenceTap row = TapAt(source.Height(), height, y);
    const int last = source.Height() - 1;
    double value = 0;
    for (int k = 0; k < 4; ++k) {
        int line = row.base - 1 + k;
        line = line == last + 2 ? std::max(last - 1, 0) : std::clamp(line, 0, last);
        double across = 0;
        for (int i = 0; i < 4; ++i) {
            const int at = std::clamp(column.base - 1 + i, 0, source.Width() - 1);
            across += column.weight[static_cast<std::size_t>(i)] * source.At(at, line).green;
        }
        value += row.weight[static_cast<std::size_t>(k)] * std::clamp(across, 0.0, 255.0);
    }
    return std::clamp(value, 0.0, 255.0);
}

TEST(ScaleCubic, IsTheSeparableCubic) {
    for (const auto& [from, to] : {std::pair{std::pair{11, 9}, std::pair{40, 33}},
                                   {{20, 5}, {20, 17}},
                                   {{30, 20}, {15, 40}},
                                   {{3, 1}, {10, 10}},
                                   {{16, 16}, {59, 59}}}) {
        const Picture source = Picture::Random(from.first, from.second, 3, false);
        const Picture result = Scaled(source, to.first, to.second);
        // Half a unit for the result, 5/8 for the rounded intermediate, whose weights reach 1.25 in sum, and a rest for
        // the weights that are cut to 1/4096.
        for (int y = 0; y < to.second; ++y)
            for (int x = 0; x < to.first; ++x) {
                ASSERT_NEAR(result.At(x, y).green, ReferenceValue(source, to.first, to.second, x, y), 1.3)
                    << x << ", " << y;
                ASSERT_EQ(result.At(x, y).mask, 0);
            }
    }
}

TEST(ScaleCubic, EqualSizesAreTheIdentity) {
    for (const bool masked : {false, true}) {
        Picture picture = Picture::Random(17, 9, 4, masked);
        const Picture result = Scaled(picture, 17, 9);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 17; ++x) {
                Pixel want = picture.At(x, y);
                if (want.mask == 255) want = {0, 0, 0, 255};  // a colour that nothing of is seen is not kept
                ASSERT_EQ(result.At(x, y), want);
            }
    }
}

TEST(ScaleCubic, FlatPicturesStayFlat) {
    for (const int level : {0, 1, 100, 254, 255}) {
        const auto byte = static_cast<std::uint8_t>(level);
        const Pixel fill{byte, byte, byte, 0};
        EXPECT_EQ(Scaled(Picture(10, 10, fill), 37, 53).Difference(Picture(37, 53, fill)), "");
    }
}

TEST(ScaleCubic, NothingUnderMask255Bleeds) {
    const Picture base = Picture::Random(15, 12, 5);
    Picture repainted = base;
    for (int y = 0; y < base.Height(); ++y)
        for (int x = 0; x < base.Width(); ++x)
            if (base.At(x, y).mask == 255) repainted.Set(x, y, Pixel{255, 0, 200, 255});
    EXPECT_EQ(Scaled(base, 50, 41).Difference(Scaled(repainted, 50, 41)), "");
}

TEST(ScaleCubic, HalfHiddenPixelsWeighTheirColours) {
    // Rows stay as they are, so that one pass of four taps makes each pixel.
    const Picture source = Picture::Random(60, 40, 7);
    const Picture result = Scaled(source, 133, 40);
    const auto taps = BuildCubicTaps(60, 133);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 133; ++x) {
            const auto& tap = taps[static_cast<std::size_t>(x)];
            double visible = 0, red = 0;
            for (int k = 0; k < 4; ++k) {
                const Pixel p = source.At(std::clamp(tap.base - 1 + k, 0, 59), y);
                visible += tap.weight[k] * (255 - p.mask);
                red += tap.weight[k] * (255 - p.mask) * p.red;
            }
            const double opacity = std::clamp(std::floor(visible / tap.Sum() + 0.5), 0.0, 255.0);
            const Pixel got = result.At(x, y);
            ASSERT_EQ(255 - got.mask, opacity) << x << ", " << y;
            if (opacity > 0) {
                ASSERT_EQ(got.red, std::clamp(std::floor(red / visible + 0.5), 0.0, 255.0)) << x << ", " << y;
            }
        }
}

/// Rows without transparency take a form of their own; it must give what the rows with it give.
TEST(ScaleCubic, OpaqueRowsAreMaskedRowsWithNothingMasked) {
    for (const auto& [width, height] : {std::pair{61, 45}, {200, 31}, {23, 90}}) {
        Picture opaque = Picture::Random(40, 30, 6, false);
        Picture masked = opaque;
        for (int y = 0; y < 30; ++y) {
            Pixel p = masked.At(39, y);
            p.mask = 1;
            masked.Set(39, y, p);
        }
        const Picture a = Scaled(opaque, width, height);
        const Picture b = Scaled(masked, width, height);
        const int untouched = width * 36 / 40;
        EXPECT_EQ(a.Cut(0, 0, untouched, height).Difference(b.Cut(0, 0, untouched, height)), "");
        EXPECT_NE(a.At(width - 1, 0).mask, b.At(width - 1, 0).mask);
    }
}

TEST(ScaleCubic, APlaneAloneKeepsItsSumsAboveOne) {
    // 3 to 300 columns: the first takes 2304, 2304, -256 of 4096 of the edge, its copy and the next one.
    Picture source(3, 1, Pixel{100, 100, 100, 155});
    Picture colour(300, 1, Pixel{0, 0, 0, 9});
    ASSERT_TRUE(Scale(ColourOf(source), ColourOf(colour), false));
    EXPECT_EQ(colour.At(0, 0), (Pixel{106, 106, 106, 9}));  // 4352 / 4096 of it
    Picture mask(300, 1, Pixel{5, 5, 5, 0});
    ASSERT_TRUE(Scale(MaskOf(source), MaskOf(mask), false));
    EXPECT_EQ(mask.At(0, 0), (Pixel{5, 5, 5, 149}));  // of its opacity of 100
}

TEST(ScaleCubic, GivesTheSameBytesWithAnyNumberOfThreads) {
    const Picture source = Picture::Random(30, 50, 8);
    const Picture alone = Scaled(source, 41, 130);
    const HelperThreads help(3);
    EXPECT_EQ(Scaled(source, 41, 130).Difference(alone), "");
}

TEST(ScaleCubic, TooNarrowSourcesLeaveTheTarget) {
    const Picture untouched(9, 9, Pixel{1, 2, 3, 4});
    EXPECT_EQ(Scaled(Picture(2, 8), 9, 9).Difference(untouched), "");
    EXPECT_EQ(Scaled(Picture(1, 1), 9, 9).Difference(untouched), "");
    EXPECT_NE(Scaled(Picture(3, 1), 9, 9).Difference(untouched), "");
}

TEST(ScaleCubic, EndsAtAnAbort) {
    Picture source(9, 9);
    Picture target(30, 30, Pixel{5, 6, 7, 8});
    EXPECT_FALSE(Scale(Of(source), Of(target), true));
    EXPECT_EQ(target.Difference(Picture(30, 30, Pixel{5, 6, 7, 8})), "");
}

}  // namespace
}  // namespace kestrel::passes
