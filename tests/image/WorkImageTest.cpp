#include "kestrel/image/WorkImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace kestrel {
namespace {

std::uint32_t Number(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | bytes[at + i];
    return value;
}

std::unique_ptr<CWorkImage> FromBytes(const std::vector<std::uint8_t>& bytes) {
    CWorkImage::BlockPtr block(new std::uint8_t[bytes.size()], [](std::uint8_t* p) { delete[] p; });
    std::copy(bytes.begin(), bytes.end(), block.get());
    return CWorkImage::FromBlock(std::move(block), bytes.size());
}

TEST(WorkImage, BlockOfFiveByThree) {
    CWorkImage picture(5, 3);
    const auto block = picture.Block();
    // Image rows of 5 pixels take 16 bytes, mask rows 8; both records have 40 bytes of header and no table.
    const std::uint32_t image = 40 + 3 * 16;
    const std::uint32_t mask = 40 + 3 * 8;
    ASSERT_EQ(block.size(), 32 + image + 4 + mask);
    EXPECT_EQ(Number(block, 0), 0u);
    EXPECT_EQ(Number(block, 4), block.size());
    EXPECT_EQ(Number(block, 12), 0u);
    EXPECT_EQ(Number(block, 16), 0u);
    EXPECT_EQ(Number(block, 20), 5u);
    EXPECT_EQ(Number(block, 24), 5u);  // the width a second time, not the height
    EXPECT_EQ(Number(block, 28), image);
    EXPECT_EQ(Number(block, 32), 40u);
    EXPECT_EQ(Number(block, 36), 5u);
    EXPECT_EQ(Number(block, 40), 3u);
    EXPECT_EQ(Number(block, 44), 1u | 24u << 16);
    EXPECT_EQ(Number(block, 48), 0u);
    EXPECT_EQ(Number(block, 52), 48u);
    EXPECT_EQ(Number(block, 64), 0u);
    EXPECT_EQ(Number(block, 32 + image), mask);
    EXPECT_EQ(Number(block, 32 + image + 4 + 12), 1u | 0xFFF8u << 16);
    EXPECT_EQ(Number(block, 32 + image + 4 + 20), 24u);
    EXPECT_EQ(Number(block, 32 + image + 4 + 32), 0u);

    for (unsigned row = 0; row < 3; ++row) {
        EXPECT_EQ(picture.Rows()[row] - block.data(), 32 + 40 + 16 * row);
        EXPECT_EQ(picture.MaskRows()[row] - block.data(), 32 + image + 4 + 40 + 8 * row);
    }
    EXPECT_EQ(picture.Width(), 5);
    EXPECT_EQ(picture.Height(), 3);
    EXPECT_EQ(picture.Depth(), 24);
}

TEST(WorkImage, PlanesAndLeastSize) {
    CWorkImage none(0, -7, false, false);
    EXPECT_EQ(none.Width(), 1);
    EXPECT_EQ(none.Height(), 1);
    EXPECT_EQ(none.Rows(), nullptr);
    EXPECT_EQ(none.MaskRows(), nullptr);
    EXPECT_EQ(none.Block().size(), 36u);
    none.Clear();

    CWorkImage maskOnly(7, 2, false, true);
    EXPECT_EQ(maskOnly.Rows(), nullptr);
    ASSERT_NE(maskOnly.MaskRows(), nullptr);
    EXPECT_EQ(maskOnly.Block().size(), 36u + 40 + 2 * 8);
    EXPECT_EQ(maskOnly.Height(), 2);
    EXPECT_THROW(CWorkImage(2000000000, 2000000000), std::bad_alloc);
}

TEST(WorkImage, ClearIsNothingThere) {
    CWorkImage picture(3, 2);
    picture.Clear();
    for (int row = 0; row < 2; ++row)
        for (int x = 0; x < 3; ++x) {
            for (int c = 0; c < 3; ++c) EXPECT_EQ(picture.Rows()[row][3 * x + c], 0);
            EXPECT_EQ(picture.MaskRows()[row][x], 255);
        }
    EXPECT_EQ(picture.Image()->biBitCount, 24);  // the records stay
    EXPECT_EQ(picture.Mask()->biBitCount, 0xFFF8);
}

TEST(WorkImage, CopiesRecords) {
    DibPtr image(DibCreate(24, 3, 2));
    DibPtr mask(DibCreate(8, 3, 2));
    DibColorTable(mask.get())[1023] = 5;
    DibRow(image.get(), 1)[8] = 77;
    DibRow(mask.get(), 1)[2] = 99;
    CWorkImage picture(image.get(), mask.get(), -4, 5, 6, 7);
    const auto block = picture.Block();
    EXPECT_EQ(picture.X(), -4);
    EXPECT_EQ(picture.Y(), 5);
    EXPECT_EQ(Number(block, 20), 6u);
    EXPECT_EQ(Number(block, 24), 7u);
    EXPECT_EQ(Number(block, 28), 40u + 2 * 12);
    EXPECT_EQ(Number(block, 32 + 64), 40u + 1024 + 2 * 4);  // a mask of depth 8 keeps its table
    EXPECT_EQ(picture.Width(), 3);
    EXPECT_EQ(picture.Height(), 2);
    EXPECT_EQ(picture.Rows()[1][8], 77);
    EXPECT_EQ(picture.MaskRows()[1][2], 99);
    EXPECT_EQ(picture.MaskRows()[0], block.data() + 32 + 64 + 4 + 40 + 1024);
    EXPECT_EQ(picture.MaskRows()[0][-1], 5);

    DibPtr other(DibCreate(8, 2, 2));
    EXPECT_EQ(CWorkImage(image.get(), other.get(), 0, 0, 3, 3).MaskRows(), nullptr);
}

TEST(WorkImage, CopiesRecordsOfAnyDepth) {
    const struct {
        int depth, width;
        std::uint32_t record;  ///< bytes of three rows with header and table
        int pixelBytes;        ///< bytes of a row that hold pixels
    } cases[] = {{1, 8, 40 + 8 + 3 * 4, 1},  {1, 33, 40 + 8 + 3 * 8, 5},   {4, 7, 40 + 64 + 3 * 4, 4},
                 {4, 9, 40 + 64 + 3 * 8, 5}, {8, 5, 40 + 1024 + 3 * 8, 5}, {16, 3, 40 + 3 * 8, 6},
                 {24, 3, 40 + 3 * 12, 9},    {32, 2, 40 + 3 * 8, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.depth << " bits, width " << c.width);
        DibPtr image(DibCreate(c.depth, c.width, 3));
        const std::size_t colors = c.depth <= 8 ? std::size_t{4} << c.depth : 0;
        for (std::size_t i = 0; i < colors; ++i) DibColorTable(image.get())[i] = static_cast<std::uint8_t>(3 * i + 1);
        for (int row = 0; row < 3; ++row)
            for (int i = 0; i < c.pixelBytes; ++i)
                DibRow(image.get(), row)[i] = static_cast<std::uint8_t>(16 * row + i + 1);
        CWorkImage picture(image.get(), nullptr, 0, 0, c.width, 3);
        ASSERT_EQ(Number(picture.Block(), 28), c.record);
        EXPECT_EQ(picture.Block().size(), 32 + c.record + 4);
        EXPECT_EQ(picture.Depth(), c.depth);
        EXPECT_EQ(std::memcmp(DibColorTable(picture.Image()), DibColorTable(image.get()), colors), 0);
        for (int row = 0; row < 3; ++row) {
            EXPECT_EQ(picture.Rows()[row], DibRow(picture.Image(), row));
            EXPECT_EQ(std::memcmp(picture.Rows()[row], DibRow(image.get(), row), std::size_t(c.pixelBytes)), 0) << row;
        }
        const auto block = picture.Block();
        const auto copy = FromBytes({block.begin(), block.end()});
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->Depth(), c.depth);
    }
}

TEST(WorkImage, BlockTravels) {
    CWorkImage picture(4, 3);
    picture.Clear();
    picture.Rows()[2][11] = 42;
    picture.MaskRows()[0][3] = 7;
    const std::vector<std::uint8_t> bytes(picture.Block().begin(), picture.Block().end());
    const auto copy = FromBytes(bytes);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->Width(), 4);
    EXPECT_EQ(copy->Height(), 3);
    EXPECT_EQ(copy->Rows()[2][11], 42);
    EXPECT_EQ(copy->MaskRows()[0][3], 7);
}

TEST(WorkImage, LyingBlocksAreRefused) {
    CWorkImage picture(4, 3);
    picture.Clear();
    const std::vector<std::uint8_t> bytes(picture.Block().begin(), picture.Block().end());
    const std::size_t mask = 32 + 40 + 3 * 12;
    const struct {
        std::size_t at;
        std::uint32_t value;
    } lies[] = {{4, 1},
                {28, 0xFFFFFFFC},
                {28, 39},
                {28, 41},
                {32, 12},
                {32, 0x80000000},
                {36, 0x7FFFFFFF},
                {36, 0xFFFFFFFF},
                {40, 4},
                {40, 0x80000000},
                {44, 1u | 32u << 16},
                {44, 1u | 4u << 16},
                {48, 1},
                {64, 0x40000000},
                {mask, 0xFFFFFFFF},
                {mask, 8},
                {mask + 4 + 4, 3},
                {mask + 4 + 8, 9}};
    for (const auto& lie : lies) {
        auto broken = bytes;
        std::memcpy(&broken[lie.at], &lie.value, 4);
        EXPECT_EQ(FromBytes(broken), nullptr) << lie.at << " " << lie.value;
    }
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_EQ(FromBytes({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}), nullptr) << size;
}

}  // namespace
}  // namespace kestrel
