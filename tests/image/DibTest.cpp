#include "kestrel/image/Dib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace kestrel {
namespace {

TEST(Dib, CreateFillsTheRecord) {
    const struct {
        int depth, width, height;
        std::uint32_t imageSize, colors;
    } cases[] = {{24, 5, 3, 48, 0}, {8, 5, 3, 24, 256}, {4, 5, 3, 12, 16}, {4, 9, 1, 4, 16},  {1, 33, 2, 8, 0},
                 {16, 3, 2, 16, 0}, {32, 3, 2, 24, 0},  {24, 0, 4, 0, 0},  {24, -5, 4, 0, 0}, {24, 4, -5, 0, 0}};
    for (const auto& c : cases) {
        const DibPtr dib(DibCreate(c.depth, c.width, c.height));
        ASSERT_NE(dib, nullptr);
        EXPECT_EQ(dib->biSize, 40u);
        EXPECT_EQ(dib->biWidth, std::max(c.width, 0));
        EXPECT_EQ(dib->biHeight, std::max(c.height, 0));
        EXPECT_EQ(dib->biPlanes, 1);
        EXPECT_EQ(dib->biBitCount, c.depth);
        EXPECT_EQ(dib->biCompression, 0u);
        EXPECT_EQ(dib->biSizeImage, c.imageSize) << c.depth << " " << c.width;
        EXPECT_EQ(dib->biClrUsed, c.colors);
        EXPECT_EQ(dib->biXPelsPerMeter, 0);
        EXPECT_EQ(dib->biClrImportant, 0u);
    }
}

TEST(Dib, CreateRefusesWhatNoBlockCanBe) {
    EXPECT_EQ(DibCreate(24, INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(DibCreate(65535, INT_MAX, 1), nullptr);
    EXPECT_EQ(DibCreate(24, INT_MAX, 1), nullptr);
    EXPECT_EQ(DibCreate(-1, 4, 4), nullptr);
    EXPECT_EQ(DibCreate(65536, 4, 4), nullptr);
    EXPECT_EQ(DibCreate(INT_MIN, 4, 4), nullptr);
    EXPECT_EQ(DibCreateEx(24, 4, 4, SIZE_MAX), nullptr);
    EXPECT_EQ(DibCreateEx(24, INT_MIN, INT_MIN, 0), nullptr);
    DibFree(nullptr);
}

TEST(Dib, StandardColorsRepeat) {
    const DibPtr dib(DibCreate(8, 1, 1));
    const std::uint8_t* table = DibColorTable(dib.get());
    for (int i = 0; i < 256; ++i)
        for (int c = 0; c < 4; ++c) {  // bits 0, 1, 2 of the index are red, green, blue
            const int n = i % 16;
            const int full = n < 8 ? 0x80 : 0xFF;
            const int want = c == 3 ? 0 : n == 7 ? 0xC0 : n == 8 ? 0x80 : n >> (2 - c) & 1 ? full : 0;
            EXPECT_EQ(table[4 * i + c], want) << i;
        }
}

TEST(Dib, CreateExKeepsItsSizes) {
    const DibPtr dib(DibCreateEx(8, -4, -3, 100));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biWidth, -4);
    EXPECT_EQ(dib->biHeight, -3);
    EXPECT_EQ(dib->biClrUsed, 256u);
    const DibPtr wide(DibCreateEx(24, 3, 2, 10));
    std::memset(DibRow(wide.get(), 2), 1, 10);  // the extra bytes lie behind the last row
}

TEST(Dib, RowsOfAnyDepthLieInTheBlock) {
    for (const int depth : {1, 2, 4, 8, 16, 24, 32, 0xFFF8})
        for (int width = 0; width < 70; ++width) {
            const DibPtr dib(DibCreate(depth, width, 50));
            const std::size_t row = DibRowSize(dib.get());
            EXPECT_EQ(row % 4, 0u);
            EXPECT_GE(row * 8, static_cast<std::size_t>(width * DibBitsPerPixel(dib.get())));
            EXPECT_LT(row * 8, static_cast<std::size_t>(width * DibBitsPerPixel(dib.get()) + 32));
            for (int y = 0; y < 50; ++y) std::memset(DibRow(dib.get(), y), y, row);
            if (row > 0) {
                EXPECT_EQ(DibRow(dib.get(), 7)[row - 1], 7);
            }
        }
}

TEST(Dib, DerivedValuesAreStoredBack) {
    const DibPtr dib(DibCreate(1, 33, 3));
    EXPECT_EQ(DibColorCount(dib.get()), 2u);
    EXPECT_EQ(dib->biClrUsed, 2u);
    EXPECT_EQ(DibRow(dib.get(), 0), reinterpret_cast<std::uint8_t*>(dib.get()) + 40 + 8);
    dib->biSizeImage = 0;
    EXPECT_EQ(DibImageSize(dib.get()), 24u);  // three rows of eight bytes: the true row size, not the created one
    EXPECT_EQ(dib->biSizeImage, 24u);
    EXPECT_EQ(DIBFileSize(dib.get()), 40u + 8 + 14 + 24);
    EXPECT_EQ(DIBFileSize(nullptr), 0u);
    for (const auto& [depth, colors] : {std::pair{4, 16u}, {8, 256u}, {16, 0u}}) {
        const DibPtr open(DibCreate(depth, 1, 1));
        open->biClrUsed = 0;
        EXPECT_EQ(DibColorCount(open.get()), colors);
    }
    dib->biHeight = -3;
    dib->biSizeImage = 0;
    EXPECT_EQ(DibImageSize(dib.get()), 0u);
}

TEST(Dib, BitFieldsStandWhereTheTableWould) {
    const DibPtr dib(DibCreateEx(16, 2, 1, 12));
    dib->biCompression = kDibBitFields;
    EXPECT_EQ(DibRow(dib.get(), 0), reinterpret_cast<std::uint8_t*>(dib.get()) + 40 + 12);
}

}  // namespace
}  // namespace kestrel
