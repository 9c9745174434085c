// The convolution of a row: its fast form against the rule told pixel by pixel, and the rule against hand arithmetic.
#include "kestrel/kernels/Convolve3x3.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "kestrel/kernels/ConvolutionKernels.h"

namespace kestrel::kernels {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Three rows with their masks.
struct Rows {
    explicit Rows(int pixels) : width(pixels) {
        for (auto& row : colour) row.resize((static_cast<std::size_t>(width) + 2) * 3);
        for (auto& row : mask) row.resize(static_cast<std::size_t>(width) + 2);
    }

    /// The colours that a form makes, then its masks; nothing may be written behind either.
    Bytes Run(decltype(&ConvolveRow3x3) form, const double weights[3][3], int bias) const {
        const auto pixels = static_cast<std::size_t>(width);
        const auto guards = [](const Bytes& row) { return std::count(row.end() - 64, row.end(), 0xA5); };
        Bytes out(pixels * 3 + 64, 0xA5);
        Bytes outMask(pixels + 64, 0xA5);
        form(weights, bias, {{{colour[0], mask[0]}, {colour[1], mask[1]}, {colour[2], mask[2]}}},
             {{out.data(), pixels * 3}, {outMask.data(), pixels}});
        EXPECT_EQ(guards(out), 64);
        EXPECT_EQ(guards(outMask), 64);
        out.resize(pixels * 3);
        out.insert(out.end(), outMask.begin(), outMask.end() - 64);
        return out;
    }

    int width;
    Bytes colour[3];
    Bytes mask[3];
};

struct Convolve3x3Test : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(Convolve3x3Test);

TEST_P(Convolve3x3Test, FastFormGivesThePlainBytes) {
    std::mt19937 random(3);
    const auto below = [&](unsigned n) { return static_cast<unsigned>(random()) % n; };
    std::vector<int> widths(70);  // every tail of a vector, and the neighbourhood of the lengths of blocks
    std::iota(widths.begin(), widths.end(), 0);
    for (const int width : {158, 159, 160, 161, 162, 319, 320, 321, 500}) widths.push_back(width);
    for (const int width : widths)
        for (unsigned round = 0; round < 12; ++round) {
            Rows rows(width);
            const unsigned colours = below(3);  // random, flat, black and white
            const auto flat = static_cast<std::uint8_t>(random());
            for (auto& row : rows.colour)
                for (auto& byte : row)
                    byte = colours == 0   ? static_cast<std::uint8_t>(random())
                           : colours == 1 ? flat
                                          : static_cast<std::uint8_t>(below(2) * 255);
            const unsigned holes = round % 4;  // none, few, many, long runs
            for (auto& row : rows.mask) {
                unsigned left = 0;
                bool inside = false;
                for (auto& byte : row) {
                    if (left-- == 0) {
                        left = below(90);
                        inside = !inside;
                    }
                    const bool hole = holes == 1 ? below(20) == 0 : holes == 2 ? below(2) == 0 : holes == 3 && inside;
                    byte = hole ? std::uint8_t{255} : static_cast<std::uint8_t>(below(255));
                }
            }
            double weights[3][3];
            MixWithIdentity(ConvolutionKernels[below(11)], below(256) * (below(2) ? 1.0 : 0.37), weights);
            if (below(3) == 0)
                for (auto& row : weights)
                    for (double& w : row) w = std::ldexp(static_cast<double>(random()), -33) - 0.2;
            const int bias = below(3) == 0 ? static_cast<int>(below(300)) - 150 : 0;
            ASSERT_EQ(rows.Run(ConvolveRow3x3, weights, bias), rows.Run(ConvolveRow3x3Plain, weights, bias))
                << "width " << width << " round " << round;
        }
}

TEST_P(Convolve3x3Test, RowsOnTopOfEachOtherAreThoseOneByOne) {
    std::mt19937 random(5);
    std::size_t kernel = 0;
    for (const std::size_t width : {0u, 1u, 2u, 3u, 4u, 12u, 13u, 41u, 90u, 200u})
        for (const std::size_t count : {1u, 2u, 3u, 40u, 75u})
            for (const unsigned holes : {0u, 1u, 4000u}) {  // none, in one row, in any
                std::vector<Bytes> colour(count + 2, Bytes((width + 2) * 3));
                std::vector<Bytes> mask(count + 2, Bytes(width + 2));
                std::vector<ConstMaskedRow> from, framed;  // the frame is what lies beyond the ends
                for (std::size_t y = 0; y < count + 2; ++y) {
                    for (auto& byte : colour[y]) byte = static_cast<std::uint8_t>(random());
                    for (auto& byte : mask[y])
                        byte = holes > 1 && random() % holes == 0 ? std::uint8_t{255}
                                                                  : static_cast<std::uint8_t>(random() % 255);
                    if (holes == 1 && y == count / 2) mask[y][width / 2] = 255;
                    mask[y].front() = mask[y].back() = 255;
                    framed.push_back({colour[y], mask[y]});
                    from.push_back({framed[y].pixels.subspan(3, width * 3), framed[y].mask.subspan(1, width)});
                }
                double weights[3][3];
                MixWithIdentity(ConvolutionKernels[kernel++ % 11], static_cast<double>(random() % 200), weights);
                const int bias = random() % 4 == 0 ? 100 : 0;
                const double wild[] = {8e6, -8e6, 1e8, std::nan("")};  // the first two end within 32 bits
                if (random() % 8 == 0) weights[1][1] = wild[random() % 4];
                Bytes out(count * width * 4 + 64, 0xA5);
                Bytes want = out;
                std::vector<MaskedRow> to;
                for (std::size_t y = 0; y < count; ++y) {
                    const auto row = [&](Bytes& all) -> MaskedRow {
                        return {{&all[y * width * 4], width * 3}, {&all[y * width * 4 + width * 3], width}};
                    };
                    to.push_back(row(out));
                    ConvolveRow3x3Plain(weights, bias, {framed[y], framed[y + 1], framed[y + 2]}, row(want));
                }
                ConvolveRows3x3(weights, bias, from, to);
                ASSERT_EQ(out, want) << width << " x " << count << ", holes " << holes;
            }
}

TEST(Convolve3x3, WildWeightsEndInABlackOrAWhiteByte) {
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    constexpr double kHuge = std::numeric_limits<double>::max();
    for (const double wild : {kInfinite, -kInfinite, std::nan(""), kHuge, -kHuge}) {
        Rows rows(40);
        for (auto& row : rows.colour) std::fill(row.begin(), row.end(), std::uint8_t{7});
        const double weights[3][3] = {{wild, -wild, 0}, {0, wild, 0}, {0, 0, 1}};
        for (const std::uint8_t byte : rows.Run(ConvolveRow3x3, weights, 0)) ASSERT_TRUE(byte == 0 || byte == 255);
    }
}

TEST_P(Convolve3x3Test, EachWeightMeetsItsOwnNeighbour) {
    constexpr double k = 1.0 / 128;
    const double weights[3][3] = {{11 * k, 12 * k, 13 * k}, {21 * k, 22 * k, 23 * k}, {31 * k, 32 * k, 33 * k}};
    for (int i = 0; i < 3; ++i)
        for (int channel = 0; channel < 3; ++channel) {
            Rows rows(9);
            rows.colour[i][static_cast<std::size_t>(5 * 3 + channel)] = 128;
            Bytes want(9 * 4);  // column 5 is the right neighbour of pixel 3 and the left one of pixel 5
            for (int j = 0; j < 3; ++j)
                want[static_cast<std::size_t>((5 - j) * 3 + channel)] =
                    static_cast<std::uint8_t>(10 * (i + 1) + (j + 1));
            EXPECT_EQ(rows.Run(ConvolveRow3x3, weights, 0), want) << "row " << i << " channel " << channel;
        }
}

TEST_P(Convolve3x3Test, OnlyMask255MovesItsWeightToTheCentre) {
    Rows rows(1);
    for (auto& row : rows.colour) row = {10, 20, 30, 40, 50, 60, 70, 80, 90};
    const double weights[3][3] = {{0.5, 0, 0}, {0.125, 0.25, 0}, {0, 0, 0.125}};
    // 0.5 * 10 + 0.125 * 10 + 0.25 * 40 + 0.125 * 70, and 10 more for each following byte
    EXPECT_EQ(rows.Run(ConvolveRow3x3, weights, 0), (Bytes{25, 35, 45, 0}));
    rows.mask[0][0] = 254;
    rows.mask[1][1] = 9;
    EXPECT_EQ(rows.Run(ConvolveRow3x3, weights, 0), (Bytes{25, 35, 45, 9}));
    rows.mask[0][0] = 255;  // 0.125 * 10 + 0.75 * 40 + 0.125 * 70
    EXPECT_EQ(rows.Run(ConvolveRow3x3, weights, 0), (Bytes{40, 50, 60, 9}));
    rows.mask[1][1] = 255;  // the centre's own weight goes and comes back
    EXPECT_EQ(rows.Run(ConvolveRow3x3, weights, 100), (Bytes{140, 150, 160, 255}));
}

TEST(ConvolutionKernels, KeepTheBrightnessThatTheirUseNeeds) {
    const auto sum = [](std::size_t kernel) {
        int total = 0;
        for (const auto& row : ConvolutionKernels[kernel].weights) total += std::accumulate(row, row + 3, 0);
        return total;
    };
    EXPECT_EQ(sum(kBlurKernel), ConvolutionKernels[kBlurKernel].divisor);
    EXPECT_EQ(sum(kSharpenKernel), ConvolutionKernels[kSharpenKernel].divisor);
    EXPECT_EQ(sum(kFindEdgesKernel), 0);
    EXPECT_EQ(sum(kEmbossKernel), 0);
    ASSERT_EQ(std::size(ConvolutionKernels), 11u);

    double mixed[3][3];
    MixWithIdentity(ConvolutionKernels[kBlurKernel], 0, mixed);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(mixed[i / 3][i % 3], i == 4 ? 1.0 : 0.0);
    MixWithIdentity(ConvolutionKernels[kSharpenKernel], 200, mixed);
    EXPECT_EQ(mixed[1][1], 9.0);  // 2 * 5 - 1
    EXPECT_EQ(mixed[0][1], -2.0);
}

}  // namespace
}  // namespace kestrel::kernels
