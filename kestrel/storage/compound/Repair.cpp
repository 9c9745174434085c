#include <algorithm>
#include <string>
#include <vector>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/File.h"
#include "kestrel/storage/compound/Findings.h"
#include "kestrel/storage/compound/Guarded.h"
#include "kestrel/storage/compound/NameOrder.h"
#include "kestrel/storage/compound/OpenElement.h"

namespace kestrel::compound {
namespace {

constexpr char16_t kLostAndFound[] = u"Lost and found";
constexpr std::uint64_t kMaxGrowth = 4;  // times the source's size: streams that claim the same sectors end here

class Repairer {
public:
    Repairer(File& source, File& target) : source_(source), target_(target) {}

    Result<RepairReport> Run() {
        Error error = Storages(kRootEntry, kRootEntry);
        if (error == Error::kNone) error = Lost();
        if (error == Error::kNone) error = target_.Commit();
        if (error != Error::kNone) return error;
        return std::move(report_);
    }

private:
    struct Pair {
        EntryId from;
        EntryId to;
    };

    void Tell(std::string text) { report_.findings.push_back({Severity::kDamaged, std::move(text)}); }
    std::string Name(EntryId id) { return source_.Describe(id); }

    Error Storages(EntryId from, EntryId to) {
        if (const Error error = Properties(from, to); error != Error::kNone) return error;
        std::vector<Pair> storages{{from, to}};
        while (!storages.empty()) {
            const auto [inner, into] = storages.back();
            storages.pop_back();
            const auto elements = source_.Elements(inner);
            if (!elements) return elements.Failure();
            for (const EntryId id : *elements) {
                const auto made = Element(id, into);
                if (!made) return made.Failure();
                const auto entry = target_.Entry(*made);
                if (!entry) return entry.Failure();
                if (entry->IsStorage()) storages.push_back({id, *made});
            }
        }
        return Error::kNone;
    }

    /// The element with its bytes, but not what a storage holds.
    Result<EntryId> Element(EntryId id, EntryId into) {
        const auto entry = source_.Entry(id);
        if (!entry) return entry.Failure();
        const auto made = Make(id, *entry, into);
        if (!made) return made;
        if (const Error error = Properties(id, *made); error != Error::kNone) return error;
        if (entry->IsStream())
            if (const Error error = Bytes(id, *entry, *made); error != Error::kNone) return error;
        return made;
    }

    /// Under its name, or under "Entry 12" when that is taken or not allowed.
    Result<EntryId> Make(EntryId id, const DirectoryEntry& entry, EntryId into) {
        const auto made = target_.Create(into, entry.Name(), entry.kind);
        if (made || (made.Failure() != Error::kExists && made.Failure() != Error::kInvalidName)) return made;
        const std::string number = std::to_string(id);
        std::u16string name = u"Entry " + std::u16string(number.begin(), number.end());
        Tell(Name(id) + ": saved as " + Utf8(name));
        for (;; name += u"'") {
            const auto other = target_.Create(into, name, entry.kind);
            if (other || other.Failure() != Error::kExists) return other;
        }
    }

    Error Properties(EntryId from, EntryId to) {
        const auto entry = source_.Entry(from);
        if (!entry) return entry.Failure();
        auto copy = target_.Entry(to);
        if (!copy) return copy.Failure();
        copy->classId = entry->classId;
        copy->userFlags = entry->userFlags;
        copy->created = entry->created;
        copy->modified = entry->modified;
        return target_.SetEntry(to, *copy);
    }

    Error Bytes(EntryId id, const DirectoryEntry& entry, EntryId made) {
        const auto empty = target_.Entry(made);
        if (!empty) return empty.Failure();
        OpenElement from(source_, id, entry);
        OpenElement to(target_, made, *empty);
        std::size_t part = static_cast<std::size_t>(std::min<std::uint64_t>(kCopyBlock, entry.size));
        block_.resize(std::max(block_.size(), part));
        std::uint64_t done = 0;
        while (done < entry.size && part > 0 && copied_ <= kMaxGrowth * source_.Store().Size()) {
            const auto count = from.Read(done, std::span(block_).first(part));
            if (!count && count.Failure() != Error::kDamaged && count.Failure() != Error::kReadFault)
                return count.Failure();
            if (!count) {
                part /= 2;
                continue;
            }
            if (const Error error = to.Write(done, std::span(block_).first(*count)); error != Error::kNone)
                return error;
            done += *count;
            copied_ += *count;
        }
        if (done == entry.size) {
            ++report_.streams;
            return Error::kNone;
        }
        ++report_.partial;
        Tell(Name(id) + ": only the first " + std::to_string(done) + " of " + std::to_string(entry.size) +
             " bytes could be saved");
        return Error::kNone;
    }

    /// Entries that no storage has; a lost storage brings along what it holds.
    Error Lost() {
        EntryId place = kNoEntry;
        for (EntryId id = kRootEntry + 1;; ++id) {
            const auto entry = source_.Entry(id);
            if (!entry && entry.Failure() == Error::kDamaged) return Error::kNone;  // the directory's end
            if (!entry) return entry.Failure();
            const bool element = entry->IsStream() || entry->kind == DirectoryEntry::Kind::kStorage;
            if (!element || source_.Owner(id) != kNoEntry) continue;
            source_.Adopt(id);
            if (place == kNoEntry) {
                const auto made = LostAndFound();
                if (!made) return made.Failure();
                place = *made;
            }
            Tell(Name(id) + " was in no storage: saved in " + Utf8(kLostAndFound));
            const auto made = Element(id, place);
            if (!made) return made.Failure();
            if (entry->IsStorage())
                if (const Error error = Storages(id, *made); error != Error::kNone) return error;
        }
    }

    Result<EntryId> LostAndFound() {
        std::u16string name = kLostAndFound;
        for (;; name += u"'") {
            const auto made = target_.Create(kRootEntry, name, DirectoryEntry::Kind::kStorage);
            if (made || made.Failure() != Error::kExists) return made;
        }
    }

    File& source_;
    File& target_;
    std::vector<std::uint8_t> block_;
    std::uint64_t copied_ = 0;
    RepairReport report_;
};

}  // namespace

Result<RepairReport> Repair(ByteStore& damaged, std::unique_ptr<ByteStore> empty) {
    return Guarded(
        [&]() -> Result<RepairReport> {
            const auto source = File::Open(std::make_unique<BorrowedStore>(damaged), Access::kRead);
            if (!source) return source.Failure();
            const auto size = empty->Size();
            if (!size) return size.Failure();
            if (*size != 0) return Error::kInvalidArgument;
            const auto content = File::Empty((*source)->FileVersion());
            if (const Error error = empty->WriteAt(0, content); error != Error::kNone) return error;
            const auto target = File::Open(std::move(empty), Access::kReadWrite);
            if (!target) return target.Failure();
            return Repairer(**source, **target).Run();
        },
        [] {});
}

}  // namespace kestrel::compound
