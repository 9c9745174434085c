// Every compiled instruction set gives the bytes of the rules, which stand here as sums over a window: all tails, and
// nothing beyond the row.
#include "kestrel/kernels/MaskRows.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <climits>
#include <functional>
#include <random>
#include <vector>

#include "kestrel/kernels/FadeRow.h"
#include "tests/kernels/RandomBytes.h"

namespace kestrel::kernels {
namespace {

struct MaskRowsTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(MaskRowsTest);

using Bytes = std::vector<std::uint8_t>;

/// Random bytes, of which every fourth or so is at an end of its range.
using Window = std::array<std::array<int, 3>, 3>;
int Weighted(const Window& window, const Window& weights) {
    int sum = 0;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column) sum += window[row][column] * weights[row][column];
    return sum;
}

struct Form {
    const char* name;
    std::function<void(const MaskNeighbours&, kernels::Row)> row;
    std::function<int(const Window&)> rule;
};

Form Part(int fifths) {
    const int n = 4 * fifths, c = 185 - 8 * n;
    return {"part of a round",
            [fifths](const MaskNeighbours& rows, kernels::Row out) { SmoothMaskRowInPart(fifths, rows, out); },
            [=](const Window& w) {
                const int sum = Weighted(w, {{{n, n, n}, {n, c, n}, {n, n, n}}});
                return fifths == 2 ? sum * 1417 / 262144 : sum / 185;
            }};
}

Form Emboss(int weight) {
    const EmbossWeights weights{{{weight, 7, -weight}, {3, 99, -5}, {weight, -weight, 11}}};
    return {"emboss", [weights](const MaskNeighbours& rows, kernels::Row out) { EmbossMaskRow(weights, rows, out); },
            [weights](const Window& w) {
                double sum = 0;  // exact: far fewer than 53 bits
                for (std::size_t row = 0; row < 3; ++row)
                    for (std::size_t column = 0; column < 3; ++column)
                        if (row != 1 || column != 1) sum += double{1} * weights[row][column] * w[row][column];
                return static_cast<int>(std::clamp(std::trunc(sum / 4096) + 128, 0.0, 255.0));
            }};
}

TEST_P(MaskRowsTest, EveryFormIsItsRule) {
    const Form forms[] = {{"binomial", BinomialMaskRow,
                           [](const Window& w) {
                               return Weighted(w, {{{1, 2, 1}, {2, 4, 2}, {1, 2, 1}}}) / 16;
                           }},
                          {"smooth", SmoothMaskRow,
                           [](const Window& w) {
                               return Weighted(w, {{{4, 4, 4}, {4, 5, 4}, {4, 4, 4}}}) * 7085 / 262144;
                           }},
                          {"minimum", MinimumMaskRow,
                           [](const Window& w) {
                               int minimum = 255;
                               for (const auto& row : w) minimum = std::min(minimum, *std::ranges::min_element(row));
                               return minimum;
                           }},
                          Part(1),
                          Part(2),
                          Part(3),
                          Part(4),
                          Emboss(0),
                          Emboss(1500),
                          Emboss((1 << 19) - 1),
                          Emboss(1 << 19),
                          Emboss(INT_MAX)};
    for (const Form& form : forms)
        for (std::size_t size = 0; size <= 140; ++size) {
            const Bytes source[3] = {RandomBytes(size + 2, 1), RandomBytes(size + 2, 2), RandomBytes(size + 2, 3)};
            Bytes want(size + 2, 77), got = want;
            for (std::size_t x = 0; x < size; ++x) {
                Window window;
                for (std::size_t row = 0; row < 3; ++row)
                    for (std::size_t column = 0; column < 3; ++column) window[row][column] = source[row][x + column];
                want[x + 1] = static_cast<std::uint8_t>(form.rule(window));
            }
            form.row({source[0], source[1], source[2]}, std::span(got).subspan(1, size));
            ASSERT_EQ(got, want) << form.name << " size " << size;
        }
}

TEST_P(MaskRowsTest, WhatIsFlatStaysFlat) {
    for (const int byte : {0, 1, 128, 254, 255}) {
        const Bytes flat(102, static_cast<std::uint8_t>(byte));
        Bytes out(100);
        BinomialMaskRow({flat, flat, flat}, out);
        EXPECT_EQ(out, Bytes(100, flat[0]));
        SmoothMaskRow({flat, flat, flat}, out);
        EXPECT_EQ(out, Bytes(100, static_cast<std::uint8_t>(byte * 37 * 7085 / 262144)));
        SmoothMaskRowInPart(1, {flat, flat, flat}, out);
        EXPECT_EQ(out, Bytes(100, flat[0]));
    }
}

TEST_P(MaskRowsTest, ReliefShiftsPixelsAndHoldsThem) {
    for (const bool sunken : {false, true})
        for (std::size_t size : {0u, 1u, 5u, 63u, 64u, 65u, 200u}) {
            const Bytes relief = RandomBytes(size, 5);
            Bytes got = RandomBytes(3 * size + 4, 6), want = got;
            for (std::size_t i = 0; i < 3 * size; ++i) {
                const int light = relief[i / 3] - 128;
                want[i] = static_cast<std::uint8_t>(std::clamp(want[i] + (sunken ? -light : light), 0, 255));
            }
            ApplyReliefRow(std::span(got).first(3 * size), relief, sunken);
            ASSERT_EQ(got, want) << size;
        }
}

TEST_P(MaskRowsTest, OutsideIsWhereThePictureIsAndTheShadowIsNot) {
    Bytes shadow, picture, want;
    for (int s = 0; s < 256; ++s)
        for (int p = 0; p < 256; ++p) {
            shadow.push_back(static_cast<std::uint8_t>(s));
            picture.push_back(static_cast<std::uint8_t>(p));
            want.push_back(static_cast<std::uint8_t>(255 - (255 - p) * s / 255));
        }
    Bytes odd(shadow.begin() + 1, shadow.end() - 2);
    OutsideMaskRow(odd, std::span(picture).subspan(1, odd.size()));
    EXPECT_TRUE(std::equal(odd.begin(), odd.end(), want.begin() + 1));
    OutsideMaskRow(shadow, picture);
    EXPECT_EQ(shadow, want);
}

TEST_P(MaskRowsTest, FadesAreThousandthsOfEveryByte) {
    for (const std::int64_t width : {1, 3, 255, 1000, 4001})
        for (std::int64_t distance = 0; distance < width; distance += width / 97 + 1) {
            Bytes got(259), want;
            for (std::size_t i = 0; i < got.size(); ++i) got[i] = static_cast<std::uint8_t>(i);
            const std::int64_t keep = (distance + 1) * 1000 / width, gone = (width - distance - 1) * 1000 / width;
            for (const int m : got) want.push_back(static_cast<std::uint8_t>((gone * 255 + keep * m) / 1000));
            Bytes columns = got;
            FadeRow(got, FadeAt(distance, width));
            ASSERT_EQ(got, want) << distance << " of " << width;
            FadeColumns(columns, std::vector<FadeStep>(columns.size(), FadeAt(distance, width)));
            ASSERT_EQ(columns, want) << distance << " of " << width;
        }
}

TEST_P(MaskRowsTest, EachColumnFadesByItsOwnStep) {
    std::vector<FadeStep> steps;
    for (int x = 0; x < 75; ++x) steps.push_back(FadeAt(x, 75));
    Bytes got = RandomBytes(75, 9), want = got;
    for (std::size_t x = 0; x < 75; ++x) want[x] = steps[x](want[x]);
    FadeColumns(got, steps);
    EXPECT_EQ(got, want);
}

}  // namespace
}  // namespace kestrel::kernels
