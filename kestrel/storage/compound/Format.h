#pragma once
#include <concepts>
#include <cstddef>
#include <cstdint>

namespace kestrel::compound {

// Numbers of the published format. All integers in a file are little endian.

/// A sector's number; sector n begins at (n + 1) times the sector size, after the header.
using Sector = std::uint32_t;
/// A directory entry's number.
using EntryId = std::uint32_t;

// What an allocation table says of a sector in place of the next one's number.
constexpr Sector kMaxSector = 0xFFFFFFFA;  ///< numbers below are sectors
constexpr Sector kDifatSector = 0xFFFFFFFC;
constexpr Sector kFatSector = 0xFFFFFFFD;
constexpr Sector kEndOfChain = 0xFFFFFFFE;
constexpr Sector kFreeSector = 0xFFFFFFFF;

constexpr EntryId kRootEntry = 0;
constexpr EntryId kNoEntry = 0xFFFFFFFF;

constexpr std::size_t kHeaderBytes = 512;  ///< in both versions; version 4 fills its first sector up with zeros
constexpr std::size_t kHeaderDifat = 109;  ///< FAT sectors that the header itself lists
constexpr std::size_t kEntryBytes = 128;
constexpr unsigned kMiniShift = 6;
constexpr std::uint32_t kMiniSize = 1U << kMiniShift;
constexpr std::uint64_t kMiniCutoff = 4096;  ///< streams below this size lie in the mini stream
constexpr std::size_t kNameUnits = 31;       ///< UTF-16 units of a name, without the closing NUL

/// Version 4: the sector over the bytes below 2 GB that others lock while they share a file. Never holds data.
constexpr Sector kRangeLockSector = (0x7FFFFF00U >> 12) - 1;

template <std::unsigned_integral T>
T Load(const std::uint8_t* from) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) value = static_cast<T>(value | T{from[i]} << (8 * i));
    return value;
}

template <std::unsigned_integral T>
void Store(std::uint8_t* to, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) to[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace kestrel::compound
