// Every compiled instruction set gives the bytes of the one-pixel rules: all settings, all tails, nothing beyond.
#include "kestrel/kernels/ColourRows.h"

#define HWY_WANT_AVX3_DL  // which some rows are compiled for too
#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "kestrel/kernels/Histogram.h"
#include "kestrel/kernels/HslRows.h"
#include "tests/kernels/RandomBytes.h"

namespace kestrel::kernels {
namespace {

struct ColourRowsTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ColourRowsTest);

using Row = std::vector<std::uint8_t>;
using RowForm = std::function<void(std::span<std::uint8_t>)>;
using PixelRule = std::function<Bgr(Bgr)>;

void ExpectRowIsRule(Row row, std::size_t offset, std::size_t size, const RowForm& form, const PixelRule& rule) {
    Row want = row;
    for (std::size_t i = offset; i + 2 < offset + size; i += 3) Store(&want[i], rule(Load(&want[i])));
    form(std::span(row).subspan(offset, size));
    ASSERT_EQ(row, want) << "offset " << offset << " size " << size;
}

struct Form {
    const char* name;
    std::function<void(std::span<std::uint8_t>, int)> row;
    std::function<Bgr(Bgr, int)> rule;
    std::vector<int> settings;
};

std::vector<int> Settings(int least, int greatest, std::initializer_list<int> wild) {
    std::vector<int> settings(wild);
    for (int i = least; i <= greatest; ++i) settings.push_back(i);
    return settings;
}

ColourShift ShiftOf(int v) { return {v, -std::int64_t{v}, v / 2}; }

/// Runs over hues, scales below and above 1 and intensities with the setting; the last one has no number for a scale.
Colouring ColouringOf(int v) {
    return {{v * 3.5, 0.0, (v & 15) / 15.0},
            v == INT_MAX ? std::numeric_limits<double>::quiet_NaN() : 1.0 + (v % 7) / 3.0,
            (v % 5) / 4.0 - 0.5,
            v % 4 == 0 ? 1.0 : v / 100.0};
}

TwoColours TwoColoursOf(int v) {
    return {{(v & 127) * 2.75, (v & 7) / 7.0, (v & 3) / 3.0}, {(v & 63) * 5.5, (v & 15) / 15.0, 0.8}, v / 100.0};
}

const std::vector<Form>& Forms() {
    static const std::vector<Form> forms = {
        {"Invert", [](auto row, int v) { InvertRow(row, v); },
         [](Bgr p, int v) {
             return Bgr{InvertByte(p.blue, v), InvertByte(p.green, v), InvertByte(p.red, v)};
         },
         Settings(-2, 102, {INT_MIN, INT_MAX, 65535})},
        {"BlackWhite", [](auto row, int v) { BlackWhiteRow(row, v); },
         [](Bgr p, int v) { return BlackWhitePixel(p, v); }, Settings(-2, 102, {INT_MIN, INT_MAX})},
        {"Sepia", [](auto row, int v) { SepiaRow(row, static_cast<std::uint8_t>(v)); },
         [](Bgr p, int v) { return SepiaPixel(p, static_cast<std::uint8_t>(v)); }, Settings(0, 255, {})},
        {"Transparency", [](auto row, int v) { TransparencyRow(row, static_cast<std::uint8_t>(v)); },
         [](Bgr p, int v) {
             const auto keep = static_cast<std::uint8_t>(v);
             return Bgr{TransparencyByte(p.blue, keep), TransparencyByte(p.green, keep), TransparencyByte(p.red, keep)};
         },
         Settings(0, 255, {})},
        {"Shift", [](auto row, int v) { ShiftRow(row, ShiftOf(v)); },
         [](Bgr p, int v) { return ShiftPixel(p, ShiftOf(v)); }, Settings(-260, 260, {INT_MIN, INT_MAX})},
        {"Saturate", [](auto row, int v) { SaturateRow(row, v / 40.0); },
         [](Bgr p, int v) { return SaturatePixel(p, v / 40.0); }, Settings(-4, 200, {INT_MAX})},
        {"Saturate beyond all bounds",
         [](auto row, int) { SaturateRow(row, std::numeric_limits<double>::infinity()); },
         [](Bgr p, int) { return SaturatePixel(p, std::numeric_limits<double>::infinity()); },
         {0}},
        {"Colour", [](auto row, int v) { ColourRow(row, ColourTable(ColouringOf(v))); },
         [](Bgr p, int v) { return ColourPixel(p, ColouringOf(v)); }, Settings(-3, 103, {INT_MAX})},
        {"TwoColours", [](auto row, int v) { TwoColourRow(row, TwoColourTable(TwoColoursOf(v))); },
         [](Bgr p, int v) { return TwoColourPixel(p, TwoColoursOf(v)); }, Settings(-3, 103, {INT_MIN, INT_MAX})},
    };
    return forms;
}

TEST_P(ColourRowsTest, EverySetting) {
    Row row = RandomBytes(3 * 700, 11);
    for (std::size_t i = 0; i < 256; ++i) row[3 * i] = row[3 * i + 1] = row[3 * i + 2] = static_cast<std::uint8_t>(i);
    for (std::size_t i = 0; i < 30; ++i) row[3 * 256 + i] = i % 3 == 1 ? 255 : 0;
    for (const Form& form : Forms()) {
        SCOPED_TRACE(form.name);
        for (const int v : form.settings) {
            SCOPED_TRACE(v);
            ExpectRowIsRule(
                row, 0, row.size(), [&](auto r) { form.row(r, v); }, [&](Bgr p) { return form.rule(p, v); });
        }
    }
}

/// Estimates decide most pixels of these rows, which differ little from one another; random ones are mostly at the ends
/// of the saturation.
TEST_P(ColourRowsTest, NeighbouringColors) {
    for (unsigned red = 0; red < 256; red += 9) {
        Row row;
        for (unsigned i = 0; i < 6000; ++i)
            for (const unsigned byte : {red + i % 31, red + i * 7 % 41, red + i / 150})
                row.push_back(static_cast<std::uint8_t>(std::min(byte, 255u)));
        for (const double slider : {-100.0, -50.0, -37.0, 1.0, 24.0, 40.0}) {
            SCOPED_TRACE(slider);
            const double factor = SatFactor(slider);
            ExpectRowIsRule(
                row, 0, row.size(), [&](auto r) { SaturateRow(r, factor); },
                [&](Bgr p) { return SaturatePixel(p, factor); });
        }
    }
}

TEST_P(ColourRowsTest, EveryTailAndNothingBeyond) {
    for (const Form& form : Forms()) {
        SCOPED_TRACE(form.name);
        for (std::size_t offset = 0; offset < 4; ++offset)
            for (std::size_t pixels = 0; pixels <= 140; ++pixels)
                ExpectRowIsRule(
                    RandomBytes(4 + 3 * 140 + 64, static_cast<unsigned>(pixels)), offset, pixels * 3,
                    [&](auto r) { form.row(r, 73); }, [&](Bgr p) { return form.rule(p, 73); });
    }
}

/// The sum has the last bits of one that goes from pixel to pixel: numbers half way between two sums, flat pictures
/// and masks, and enough rows for several powers of two.
TEST_P(ColourRowsTest, LightnessesAddUpInOrder) {
    for (const int kind : {0, 1, 2, 3}) {
        SCOPED_TRACE(kind);
        Lightnesses want, got;
        for (unsigned y = 0; y < 40; ++y) {
            const std::size_t width = 1 + y * 67 % 1500;
            Row pixels = RandomBytes(3 * width, y);
            Row mask = kind == 0 ? RandomBytes(width, y + 1) : Row(width);
            if (kind == 1) std::ranges::fill(pixels, std::uint8_t{128});
            if (kind == 2) TableRow(std::span(pixels), LevelsTable(127, 128));  // black and white
            for (std::size_t x = 0; x < width; ++x) want.Add(Load(&pixels[3 * x]), mask[x]);
            MeasureLightness(pixels, mask, got);
            ASSERT_EQ(got, want) << y;
        }
    }
}

// The rules themselves, in another form.
TEST(ColourRules, QuotientsCutTowardZero) {
    for (int p = 0; p < 256; ++p)
        for (int v = -150; v <= 250; ++v) {
            const double mix = (v * (255.0 - p) + (100.0 - v) * p) / 100.0;
            ASSERT_EQ(InvertByte(static_cast<std::uint8_t>(p), v),
                      static_cast<std::uint8_t>(static_cast<int>(mix + (mix < 0 ? -1e-9 : 1e-9))));
        }
}

TEST(ColourRules, HslThereAndBackMovesAByteByOneAtMost) {
    for (int r = 0; r < 256; r += 3)
        for (int g = 0; g < 256; g += 3)
            for (int b = 0; b < 256; b += 3) {
                const Bgr p{static_cast<std::uint8_t>(b), static_cast<std::uint8_t>(g), static_cast<std::uint8_t>(r)};
                const Hsl hsl = RgbToHsl(p.red, p.green, p.blue);
                const Bgr back = HslToRgb(hsl.hue, hsl.lightness, hsl.saturation);
                ASSERT_LE(std::abs(back.red - r) + std::abs(back.green - g) + std::abs(back.blue - b), 3);
                ASSERT_TRUE(back.red <= r && back.green <= g && back.blue <= b) << "truncation only loses";
            }
}

TEST(ColourRules, HuesOfTheCorners) {
    const struct {
        std::uint8_t r, g, b;
        double hue, saturation;
    } corners[] = {{255, 0, 0, 0, 1},   {255, 255, 0, 60, 1},  {0, 255, 0, 120, 1}, {0, 255, 255, 180, 1},
                   {0, 0, 255, 240, 1}, {255, 0, 255, 300, 1}, {9, 9, 9, 0, 0}};
    for (const auto& c : corners) {
        const Hsl hsl = RgbToHsl(c.r, c.g, c.b);
        EXPECT_EQ(hsl.hue, c.hue);
        EXPECT_EQ(hsl.saturation, c.saturation);
    }
}

}  // namespace
}  // namespace kestrel::kernels
