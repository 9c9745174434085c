#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "kestrel/image/Dib.h"
#include "kestrel/image/Palette.h"
#include "kestrel/image/Surface.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The pixels of a row without its padding.
Bytes Pixels(const Dib* dib, int row) {
    const std::uint8_t* from = DibRow(dib, row);
    return {from, from + dib->biWidth * DibBitsPerPixel(dib) / 8};
}

void SetRow(Dib* dib, int row, const Bytes& bytes) { std::memcpy(DibRow(dib, row), bytes.data(), bytes.size()); }

TEST(Make24BitDib, OneBit) {
    const DibPtr dib(DibCreateEx(1, 10, 2, 64));
    DibColorCount(dib.get());
    const std::uint8_t table[] = {1, 2, 3, 0, 7, 8, 9, 0};
    std::memcpy(DibColorTable(dib.get()), table, 8);
    SetRow(dib.get(), 0, {0x81, 0x40});
    SetRow(dib.get(), 1, {0x00, 0x80});
    const DibPtr result(Make24BitDib(dib.get()));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->biBitCount, 24);
    const auto row = [](const char* bits) {
        Bytes bytes;
        for (; *bits; ++bits)
            *bits == '1' ? bytes.insert(bytes.end(), {7, 8, 9}) : bytes.insert(bytes.end(), {1, 2, 3});
        return bytes;
    };
    EXPECT_EQ(Pixels(result.get(), 0), row("1000000101"));
    EXPECT_EQ(Pixels(result.get(), 1), row("0000000010"));
}

TEST(Make24BitDib, FourAndEightBits) {
    const DibPtr four(DibCreate(4, 3, 1));
    SetRow(four.get(), 0, {0x19, 0xC0});
    EXPECT_EQ(Pixels(DibPtr(Make24BitDib(four.get())).get(), 0), (Bytes{0, 0, 0x80, 0, 0, 0xFF, 0xFF, 0, 0}));
    const DibPtr eight(DibCreate(8, 2, 2));
    SetRow(eight.get(), 0, {10, 0});
    SetRow(eight.get(), 1, {15, 255});
    const DibPtr result(Make24BitDib(eight.get()));
    EXPECT_EQ(Pixels(result.get(), 0), (Bytes{0, 0xFF, 0, 0, 0, 0}));
    EXPECT_EQ(Pixels(result.get(), 1), Bytes(6, 0xFF));
}

TEST(Make24BitDib, IndicesBeyondTheTableAreBlack) {
    const DibPtr dib(DibCreateEx(8, 2, 1, 0));
    dib->biClrUsed = 2;
    std::memset(DibColorTable(dib.get()), 200, 8);
    SetRow(dib.get(), 0, {1, 2});
    EXPECT_EQ(Pixels(DibPtr(Make24BitDib(dib.get())).get(), 0), (Bytes{200, 200, 200, 0, 0, 0}));
}

TEST(Make24BitDib, SixteenBitsAreFiveFiveFive) {
    const DibPtr dib(DibCreateEx(16, 32, 1, 12));
    Bytes pixels, want;
    for (int v = 0; v < 32; ++v) {
        const int channels[] = {v, 31 - v, (v + 7) % 32};
        const int pixel = channels[0] | channels[1] << 5 | channels[2] << 10 | v % 2 << 15;  // the top bit is nothing
        pixels.insert(pixels.end(), {static_cast<std::uint8_t>(pixel), static_cast<std::uint8_t>(pixel >> 8)});
        for (const int c : channels) want.push_back(static_cast<std::uint8_t>(c * 255 / 31));
    }
    SetRow(dib.get(), 0, pixels);
    EXPECT_EQ(Pixels(DibPtr(Make24BitDib(dib.get())).get(), 0), want);

    const DibPtr fields(DibCreateEx(16, 1, 1, 12));  // 5-6-5: all green ends as green and, by its upper bit, as red
    fields->biCompression = kDibBitFields;
    SetRow(fields.get(), 0, {0xE0, 0x07});
    EXPECT_EQ(Pixels(DibPtr(Make24BitDib(fields.get())).get(), 0), (Bytes{0, 255, 8}));
}

TEST(Make24BitDib, TwentyFourBitsAreCopiedWhole) {
    const DibPtr dib(DibCreateEx(24, 2, 2, 8));
    dib->biClrUsed = 2;
    dib->biXPelsPerMeter = 77;
    for (std::size_t i = 40; i < 40 + 8 + 16; ++i)
        reinterpret_cast<std::uint8_t*>(dib.get())[i] = static_cast<std::uint8_t>(i);
    const DibPtr copy(Make24BitDib(dib.get()));
    EXPECT_NE(copy, dib);
    EXPECT_EQ(0, std::memcmp(copy.get(), dib.get(), 40 + 8 + 16));
}

TEST(Make24BitDib, TheFourthByteIsDropped) {
    const DibPtr dib(DibCreate(32, 2, 1));
    SetRow(dib.get(), 0, {1, 2, 3, 255, 4, 5, 6, 0});
    EXPECT_EQ(Pixels(DibPtr(Make24BitDib(dib.get())).get(), 0), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(Make24BitDib, OtherDepthsGiveNull) {
    for (const int depth : {0, 2, 3, 15, 48, 0xFFF8}) {
        const DibPtr dib(DibCreate(depth, 4, 4));
        ASSERT_NE(dib, nullptr);
        EXPECT_EQ(Make24BitDib(dib.get()), nullptr) << depth;
    }
    EXPECT_EQ(Make24BitDib(nullptr), nullptr);
}

TEST(Make24BitDib, RowsWithoutPixelsAreNotWalked) {
    // Two thousand million rows of nothing would take minutes if they were.
    for (const int depth : {1, 8, 16, 24, 32})
        for (int i = 0; i < 100; ++i) {
            const DibPtr dib(DibCreate(depth, 0, INT32_MAX));
            const DibPtr result(Make24BitDib(dib.get()));
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(result->biHeight, INT32_MAX);
            EXPECT_NE(DibPtr(GolorGray(result.get())), nullptr);
        }
}

TEST(DibDropFourthBytes, IsTheConversionInPlace) {
    for (const int width : {0, 1, 2, 3, 5, 64, 1001})
        for (const int height : {0, 1, 2, 300}) {
            DibPtr dib(DibCreate(32, width, height));
            for (int y = 0; y < height; ++y)
                for (int i = 0; i < 4 * width; ++i) DibRow(dib.get(), y)[i] = static_cast<std::uint8_t>(i * 7 + y * 31);
            const DibPtr other(Make24BitDib(dib.get()));
            DibDropFourthBytes(dib);
            ASSERT_EQ(dib->biBitCount, 24);
            ASSERT_EQ(dib->biWidth * 1000 + dib->biHeight, width * 1000 + height);
            EXPECT_EQ(dib->biSizeImage, other->biSizeImage);
            for (int y = 0; y < height; ++y)
                ASSERT_EQ(
                    std::memcmp(DibRow(dib.get(), y), DibRow(other.get(), y), static_cast<std::size_t>(3 * width)), 0)
                    << width << " x " << height << ", row " << y;
        }
}

TEST(GolorGray, TruncatedMeanOverAGreyRamp) {
    const DibPtr dib(DibCreate(24, 3, 1));
    SetRow(dib.get(), 0, {10, 20, 31, 255, 255, 255, 0, 1, 1});
    const DibPtr gray(GolorGray(dib.get()));
    ASSERT_NE(gray, nullptr);
    EXPECT_EQ(Pixels(gray.get(), 0), (Bytes{20, 255, 0}));
    for (int i = 0; i < 256; ++i) {
        const std::uint8_t want[] = {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i),
                                     static_cast<std::uint8_t>(i), 0};
        EXPECT_EQ(0, std::memcmp(DibColorTable(gray.get()) + 4 * i, want, 4));
    }
    EXPECT_EQ(GolorGray(nullptr), nullptr);
    EXPECT_EQ(GolorGray(gray.get()), nullptr);
}

// Palettes -----------------------------------------------------------------------------------------------------------

TEST(Palette, NearestIsTheFirstOfEquals) {
    const Palette palette({{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {10, 0, 0}});
    EXPECT_EQ(palette.Nearest({4, 0, 0}), 0);
    EXPECT_EQ(palette.Nearest({5, 0, 0}), 0);
    EXPECT_EQ(palette.Nearest({6, 0, 0}), 1);
    EXPECT_EQ(palette.Nearest({255, 255, 255}), 2);
    EXPECT_EQ(Palette({}).Nearest({1, 2, 3}), 0);
    EXPECT_EQ(Palette(std::vector<Palette::Color>(300)).Colors().size(), 256u);
    EXPECT_EQ(Palette::Default().Colors().size(), 20u);
    // The first and the last eight are the standard colours: red, green, blue at half and at full strength.
    const int between[4][3] = {{0xC0, 0xDC, 0xC0}, {0xA6, 0xCA, 0xF0}, {0xFF, 0xFB, 0xF0}, {0xA0, 0xA0, 0xA4}};
    for (int i = 0; i < 20; ++i)
        for (int c = 0; c < 3; ++c) {
            const Palette::Color color = Palette::Default().Colors()[static_cast<std::size_t>(i)];
            const int standard = i < 8 ? i : i - 4;
            const int want = i >= 8 && i < 12      ? between[i - 8][c]
                             : standard == 7       ? 0xC0
                             : standard == 8       ? 0x80
                             : (standard >> c) & 1 ? (i < 8 ? 0x80 : 0xFF)
                                                   : 0;
            EXPECT_EQ(c == 0 ? color.red : c == 1 ? color.green : color.blue, want) << i;
        }
}

TEST(DibSetUsage, IndicesOrColors) {
    const DibPtr dib(DibCreate(8, 1, 1));
    const Palette palette({{1, 2, 3}, {4, 5, 6}});
    EXPECT_EQ(DibSetUsage(nullptr, &palette, kDibRgbColors), 0);
    EXPECT_EQ(DibSetUsage(dib.get(), &palette, kDibRgbColors), 1);
    const Bytes colors = {3, 2, 1, 0, 6, 5, 4, 0, 0, 0x80, 0, 0};  // the third is the table's own
    EXPECT_EQ(Bytes(DibColorTable(dib.get()), DibColorTable(dib.get()) + 12), colors);

    EXPECT_EQ(DibSetUsage(dib.get(), nullptr, 7), 1);
    EXPECT_EQ(DibColorTable(dib.get())[4 * 8], 0xC0);
    EXPECT_EQ(DibColorTable(dib.get())[4 * 8 + 1], 0xDC);

    EXPECT_EQ(DibSetUsage(dib.get(), nullptr, kDibPaletteColors), 1);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(DibColorTable(dib.get())[2 * i], i);
        EXPECT_EQ(DibColorTable(dib.get())[2 * i + 1], 0);
    }

    const DibPtr fields(DibCreateEx(16, 1, 1, 12));
    fields->biCompression = kDibBitFields;
    fields->biClrUsed = 3;
    EXPECT_EQ(DibSetUsage(fields.get(), nullptr, kDibPaletteColors), 1);
    EXPECT_EQ(DibColorTable(fields.get())[2], 0);  // its masks are left alone
}

TEST(DibMapToPalette, EightBits) {
    DibPtr dib(DibCreate(8, 4, 2));
    SetRow(dib.get(), 0, {0, 9, 15, 12});
    SetRow(dib.get(), 1, {12, 1, 31, 31});
    const Palette palette({{250, 250, 250}, {0, 0, 250}, {130, 0, 0}});
    DibMapToPalette(dib, &palette);
    EXPECT_EQ(dib->biClrUsed, 3u);
    EXPECT_EQ(Pixels(dib.get(), 0), (Bytes{2, 2, 0, 1}));  // black is nearest to the dark red
    EXPECT_EQ(Pixels(dib.get(), 1), (Bytes{1, 2, 0, 0}));
    EXPECT_EQ(Bytes(DibColorTable(dib.get()), DibColorTable(dib.get()) + 12),
              (Bytes{250, 250, 250, 0, 250, 0, 0, 0, 0, 0, 130, 0}));

    DibPtr runs(DibCreate(8, 4, 1));
    runs->biCompression = kDibRunLength8;
    SetRow(runs.get(), 0, {4, 12, 0, 1});
    DibMapToPalette(runs, &palette);
    EXPECT_EQ(Pixels(runs.get(), 0), Bytes(4, 1)) << "runs are expanded, then mapped";
}

TEST(DibMapToPalette, FourBitsBothHalves) {
    DibPtr dib(DibCreate(4, 4, 1));
    SetRow(dib.get(), 0, {0x0F, 0x9C});
    const Palette palette({{255, 255, 255}, {255, 0, 0}, {0, 0, 255}, {0, 0, 0}});
    DibMapToPalette(dib, &palette);
    EXPECT_EQ(DibRow(dib.get(), 0)[0], 0x30);
    EXPECT_EQ(DibRow(dib.get(), 0)[1], 0x12);
}

TEST(DibMapToPalette, OtherBlocksStay) {
    DibPtr none;
    DibMapToPalette(none, nullptr);
    EXPECT_EQ(none, nullptr);
    const Palette empty({});
    for (const auto& [depth, compression, palette] : {std::tuple{24, kDibPlain, static_cast<const Palette*>(nullptr)},
                                                      {4, kDibRunLength4, nullptr},
                                                      {8, kDibPlain, &empty}}) {
        DibPtr dib(DibCreate(depth, 2, 1));
        dib->biCompression = compression;
        Dib* before = dib.get();
        DibMapToPalette(dib, palette);
        EXPECT_EQ(dib.get(), before) << depth;
    }
}

// Surfaces -----------------------------------------------------------------------------------------------------------

TEST(DIBPaint, LandsUprightAndClipped) {
    DibPtr picture(DibCreate(24, 2, 2));
    SetRow(picture.get(), 1, {1, 1, 1, 2, 2, 2});  // the upper line
    SetRow(picture.get(), 0, {3, 3, 3, 4, 4, 4});
    for (int x = -3; x <= 4; ++x)
        for (int y = -3; y <= 4; ++y) {
            MemorySurface surface(3, 3);
            EXPECT_EQ(DIBPaint(picture.get(), surface, x, y), 2);
            for (int line = 0; line < 3; ++line)
                for (int column = 0; column < 3; ++column) {
                    const bool inside = column >= x && column < x + 2 && line >= y && line < y + 2;
                    const int want = inside ? 1 + (column - x) + 2 * (line - y) : 0;
                    EXPECT_EQ(DibRow(surface.Picture(), 2 - line)[3 * column], want);
                }
        }
    MemorySurface surface(3, 3);
    EXPECT_EQ(DIBPaint(nullptr, surface, 0, 0), 0);
    EXPECT_EQ(DIBPaint(picture.get(), surface, INT32_MIN, INT32_MAX), 2);
    const DibPtr indexed(DibCreate(8, 1, 1));
    DibRow(indexed.get(), 0)[0] = 15;
    EXPECT_EQ(DIBPaint(indexed.get(), surface, 0, 0), 1);
    EXPECT_EQ(DibRow(surface.Picture(), 2)[0], 255);
    EXPECT_EQ(DIBPaint(DibPtr(DibCreate(2, 1, 1)).get(), surface, 0, 0), 0);
    EXPECT_EQ(DIBPaint(DibPtr(DibCreateEx(24, 2, -3, 0)).get(), surface, 0, 0), 0);
}

}  // namespace
}  // namespace kestrel
