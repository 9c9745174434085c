#include "kestrel/storage/compound/Directory.h"

namespace kestrel::compound {

Result<EntryId> Directory::Count() {
    const auto sectors = chain_.Length();
    if (!sectors) return sectors.Failure();
    return static_cast<EntryId>(*sectors * perSector_);
}

Result<DirectoryEntry> Directory::Read(EntryId id) {
    const auto page = chain_.Page(id / perSector_);
    if (!page) return page.Failure();
    return DirectoryEntry::Read(
        std::span<const std::uint8_t, kEntryBytes>(*page + id % perSector_ * kEntryBytes, kEntryBytes), version_);
}

Error Directory::Write(EntryId id, const DirectoryEntry& entry) {
    const auto page = chain_.Change(id / perSector_);
    if (!page) return page.Failure();
    entry.Write(std::span<std::uint8_t, kEntryBytes>(*page + id % perSector_ * kEntryBytes, kEntryBytes));
    return Error::kNone;
}

Error Directory::Shrink() {
    for (;;) {
        const auto count = Count();
        if (!count) return count.Failure();
        if (*count <= perSector_) return Error::kNone;
        for (EntryId id = *count - perSector_; id < *count; ++id) {
            const auto entry = Read(id);
            if (!entry) return entry.Failure();
            if (entry->kind != DirectoryEntry::Kind::kUnused) return Error::kNone;
        }
        if (const Error error = chain_.SetLength(*count / perSector_ - 1); error != Error::kNone) return error;
        shrunk_ = true;
    }
}

Result<EntryId> Directory::Add(const DirectoryEntry& entry) {
    if (shrunk_) {
        const auto count = Count();
        if (!count) return count;
        std::erase_if(unused_, [&](EntryId id) { return id >= *count; });
        shrunk_ = false;
    }
    if (unused_.empty()) {
        const auto count = Count();
        if (!count) return count;
        if (*count > kMaxSector - perSector_) return Error::kTooLarge;
        if (const Error error = chain_.AddPage(); error != Error::kNone) return error;
        for (EntryId id = *count + perSector_; id-- > *count;) {
            if (const Error error = Write(id, DirectoryEntry{}); error != Error::kNone) return error;
            unused_.push_back(id);
        }
    }
    const EntryId id = unused_.back();
    if (const Error error = Write(id, entry); error != Error::kNone) return error;
    unused_.pop_back();
    return id;
}

Error Directory::Erase(EntryId id) {
    const Error error = Write(id, DirectoryEntry{});
    if (error == Error::kNone) unused_.push_back(id);
    return error;
}

}  // namespace kestrel::compound
