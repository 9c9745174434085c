// Rounds of a mask rule skip what cannot change: the masks are those of rounds that skip nothing.
#include "kestrel/passes/MaskIteration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kestrel/foundation/HelperThreads.h"

namespace kestrel::passes {
namespace {

struct Mask {
    int width, height;
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(static_cast<std::size_t>(width * height), 255);
    std::vector<std::uint8_t*> rows{};

    std::uint8_t* Row(std::int64_t y) { return bytes.data() + y * width; }
    Planes AsPlanes() {
        rows.clear();
        for (int y = 0; y < height; ++y) rows.push_back(Row(y));
        return {nullptr, rows.data(), width, height};
    }
};

/// Boxes of one value, slopes and noise, over large areas of nothing.
Mask Shapes(int width, int height, unsigned seed) {
    Mask mask{width, height};
    std::mt19937 random(seed);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int shape = 0; shape < 5; ++shape) {
        const int left = below(width), bottom = below(height), kind = below(3), value = below(256);
        const int right = std::min(width, left + 1 + below(200)), top = std::min(height, bottom + 1 + below(20));
        for (int y = bottom; y < top; ++y)
            for (int x = left; x < right; ++x)
                mask.Row(y)[x] = static_cast<std::uint8_t>(kind == 0 ? value : kind == 1 ? x - left : below(256));
    }
    return mask;
}

/// One round over all of the area from a copy. Did it change a byte?
bool Round(Mask& mask, const MaskIteration::RowRule& rule, MaskArea area) {
    Mask old = mask;
    const std::int64_t left = std::max<std::int64_t>(area.left, 1);
    const std::int64_t right = std::min<std::int64_t>(area.right, mask.width - 1);
    for (std::int64_t y = std::max<std::int64_t>(area.bottom, 1); y < std::min<std::int64_t>(area.top, mask.height - 1);
         ++y) {
        if (left >= right) break;
        const auto count = static_cast<std::size_t>(right - left);
        const auto around = [&](std::int64_t row) { return kernels::ConstRow(old.Row(row) + left - 1, count + 2); };
        rule({around(y - 1), around(y), around(y + 1)}, {mask.Row(y) + left, count});
    }
    return mask.bytes != old.bytes;
}

TEST(MaskIteration, SkipsOnlyWhatCannotChange) {
    const MaskIteration::RowRule rules[] = {
        kernels::BinomialMaskRow, kernels::SmoothMaskRow, kernels::MinimumMaskRow,
        [](const kernels::MaskNeighbours& rows, kernels::Row out) { kernels::SmoothMaskRowInPart(3, rows, out); }};
    const struct { int width, height; } sizes[] = {{700, 90}, {129, 70}, {128, 33}, {9000, 8}, {2, 5}, {5, 2}, {1, 1}};
    const AbortFlag abort;
    for (const int threads : {1, 2})
        for (const auto [width, height] : sizes)
            for (unsigned seed = 0; seed < 8; ++seed) {
                SCOPED_TRACE(testing::Message() << width << " x " << height << " seed " << seed << " of " << threads);
                const MaskIteration::RowRule& rule = rules[seed % 4];
                Mask got = Shapes(width, height, seed);
                Mask want = got;
                const HelperThreads helpers(threads);
                MaskIteration iteration(got.AsPlanes(), rule);
                MaskArea area{width / 3, height / 3, width * 2 / 3, height * 2 / 3};
                if (seed < 4) area = {0, 0, width, height};
                for (int round = 0; round < 25; ++round) {
                    const bool changed = Round(want, rule, area);
                    ASSERT_TRUE(iteration.Step(area, abort));
                    ASSERT_EQ(got.bytes, want.bytes) << "round " << round;
                    ASSERT_EQ(iteration.Changed(), changed) << "round " << round;
                    area = {area.left - 1, area.bottom - 1, area.right + 1, area.top + 1};
                }
            }
}

}  // namespace
}  // namespace kestrel::passes
