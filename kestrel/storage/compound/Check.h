#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/storage/compound/ByteStore.h"

namespace kestrel::compound {

/// How grave a finding is.
enum class Severity : std::uint8_t {
    kUntidy,   ///< no data is at risk: lost sectors, wrong colors, stale counts
    kDamaged,  ///< data is lost, doubled or cannot be reached
};

/// One fault of a compound file.
struct Finding {
    Severity severity;
    std::string
        text;  ///< one English line, names in UTF-8, such as "stream Pictures/7: its chain ends 3 sectors early"
};

/// What `Check` found out. Beyond 1,000 findings they are only counted.
struct CheckReport {
    std::vector<Finding> findings;
    std::uint64_t more = 0;  ///< findings that are not listed
    std::uint64_t storages = 0;
    std::uint64_t streams = 0;
    std::uint64_t sectors = 0;      ///< in the store, without the header
    std::uint64_t freeSectors = 0;  ///< marked free
    std::uint64_t lostSectors = 0;  ///< marked used, but part of nothing

    bool Clean() const { return findings.empty(); }
};

/// Verifies header, tables, every chain and every tree of a compound file. The time is linear in the store's size,
/// whatever the tables claim. An error only when the store cannot be read or holds no compound file at all.
KESTREL_API Result<CheckReport> Check(ByteStore& store);

/// What `Repair` saved.
struct RepairReport {
    std::vector<Finding> findings;  ///< what was lost or saved in part; empty when all was saved
    std::uint64_t streams = 0;      ///< saved whole
    std::uint64_t partial = 0;      ///< saved in part
};

/// Copies all that can be reached, and what the directory has lost (under "Lost and found"), into a new compound file
/// in an empty store, of the source's version. The source is only read.
KESTREL_API Result<RepairReport> Repair(ByteStore& damaged, std::unique_ptr<ByteStore> empty);

}  // namespace kestrel::compound
