#include "kestrel/kernels/Composite.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <climits>
#include <functional>
#include <random>
#include <utility>
#include <vector>

namespace kestrel::kernels {
namespace {

struct Layer {
    std::uint8_t byte;
    std::uint8_t mask;
};

Layer Over(Layer under, Layer over) {
    std::uint8_t lower[3] = {under.byte, under.byte, under.byte};
    const std::uint8_t upper[3] = {over.byte, over.byte, over.byte};
    OverRow({lower, {&under.mask, 1}}, {upper, {&over.mask, 1}});
    return {lower[0], under.mask};
}

TEST(OverRow, MixesByTheMaskOfTheUpperPixels) {
    std::uint8_t lower[] = {10, 20, 30, 10, 20, 30, 10, 20, 30, 0, 255, 99};
    std::uint8_t lowerMask[4] = {};
    const std::uint8_t upper[] = {200, 100, 0, 200, 100, 0, 200, 100, 0, 255, 0, 99};
    const std::uint8_t mask[] = {0, 255, 51, 128};
    OverRow({lower, lowerMask}, {upper, mask});
    // 51 of 255 is a fifth of the old pixel; 128 of 255 is cut, never rounded.
    const std::uint8_t want[] = {200, 100, 0, 10, 20, 30, 162, 84, 6, 127, 128, 99};
    EXPECT_TRUE(std::equal(std::begin(lower), std::end(lower), want));
}

TEST(OverRow, FourCases) {
    struct Case {
        Layer under, over, want;
    };
    const Case cases[] = {
        {{10, 77}, {200, 0}, {200, 0}},       // an opaque pixel covers
        {{10, 77}, {200, 255}, {10, 77}},     // nothing changes nothing
        {{10, 0}, {200, 51}, {162, 0}},       // on an opaque pixel: a mix
        {{10, 255}, {200, 51}, {200, 51}},    // on nothing: the pixel with its mask
        {{0, 128}, {255, 128}, {169, 64}},    // 127*255*255 / (127*255 + 128*127)
        {{100, 254}, {50, 1}, {50, 0}},       // the mask is cut: 254 / 255
        {{255, 128}, {255, 254}, {255, 127}}  // one colour stays that colour
    };
    for (const Case& c : cases) {
        const Layer got = Over(c.under, c.over);
        EXPECT_EQ(got.byte, c.want.byte) << int{c.over.byte} << " mask " << int{c.over.mask};
        EXPECT_EQ(got.mask, c.want.mask) << int{c.over.byte} << " mask " << int{c.over.mask};
    }
}

// Against the model in real numbers: opacities multiply through, colours weigh by what is seen of them.
TEST(OverRow, IsWithinOneUnitOfTheRealComposite) {
    for (int underMask = 0; underMask < 256; underMask += 5)
        for (int overMask = 0; overMask < 256; overMask += 3) {
            const Layer got =
                Over({40, static_cast<std::uint8_t>(underMask)}, {220, static_cast<std::uint8_t>(overMask)});
            const double over = 1 - overMask / 255.0;
            const double under = (1 - over) * (1 - underMask / 255.0);
            EXPECT_NEAR(got.mask, 255 * (1 - over - under), 1.0) << underMask << " " << overMask;
            const double seen = over + under > 0 ? (220 * over + 40 * under) / (over + under) : 40;
            EXPECT_NEAR(got.byte, seen, 1.0) << underMask << " " << overMask;
        }
}

TEST(PaintInner, ShowsTheBoardThroughTransparentPixels) {
    struct Case {
        Layer pixel;
        std::int64_t alpha;
        Layer want;
    };
    const Case cases[] = {
        {{10, 0}, 0, {10, 0}},         // an opaque pixel hides the board
        {{10, 255}, 0, {180, 0}},      // nothing shows the board
        {{10, 255}, 128, {178, 128}},  // 180*127/255 = 89 is cut before 89*255/127 = 178
        {{10, 51}, 0, {44, 0}},        // four fifths of the pixel, one of the board
        {{10, 255}, 255, {10, 255}},   // a board of nothing changes nothing
    };
    for (const Case& c : cases) {
        std::uint8_t pixel[3] = {c.pixel.byte, c.pixel.byte, c.pixel.byte};
        std::uint8_t mask = c.pixel.mask;
        PaintInnerRow({pixel, {&mask, 1}}, {180, 180, 180}, c.alpha);
        EXPECT_EQ(pixel[1], c.want.byte) << c.alpha;
        EXPECT_EQ(mask, c.want.mask) << c.alpha;
    }
}

TEST(PaintInner, AnyPercentageIsDefined) {
    for (const std::int32_t transparency : {INT_MIN, -100, -1, 101, INT_MAX}) {
        for (int m = 0; m < 256; ++m) {
            std::uint8_t pixel[4] = {1, 128, 255, static_cast<std::uint8_t>(m)};
            PaintInnerPixel(pixel, pixel[3], {255, 0, 9}, BoardAlpha(transparency));
            EXPECT_TRUE(transparency < 0 || pixel[3] == m) << transparency << " " << m;
        }
        std::uint8_t nothing[4] = {1, 2, 3, 255};
        LayOnBoard(nothing, {255, 0, 9}, BoardAlpha(transparency));
        EXPECT_EQ(nothing[0], 255);
        EXPECT_EQ(nothing[3], transparency < 0 ? 0 : 255);
    }
}

struct CompositeTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(CompositeTest);

/// Pixels with masks, four bytes each, and one more that is nobody's business.
struct Rows {
    std::vector<std::uint8_t> pixels, mask;

    explicit Rows(std::size_t size) : pixels(3 * size + 3), mask(size + 1) {}
    MaskedRow Part(std::size_t size) { return {std::span(pixels).first(3 * size), std::span(mask).first(size)}; }
    bool operator==(const Rows&) const = default;
};

/// Runs a row form and its pixel rule over pixels of random bytes and over the ends of their range, with every pair of
/// masks, and over rows of every length.
void ExpectRowIsRule(const std::function<void(MaskedRow, ConstMaskedRow)>& row,
                     const std::function<void(std::uint8_t*, std::uint8_t&, const std::uint8_t*, std::uint8_t)>& rule) {
    std::mt19937 random(3);
    const auto compare = [&](Rows own, const Rows& other, std::size_t size) {
        Rows want = own;
        for (std::size_t x = 0; x < size; ++x)
            rule(&want.pixels[3 * x], want.mask[x], &other.pixels[3 * x], other.mask[x]);
        Rows from = other;
        row(own.Part(size), from.Part(size));
        ASSERT_EQ(own.pixels, want.pixels) << size;
        ASSERT_EQ(own.mask, want.mask) << size;
        ASSERT_EQ(from, other);
    };
    const auto fill = [&](Rows& rows) {
        for (auto& byte : rows.pixels) {
            const auto number = random();
            byte = static_cast<std::uint8_t>(number % 4 == 0 ? 0 : number % 4 == 1 ? 255 : number >> 8);
        }
        for (auto& byte : rows.mask) byte = static_cast<std::uint8_t>(random());
    };
    Rows own(65536), other(65536);
    for (int round = 0; round < 3; ++round) {
        fill(own);
        fill(other);
        for (std::size_t i = 0; i < 65536; ++i) {
            own.mask[i] = static_cast<std::uint8_t>(i);
            other.mask[i] = static_cast<std::uint8_t>(i >> 8);
        }
        compare(own, other, 65536);
        std::swap(own.mask, other.mask);  // runs of one mask the other way round
        compare(own, other, 65536);
    }
    for (std::size_t size = 0; size < 70; ++size) {
        Rows a(size), b(size);
        fill(a);
        fill(b);
        compare(a, b, size);
    }
}

TEST_P(CompositeTest, OverRowIsItsRule) {
    ExpectRowIsRule(OverRow, [](auto* under, auto& mask, const auto* over, auto overMask) {
        OverPixel(under, mask, over, overMask);
    });
}

TEST_P(CompositeTest, ARowIsLaidOnAColourAsOnAPictureOfIt) {
    for (const Bgr color : {Bgr{0, 128, 255}, {255, 1, 77}})
        ExpectRowIsRule([=](MaskedRow row, ConstMaskedRow under) { LayOnColorRow(row, color, under.mask); },
                        [=](auto* pixel, auto& mask, const auto*, auto underMask) {
                            Rows lower(1);
                            for (std::size_t i = 0; i < 3; ++i)
                                lower.pixels[i] = i == 0 ? color.blue : i == 1 ? color.green : color.red;
                            OverPixel(lower.pixels.data(), underMask, pixel, mask);
                            std::copy_n(lower.pixels.data(), 3, pixel);
                            mask = underMask;
                        });
}

TEST_P(CompositeTest, PaintInnerRowIsItsRule) {
    for (const std::int64_t alpha : {-500, -1, 0, 1, 127, 128, 200, 253, 254, 255, 600})
        ExpectRowIsRule(
            [=](MaskedRow row, ConstMaskedRow) {
                PaintInnerRow(row, {255, 0, 131}, alpha);
            },
            [=](auto* pixel, auto& mask, const auto*, auto) {
                PaintInnerPixel<std::int64_t>(pixel, mask, {255, 0, 131}, alpha);
            });
}

TEST_P(CompositeTest, InvertMaskRowIsItsRule) {
    for (const std::int32_t percent : {INT_MIN, -1, 0, 1, 40, 50, 99, 100, 101, INT_MAX})
        ExpectRowIsRule(
            [=](MaskedRow row, ConstMaskedRow) {
                InvertMaskRow(row, {255, 0, 131}, percent);
            },
            [=](auto* pixel, auto& mask, const auto*, auto) {
                InvertMaskPixel(pixel, mask, {255, 0, 131}, percent);
            });
}

TEST(LayOnBoard, FollowsTheMaskOfThePixel) {
    const auto lay = [](std::uint8_t byte, std::uint8_t mask, std::int64_t alpha) {
        std::uint8_t pixel[4] = {byte, byte, byte, mask};
        LayOnBoard(pixel, {180, 180, 180}, alpha);
        return std::pair<int, int>{pixel[0], pixel[3]};
    };
    EXPECT_EQ(lay(10, 0, 77), (std::pair{10, 0}));
    EXPECT_EQ(lay(10, 255, 77), (std::pair{180, 77}));
    EXPECT_EQ(lay(10, 51, 0), (std::pair{44, 0}));
    EXPECT_EQ(lay(10, 51, 255), (std::pair{10, 51}));
    // w1 = 127*255 = 32385, w2 = 128*127 = 16256: (323850 + 2926080) / 48641 = 66, mask 128*128/255 = 64
    EXPECT_EQ(lay(10, 128, 128), (std::pair{66, 64}));
}

}  // namespace
}  // namespace kestrel::kernels
