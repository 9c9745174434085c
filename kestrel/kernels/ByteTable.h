#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// What each tone 0..255 becomes.
using ByteTable = std::array<std::uint8_t, 256>;

/// The table that changes nothing.
inline constexpr ByteTable kIdentityTable = [] {
    ByteTable table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<std::uint8_t>(i);
    return table;
}();

/// `second` after `first`, as one table.
constexpr ByteTable Composed(const ByteTable& first, const ByteTable& second) {
    ByteTable table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = second[first[i]];
    return table;
}

/// One table for each channel.
struct ChannelTables {
    ByteTable blue = kIdentityTable;
    ByteTable green = kIdentityTable;
    ByteTable red = kIdentityTable;
};

/// Every byte through one table.
void TableRow(const RowPair& row, const ByteTable& table);

/// Sends each channel of a row of blue, green, red through its own table.
void ChannelTablesRow(const RowPair& row, const ChannelTables& tables);

}  // namespace kestrel::kernels
