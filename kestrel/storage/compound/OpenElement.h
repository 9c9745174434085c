#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/storage/compound/Chain.h"
#include "kestrel/storage/compound/DirectoryEntry.h"

namespace kestrel::compound {

/// Bytes that a copy holds at a time.
inline constexpr std::size_t kCopyBlock = 1U << 20;

class File;

/// An element that a handle is open on; of a stream, also where its bytes lie.
class OpenElement {
public:
    OpenElement(File& file, EntryId id, const DirectoryEntry& entry);

    EntryId Id() const { return id_; }
    bool Reverted() const { return reverted_; }
    void Revert() { reverted_ = true; }

    Result<std::size_t> Read(std::uint64_t position, std::span<std::uint8_t> to);
    /// See `Stream::Write`.
    Error Write(std::uint64_t position, std::span<const std::uint8_t> from);
    Error SetSize(std::uint64_t size);

private:
    Error LoadPieces(const DirectoryEntry& entry, bool all);
    Error Resize(DirectoryEntry& entry, std::uint64_t size, std::uint64_t clearEnd);
    Error ToSectors(DirectoryEntry& entry, std::uint64_t size, std::uint64_t clearEnd);
    Error ToPieces(DirectoryEntry& entry, std::uint64_t size);
    Error Finish(DirectoryEntry& entry, Error error);

    File& file_;
    EntryId id_;
    bool reverted_ = false;
    Chain chain_;                 // from the mini cutoff on
    std::vector<Sector> pieces_;  // below it
    bool piecesLoaded_ = false;
    bool allPieces_ = false;  // to the end of the chain, not only as far as the size goes
};

}  // namespace kestrel::compound
