#include "kestrel/storage/compound/ElementCopy.h"

#include <cstdint>
#include <vector>

#include "kestrel/storage/compound/File.h"
#include "kestrel/storage/compound/OpenElement.h"

namespace kestrel::compound {
namespace {

class Copy {
public:
    Copy(File& source, File& target) : source_(source), target_(target) {}

    Error Run(EntryId from, EntryId to) {
        storages_.push_back({from, to});
        while (!storages_.empty()) {
            const auto [inner, into] = storages_.back();
            storages_.pop_back();
            const auto elements = source_.Elements(inner);
            if (!elements) return elements.Failure();
            for (const EntryId id : *elements)
                if (const Error error = Element(id, into); error != Error::kNone) return error;
        }
        return Error::kNone;
    }

private:
    struct Pair {
        EntryId from;
        EntryId to;
    };

    Error Element(EntryId id, EntryId into) {
        const auto entry = source_.Entry(id);
        if (!entry) return entry.Failure();
        const auto made = Make(*entry, into);
        if (!made) return made.Failure();
        auto copy = target_.Entry(*made);
        if (!copy) return copy.Failure();
        copy->classId = entry->classId;
        copy->userFlags = entry->userFlags;
        copy->created = entry->created;
        copy->modified = entry->modified;
        if (const Error error = target_.SetEntry(*made, *copy); error != Error::kNone) return error;
        if (entry->IsStream()) return Bytes(id, *entry, *made);
        storages_.push_back({id, *made});
        return Error::kNone;
    }

    Result<EntryId> Make(const DirectoryEntry& entry, EntryId into) {
        const auto same = target_.Find(into, entry.Name());
        if (!same && same.Failure() != Error::kNotFound) return same;
        if (same) {
            const auto there = target_.Entry(*same);
            if (!there) return there.Failure();
            if (entry.IsStorage() && there->IsStorage()) return same;
            if (const Error error = target_.Remove(into, entry.Name()); error != Error::kNone) return error;
        }
        return target_.Create(into, entry.Name(), entry.kind);
    }

    Error Bytes(EntryId id, const DirectoryEntry& entry, EntryId made) {
        // Streams whose sectors are claimed twice add up to more than the file: such a copy would never end.
        copied_ += entry.size;
        if (copied_ > source_.Store().Offset(source_.Table().Bound())) return Error::kDamaged;
        OpenElement from(source_, id, entry);
        const auto empty = target_.Entry(made);
        if (!empty) return empty.Failure();
        OpenElement to(target_, made, *empty);
        std::vector<std::uint8_t> block(static_cast<std::size_t>(std::min<std::uint64_t>(entry.size, kCopyBlock)));
        for (std::uint64_t at = 0; at < entry.size;) {
            const auto count = from.Read(at, block);
            if (!count) return count.Failure();
            if (const Error error = to.Write(at, std::span(block).first(*count)); error != Error::kNone) return error;
            at += *count;
        }
        return Error::kNone;
    }

    File& source_;
    File& target_;
    std::vector<Pair> storages_;
    std::uint64_t copied_ = 0;
};

}  // namespace

Error CopyElements(File& source, EntryId from, File& target, EntryId to) {
    if (&source == &target && target.Within(to, from)) return Error::kInvalidArgument;
    return Copy(source, target).Run(from, to);
}

}  // namespace kestrel::compound
