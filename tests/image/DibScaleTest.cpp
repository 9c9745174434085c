#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "kestrel/image/Dib.h"

namespace kestrel {
namespace {

DibPtr Noise(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    DibPtr dib(DibCreate(24, width, height));
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 3 * width; ++i) DibRow(dib.get(), y)[i] = static_cast<std::uint8_t>(random());
    return dib;
}

/// The box resampling in closed form: both axes are laid over one line of source times target units, a pair of cells
/// weighs its common length, in 4096ths of the larger cell, truncated.
std::int64_t Weight(int source, int target, int i, int j, bool reduce) {
    const std::int64_t common = std::min<std::int64_t>(std::int64_t{i + 1} * target, std::int64_t{j + 1} * source) -
                                std::max<std::int64_t>(std::int64_t{i} * target, std::int64_t{j} * source);
    return common > 0 ? common * 4096 / (reduce ? source : target == 0 ? 1 : source) : 0;
}

std::uint8_t Boxed(const Dib* dib, int width, int height, int x, int y, int channel) {
    const bool reduce = width <= dib->biWidth;
    std::int64_t sum = 0;
    for (int j = 0; j < dib->biHeight; ++j)
        for (int i = 0; i < dib->biWidth; ++i)
            sum += Weight(dib->biWidth, width, i, x, reduce) * Weight(dib->biHeight, height, j, y, reduce) *
                   DibRow(dib, j)[3 * i + channel];
    return static_cast<std::uint8_t>(sum >> 24);
}

TEST(DibScale, IsTheBoxOfBothAxes) {
    const int sizes[][4] = {{1, 1, 1, 1},     {7, 5, 7, 5},     {7, 5, 7, 2},   {7, 5, 3, 2},
                            {7, 5, 1, 1},     {13, 11, 12, 10}, {3, 2, 7, 5},   {1, 1, 9, 4},
                            {12, 10, 13, 11}, {5, 4, 10, 8},    {10, 8, 5, 4},  {16, 3, 4, 3},
                            {4, 3, 16, 3},    {17, 6, 16, 1},   {2, 9, 31, 10}, {33, 2, 32, 2}};
    for (const auto& [w, h, newW, newH] : sizes) {
        const DibPtr dib = Noise(w, h, static_cast<unsigned>(w * 31 + newW));
        const DibPtr scaled(DibScale(dib.get(), newW, newH));
        ASSERT_NE(scaled, nullptr);
        for (int y = 0; y < newH; ++y)
            for (int x = 0; x < newW; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(DibRow(scaled.get(), y)[3 * x + c], Boxed(dib.get(), newW, newH, x, y, c))
                        << w << "x" << h << " to " << newW << "x" << newH << " at " << x << "," << y;
    }
}

TEST(DibScale, SameSizeIsTheSamePicture) {
    const DibPtr dib = Noise(19, 7, 3);
    const DibPtr scaled(DibScale(dib.get(), 19, 7));
    EXPECT_EQ(0, std::memcmp(scaled.get(), dib.get(), 40));
    for (int y = 0; y < 7; ++y) EXPECT_EQ(0, std::memcmp(DibRow(scaled.get(), y), DibRow(dib.get(), y), 57));
}

TEST(DibScale, WholeFactorsByHand) {
    const DibPtr dib(DibCreate(24, 2, 1));
    const std::uint8_t pixels[] = {10, 255, 0, 21, 255, 1};
    std::memcpy(DibRow(dib.get(), 0), pixels, 6);
    const DibPtr half(DibScale(dib.get(), 1, 1));
    EXPECT_EQ(DibRow(half.get(), 0)[0], 15);  // 15.5 is not rounded
    EXPECT_EQ(DibRow(half.get(), 0)[1], 255);
    EXPECT_EQ(DibRow(half.get(), 0)[2], 0);
    const DibPtr twice(DibScale(dib.get(), 4, 2));
    const std::uint8_t want[] = {10, 255, 0, 10, 255, 0, 21, 255, 1, 21, 255, 1};
    for (int y = 0; y < 2; ++y) EXPECT_EQ(0, std::memcmp(DibRow(twice.get(), y), want, 12));
}

TEST(DibScale, AnEqualWidthTakesTheReducingPath) {
    const DibPtr dib(DibCreate(24, 2, 2));
    std::memset(DibRow(dib.get(), 0), 10, 6);
    std::memset(DibRow(dib.get(), 1), 21, 6);
    const DibPtr half(DibScale(dib.get(), 2, 1));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(DibRow(half.get(), 0)[i], 15) << i;
}

TEST(DibScale, WhiteMayLoseOneUnit) {
    const DibPtr dib(DibCreate(24, 3, 3));
    for (int y = 0; y < 3; ++y) std::memset(DibRow(dib.get(), y), 255, 9);
    const DibPtr scaled(DibScale(dib.get(), 2, 2));
    EXPECT_EQ(DibRow(scaled.get(), 0)[0], 254);  // weights 2730 and 1365 of 4096
}

TEST(DibScale, OnlyTheLowHalfOfASizeCounts) {
    const DibPtr dib = Noise(4, 4, 1);
    const DibPtr scaled(DibScale(dib.get(), 0x10002, -65533));
    EXPECT_EQ(scaled->biWidth, 2);
    EXPECT_EQ(scaled->biHeight, 3);
}

TEST(DibScale, OddCasesStayInTheirBlocks) {
    const DibPtr dib = Noise(5, 6, 2);
    // One axis against the path of the other, nothing to scale, nothing to scale to.
    for (const auto& [w, h] : {std::pair{3, 40}, {40, 3}, {5, 60}, {6, 1}, {0, 0}, {0, 5}, {5, 0}, {9, 0}}) {
        const DibPtr scaled(DibScale(dib.get(), w, h));
        ASSERT_NE(scaled, nullptr);
        EXPECT_EQ(scaled->biWidth, w);
        EXPECT_EQ(scaled->biHeight, h);
    }
    const DibPtr nothing(DibCreate(24, 0, 0));
    EXPECT_EQ(DibPtr(DibScale(nothing.get(), 3, 3))->biWidth, 3);
    EXPECT_EQ(DibScale(nullptr, 1, 1), nullptr);
    EXPECT_EQ(DibScale(DibPtr(DibCreate(8, 4, 4)).get(), 1, 1), nullptr);
}

}  // namespace
}  // namespace kestrel
