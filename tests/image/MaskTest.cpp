#include "kestrel/image/Mask.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Freed {
    void operator()(std::uint8_t* array) const { std::free(array); }
};
using Array = std::unique_ptr<std::uint8_t[], Freed>;

TEST(Mask, ArrayBecomesDibOnlyWithPartialValues) {
    EXPECT_EQ(ConvertMaskArrayToDib(nullptr, 2, 2), nullptr);
    EXPECT_EQ(ConvertMaskArrayToDib(Bytes(6, 255).data(), 3, 2), nullptr);
    EXPECT_EQ(ConvertMaskArrayToDib(Bytes(6, 0).data(), 3, 2), nullptr);
    EXPECT_EQ(ConvertMaskArrayToDib(Bytes{0, 255, 0, 255, 0, 255}.data(), 3, 2), nullptr);
    const Bytes array = {0, 255, 128, 255, 0, 255};
    const DibPtr dib(ConvertMaskArrayToDib(array.data(), 3, 2));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biBitCount, 8);
    const std::uint8_t upper[] = {255, 0, 127};
    const std::uint8_t lower[] = {0, 255, 0};
    EXPECT_EQ(0, std::memcmp(DibRow(dib.get(), 1), upper, 3));
    EXPECT_EQ(0, std::memcmp(DibRow(dib.get(), 0), lower, 3));
}

TEST(Mask, RoundTrip) {
    for (int width = 1; width < 10; ++width) {
        Bytes array(static_cast<std::size_t>(width * 5));
        for (std::size_t i = 0; i < array.size(); ++i) array[i] = static_cast<std::uint8_t>(i * 37 + 1);
        const DibPtr dib(ConvertMaskArrayToDib(array.data(), width, 5));
        ASSERT_NE(dib, nullptr);
        const Array back(ConvertMaskDibToArray(dib.get()));
        EXPECT_EQ(0, std::memcmp(back.get(), array.data(), array.size()));
    }
    EXPECT_EQ(ConvertMaskDibToArray(nullptr), nullptr);
    EXPECT_EQ(ConvertMaskDibToArray(DibPtr(DibCreate(24, 2, 2)).get()), nullptr);
    EXPECT_NE(Array(ConvertMaskDibToArray(DibPtr(DibCreate(8, 0, 0)).get())), nullptr);
}

/// A surface of one grey, a picture of rising bytes, a mask of one row of values on every line.
struct DrawWithMask : testing::Test {
    DrawWithMask() : surface(6, 6), image(DibCreate(24, 4, 4)), mask(DibCreate(8, 4, 4)) {
        for (int y = 0; y < 6; ++y) std::memset(DibRow(surface.Picture(), y), 100, 18);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                std::memset(DibRow(image.get(), y) + 3 * x, 10 * y + x, 3);
                DibRow(mask.get(), y)[x] = kValues[x];
            }
    }
    int At(int x, int y) const { return DibRow(surface.Picture(), 5 - y)[3 * x + 1]; }

    static constexpr std::uint8_t kValues[4] = {0, 1, 254, 255};
    MemorySurface surface;
    DibPtr image, mask;
};

TEST_F(DrawWithMask, OneLineHigherThanItsRows) {
    DIBDrawWithMask(surface, image.get(), nullptr, 1, 1, 4, 4, 0, 3, false);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) {
            // Row 0 stands on line 3 of the surface, the second of the area from below; row 3 is not drawn.
            const bool drawn = x >= 1 && x < 5 && y >= 1 && y <= 3;
            EXPECT_EQ(At(x, y), drawn ? 10 * (3 - y) + x - 1 : 100) << x << "," << y;
        }
}

TEST_F(DrawWithMask, Blending) {
    DIBDrawWithMask(surface, image.get(), mask.get(), 0, 0, 4, 2, 0, 0, false);
    EXPECT_EQ(At(0, 0), 0);
    EXPECT_EQ(At(1, 0), (254 * 255 * 1 + 255 * 100) / (255 * 255));  // 1
    EXPECT_EQ(At(2, 0), 99);                                         // (255 * 2 + 254 * 255 * 100) / 65025 = 99.6
    EXPECT_EQ(At(3, 0), 100);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(At(x, 1), 100);
}

TEST_F(DrawWithMask, NoBlendingLeavesPartialPixels) {
    DIBDrawWithMask(surface, image.get(), mask.get(), 0, 0, 4, 2, 0, 0, true);
    EXPECT_EQ(At(0, 0), 0);
    for (int x = 1; x < 4; ++x) EXPECT_EQ(At(x, 0), 100);
}

TEST_F(DrawWithMask, SourceColumn) {
    DIBDrawWithMask(surface, image.get(), nullptr, 0, 0, 4, 2, 2, 0, false);
    EXPECT_EQ(At(0, 0), 2);
    EXPECT_EQ(At(1, 0), 3);
    EXPECT_EQ(At(2, 0), 100);  // the picture has no such column
    const DibPtr small(DibCreate(8, 2, 1));
    DIBDrawWithMask(surface, image.get(), small.get(), 0, 2, 4, 4, 1, 0, false);
    for (int y = 2; y < 6; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(At(x, y), x == 0 && y == 4 ? 1 : 100) << "the mask has two columns and one row";
}

TEST_F(DrawWithMask, NothingIsDrawn) {
    DIBDrawWithMask(surface, nullptr, mask.get(), 0, 0, 4, 4, 0, 0, false);
    for (const int height : {INT_MIN, -1, 0, 1})
        DIBDrawWithMask(surface, image.get(), nullptr, 0, 0, 4, height, 0, 0, false);
    for (const int column : {INT_MIN, -4, 4, INT_MAX})
        DIBDrawWithMask(surface, image.get(), nullptr, 0, 0, 4, 4, column, 0, false);
    DIBDrawWithMask(surface, image.get(), nullptr, INT_MIN, INT_MAX, 4, 4, 0, 0, false);
    DIBDrawWithMask(surface, image.get(), image.get(), 0, 0, 4, 4, 0, 0, false);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(At(x, y), 100);
}

TEST_F(DrawWithMask, AreasBeyondPictureAndSurface) {
    DIBDrawWithMask(surface, image.get(), nullptr, -2, 3, 50, 50, 0, 0, false);  // far below the surface
    EXPECT_EQ(At(0, 5), 100);
    DIBDrawWithMask(surface, image.get(), nullptr, -2, -44, 50, 50, 0, 0, false);
    EXPECT_EQ(At(0, 4), 2);  // the area's last line is the surface's, row 0 one above it
    EXPECT_EQ(At(1, 4), 3);
    EXPECT_EQ(At(2, 4), 100);
    EXPECT_EQ(At(0, 1), 32);
    EXPECT_EQ(At(0, 0), 100);
}

}  // namespace
}  // namespace kestrel
