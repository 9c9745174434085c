#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kestrel/foundation/Guid.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/Format.h"

namespace kestrel::compound {

/// One of the directory's records of 128 bytes.
struct DirectoryEntry {
    enum class Kind : std::uint8_t { kUnused = 0, kStorage = 1, kStream = 2, kRoot = 5 };

    char16_t name[kNameUnits] = {};
    std::uint8_t nameUnits = 0;
    Kind kind = Kind::kUnused;
    bool black = false;
    EntryId left = kNoEntry;
    EntryId right = kNoEntry;
    EntryId child = kNoEntry;  ///< root of the tree of a storage's elements
    GUID classId;
    std::uint32_t userFlags = 0;
    std::uint64_t created = 0;
    std::uint64_t modified = 0;
    Sector start = 0;        ///< of a stream: sector or mini sector; of the root: the mini stream
    std::uint64_t size = 0;  ///< in bytes, likewise

    std::u16string_view Name() const { return {name, nameUnits}; }
    /// The name must have passed `CheckName`.
    void SetName(std::u16string_view to);
    bool IsStorage() const { return kind == Kind::kStorage || kind == Kind::kRoot; }
    bool IsStream() const { return kind == Kind::kStream; }
    bool InMiniStream() const { return kind == Kind::kStream && size < kMiniCutoff; }
    ElementInfo Info() const;

    /// Any bytes make an entry: an unknown kind is unused, a name ends at its first NUL. In version 3 only the lower
    /// half of the size counts.
    static DirectoryEntry Read(std::span<const std::uint8_t, kEntryBytes> from, Version version);
    void Write(std::span<std::uint8_t, kEntryBytes> to) const;
};

}  // namespace kestrel::compound
