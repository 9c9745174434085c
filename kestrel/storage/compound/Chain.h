#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/storage/compound/AllocationTable.h"
#include "kestrel/storage/compound/SectorStore.h"

namespace kestrel::compound {

/// The sectors of one stream in order, and its bytes. Links are followed only as far as they are needed.
///
/// Nothing that the last commit uses is overwritten: a changed sector moves to a free one, and the chain with it.
/// Whoever owns the chain looks at `Start` after each change.
class Chain {
public:
    Chain(SectorStore& store, AllocationTable& table, Sector start = kEndOfChain)
        : store_(&store), table_(&table), next_(start) {}

    Sector Start() const { return sectors_.empty() ? next_ : sectors_.front(); }

    /// Number of sectors; follows the chain to its end. kDamaged when it leaves the store or never ends.
    Result<std::size_t> Length();
    /// The sector at an index; `kEndOfChain` beyond the end.
    Result<Sector> At(std::size_t index);
    /// The sectors that are known; all of them after `Length`.
    std::span<const Sector> Sectors() const { return sectors_; }

    /// Reads bytes. kDamaged when the chain ends before they do.
    Error Read(std::uint64_t position, std::span<std::uint8_t> to);
    /// Writes bytes over sectors that the chain has. After an error the chain is as it was.
    Error Write(std::uint64_t position, std::span<const std::uint8_t> from);
    /// Writes zeros likewise.
    Error Clear(std::uint64_t position, std::uint64_t count);

    /// The cached bytes of one sector to read.
    Result<const std::uint8_t*> Page(std::size_t index);
    /// The cached bytes of one sector to change; the sector moves if it has to.
    Result<std::uint8_t*> Change(std::size_t index);

    /// Makes the chain that long: sectors are given back, or new ones added whose bytes are whatever they are.
    Error SetLength(std::size_t length);
    /// Adds one sector of zeros.
    Error AddPage();

private:
    Error Follow(std::size_t index);
    void Relink(std::size_t index, Sector to);
    Error Append();
    Error WriteWhole(std::size_t index, std::span<const std::uint8_t> from);
    template <class Part>
    Error ForParts(std::uint64_t position, std::uint64_t count, const Part& part);

    SectorStore* store_;
    AllocationTable* table_;
    std::vector<Sector> sectors_;
    Sector next_;  // after the known ones
};

}  // namespace kestrel::compound
