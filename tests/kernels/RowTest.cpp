// Kernels that make a row of another one give the bytes that they give in place, wherever both lie, through the caches
// and past them.
#include "kestrel/kernels/Row.h"

#define HWY_WANT_AVX3_DL  // which some rows are compiled for too
#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <random>
#include <vector>

#include "kestrel/kernels/ColourRows.h"
#include "tests/kernels/RandomBytes.h"

namespace kestrel::kernels {
namespace {

struct RowTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(RowTest);

using Bytes = std::vector<std::uint8_t>;

TEST_P(RowTest, RowsAreMadeOfOthersAsInPlace) {
    std::mt19937 random(19);
    ByteTable table;
    for (auto& entry : table) entry = static_cast<std::uint8_t>(random());
    const struct {
        const char* name;
        void (*row)(const RowPair&, const ByteTable&);
    } forms[] = {
        {"copy", [](const RowPair& row, const ByteTable&) { CopyRow(row); }},
        {"clear", [](const RowPair& row, const ByteTable&) { ClearRow(row.to, row.streams); }},
        {"table", [](const RowPair& row, const ByteTable& t) { TableRow(row, t); }},
        {"no table", [](const RowPair& row, const ByteTable&) { TableRow(row, kIdentityTable); }},
        {"tables",
         [](const RowPair& row, const ByteTable& t) {
             ChannelTablesRow(row, {t, kIdentityTable, t});
         }},
        {"negative", [](const RowPair& row, const ByteTable&) { InvertRow(row, 100); }},
        {"half negative", [](const RowPair& row, const ByteTable&) { InvertRow(row, 60); }},
        {"beyond negative", [](const RowPair& row, const ByteTable&) { InvertRow(row, 160); }},
        {"grey", [](const RowPair& row, const ByteTable&) { BlackWhiteRow(row, 100); }},
        {"half grey", [](const RowPair& row, const ByteTable&) { BlackWhiteRow(row, 40); }},
        {"beyond grey", [](const RowPair& row, const ByteTable&) { BlackWhiteRow(row, -40); }},
        {"sepia", [](const RowPair& row, const ByteTable&) { SepiaRow(row, 30); }},
        {"shift",
         [](const RowPair& row, const ByteTable&) {
             ShiftRow(row, {40, -50, 300});
         }},
    };
    for (const auto& form : forms)
        for (std::size_t at = 0; at < 64; ++at)
            for (const bool streams : {false, true}) {
                const std::size_t size = 3 * (random() % (at % 2 ? 400 : 40)), from = random() % 64;
                SCOPED_TRACE(std::string(form.name) + " of " + std::to_string(size) + " bytes at " +
                             std::to_string(at) + (streams ? " past the caches" : ""));
                const Bytes source = RandomBytes(from + size, random);
                Bytes target = RandomBytes(at + size + 64, random), expected = target;
                std::copy(source.begin() + static_cast<std::ptrdiff_t>(from), source.end(),
                          expected.begin() + static_cast<std::ptrdiff_t>(at));
                form.row(Row(expected).subspan(at, size), table);
                form.row({ConstRow(source).subspan(from), Row(target).subspan(at, size), streams}, table);
                FinishStream();
                ASSERT_EQ(target, expected);
            }
}

}  // namespace
}  // namespace kestrel::kernels
