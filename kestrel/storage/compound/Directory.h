#pragma once
#include <vector>

#include "kestrel/storage/compound/Chain.h"
#include "kestrel/storage/compound/DirectoryEntry.h"

namespace kestrel::compound {

/// Levels of a storage's tree of names; a sound one, of 2^32 names, has 64 at most.
inline constexpr std::size_t kMaximumDepth = 128;

/// The directory as a table of entries; `NameTree` knows how they hang together.
class Directory {
public:
    Directory(SectorStore& store, AllocationTable& table, const Header& header)
        : version_(header.version),
          perSector_(store.SectorSize() / static_cast<std::uint32_t>(kEntryBytes)),
          chain_(store, table, header.firstDirectory) {}

    /// Entries, used or not; follows the directory's chain to its end.
    Result<EntryId> Count();
    /// kDamaged when there is no such entry.
    Result<DirectoryEntry> Read(EntryId id);

    Error Write(EntryId id, const DirectoryEntry& entry);
    /// Tells which entries are unused, once before the first `Add`; the highest first.
    void SetUnused(std::vector<EntryId> unused) { unused_ = std::move(unused); }
    /// Finds room for a new entry. kTooLarge when the directory cannot grow.
    Result<EntryId> Add(const DirectoryEntry& entry);
    Error Erase(EntryId id);
    /// Gives back sectors at the end that hold unused entries only.
    Error Shrink();

    Chain& Sectors() { return chain_; }

private:
    Version version_;
    std::uint32_t perSector_;
    Chain chain_;
    std::vector<EntryId> unused_;
    bool shrunk_ = false;  // `unused_` may hold entries beyond the end
};

}  // namespace kestrel::compound
