#include "kestrel/kernels/Transpose.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <random>
#include <vector>

namespace kestrel::kernels {
namespace {

struct TransposeTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(TransposeTest);

using Bytes = std::vector<std::uint8_t>;
using Transposition = void (*)(std::span<const std::uint8_t* const>, std::span<std::uint8_t* const>);

/// Rows end where their blocks of memory end, and a byte stands after each row of the result.
void ExpectTransposed(Transposition transpose, std::size_t pixelSize, std::size_t columns, std::size_t rows) {
    std::mt19937 random(5);
    std::vector<Bytes> source(columns, Bytes(rows * pixelSize)), target(rows, Bytes(columns * pixelSize + 1, 77));
    for (Bytes& row : source)
        for (auto& byte : row) byte = static_cast<std::uint8_t>(random());
    std::vector<const std::uint8_t*> from;
    for (const Bytes& row : source) from.push_back(row.data());
    std::vector<std::uint8_t*> to;
    for (Bytes& row : target) to.push_back(row.data());
    transpose(from, to);
    for (std::size_t i = 0; i < rows; ++i) {
        for (std::size_t at = 0; at < columns * pixelSize; ++at)
            ASSERT_EQ(target[i][at], source[at / pixelSize][i * pixelSize + at % pixelSize])
                << columns << " x " << rows << ", row " << i << " at " << at;
        ASSERT_EQ(target[i].back(), 77);
    }
}

TEST_P(TransposeTest, PutsRowsIntoColumns) {
    for (std::size_t columns = 0; columns <= kTransposedBlock; ++columns)
        for (std::size_t rows = 0; rows <= kTransposedBlock; ++rows) {
            ExpectTransposed(TransposePixels, 3, columns, rows);
            ExpectTransposed(TransposeBytes, 1, columns, rows);
        }
}

}  // namespace
}  // namespace kestrel::kernels
