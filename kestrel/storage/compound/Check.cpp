#include "kestrel/storage/compound/Check.h"

#include <array>

#include "kestrel/storage/compound/AllocationTable.h"
#include "kestrel/storage/compound/Findings.h"
#include "kestrel/storage/compound/Guarded.h"
#include "kestrel/storage/compound/MiniStream.h"
#include "kestrel/storage/compound/NameOrder.h"
#include "kestrel/storage/compound/NameTree.h"

namespace kestrel::compound {
namespace {

constexpr std::size_t kMaxFindings = 1000;

class Checker {
public:
    Checker(ByteStore& store, const Header& header, std::uint64_t size)
        : header_(header),
          store_(std::make_unique<BorrowedStore>(store), header.sectorShift, size),
          table_(store_),
          directory_(store_, table_, header_),
          tree_(directory_) {}

    Result<CheckReport> Run() {
        report_.sectors = store_.Count();
        Error error = Tables();
        if (error == Error::kNone) error = Root();
        if (error == Error::kNone) error = Elements();
        if (error == Error::kNone) error = LostEntries();
        if (error == Error::kNone) error = Unused();
        if (error != Error::kNone) return error;
        return std::move(report_);
    }

private:
    void Tell(Severity severity, std::string text) {
        if (report_.findings.size() < kMaxFindings)
            report_.findings.push_back({severity, std::move(text)});
        else
            ++report_.more;
    }

    /// Damage is a finding, anything else ends the check.
    Error Damaged(Error error, const std::string& text) {
        if (error != Error::kDamaged) return error;
        Tell(Severity::kDamaged, text);
        return Error::kNone;
    }

    static std::string Number(std::uint64_t n) { return std::to_string(n); }

    bool Claim(Sector sector) {
        if (used_.Has(sector)) return false;
        used_.Add(sector);
        return true;
    }

    Error Tables() {
        if (const Error error = table_.Open(header_); error != Error::kNone) return error;
        if (table_.Pages().size() != header_.fatSectors || table_.Difat().size() != header_.difatSectors) {
            const bool missing = table_.Pages().size() < header_.fatSectors;
            Tell(missing ? Severity::kDamaged : Severity::kUntidy,
                 "the header counts " + Number(header_.fatSectors) + " FAT and " + Number(header_.difatSectors) +
                     " DIFAT sectors, there are " + Number(table_.Pages().size()) + " and " +
                     Number(table_.Difat().size()));
        }
        if (const Error error = TableSectors(table_.Pages(), kFatSector, "FAT"); error != Error::kNone) return error;
        return TableSectors(table_.Difat(), kDifatSector, "DIFAT");
    }

    Error TableSectors(const std::vector<Sector>& places, Sector mark, const std::string& name) {
        for (const Sector place : places) {
            if (place >= store_.Count() || !Claim(place)) {
                Tell(Severity::kDamaged, name + " sector " + Number(place) + " is outside the file or used twice");
                continue;
            }
            const auto next = table_.Get(place);
            if (!next && next.Failure() != Error::kDamaged) return next.Failure();
            if (next && *next != mark) Tell(Severity::kUntidy, name + " sector " + Number(place) + " is not marked so");
        }
        return Error::kNone;
    }

    /// Follows a chain and counts it as used; a fault in it is told. `wanted` is the number of sectors it should have.
    Error FollowChain(Sector start, std::uint64_t wanted, bool exact, const std::string& name) {
        std::uint64_t length = 0;
        for (Sector sector = start; sector != kEndOfChain; ++length) {
            if (sector >= store_.Count()) return Damaged(Error::kDamaged, name + ": its chain leaves the file");
            if (!Claim(sector)) return Damaged(Error::kDamaged, name + ": sector " + Number(sector) + " is used twice");
            const auto next = table_.Next(sector);
            if (!next)
                return Damaged(next.Failure(),
                               name + ": its chain breaks off after " + Number(length + 1) + " sectors");
            sector = *next;
        }
        return Length(length, wanted, exact, "sectors", name);
    }

    Error Length(std::uint64_t length, std::uint64_t wanted, bool exact, const char* unit, const std::string& name) {
        if (length < wanted)
            Tell(Severity::kDamaged, name + ": its chain ends " + Number(wanted - length) + " " + unit + " early");
        if (exact && length > wanted)
            Tell(Severity::kUntidy, name + ": its chain is " + Number(length - wanted) + " " + unit + " too long");
        return Error::kNone;
    }

    Error Root() {
        if (const Error error = FollowChain(header_.firstDirectory, 1, false, "the directory"); error != Error::kNone)
            return error;
        const auto count = directory_.Count();
        if (count && header_.version == Version::k4 &&
            *count / (store_.SectorSize() / kEntryBytes) != header_.directorySectors)
            Tell(Severity::kUntidy, "the header's number of directory sectors is wrong");
        const auto root = directory_.Read(kRootEntry);
        if (!root) return Damaged(root.Failure(), "there is no root entry");
        if (root->kind != DirectoryEntry::Kind::kRoot)
            Tell(Severity::kUntidy, "the first entry is not called the root");
        const Sector start = root->size > 0 ? root->start : kEndOfChain;
        mini_ = std::make_unique<MiniStream>(store_, table_, header_, start);
        if (const Error error = FollowChain(header_.firstMiniFat, header_.miniFatSectors, true, "the mini FAT");
            error != Error::kNone)
            return error;
        const std::uint64_t wanted = (root->size + store_.SectorSize() - 1) >> store_.Shift();
        return FollowChain(start, wanted, true, "the mini stream");
    }

    Error Elements() {
        if (!mini_) return Error::kNone;
        std::vector<EntryId> storages{kRootEntry};
        while (!storages.empty()) {
            const EntryId storage = storages.back();
            storages.pop_back();
            ++report_.storages;
            const auto shape = tree_.Look(storage);
            if (!shape) return shape.Failure();
            if (!shape->linked)
                Tell(Severity::kDamaged, Describe(directory_, tree_, storage) + ": its tree has broken links");
            else if (!shape->sound)
                Tell(Severity::kUntidy,
                     Describe(directory_, tree_, storage) + ": its tree breaks the rules of order or color");
            for (const EntryId id : shape->elements) {
                const auto entry = directory_.Read(id);
                if (!entry) return entry.Failure();
                if (entry->IsStorage()) storages.push_back(id);
                if (const Error error = Element(id, *entry); error != Error::kNone) return error;
            }
        }
        --report_.storages;  // the root is none of the elements
        return Error::kNone;
    }

    Error Element(EntryId id, const DirectoryEntry& entry) {
        if (CheckName(entry.Name()) != Error::kNone)
            Tell(Severity::kUntidy, Describe(directory_, tree_, id) + ": the name is not allowed");
        if (!entry.IsStream()) return Error::kNone;
        ++report_.streams;
        if (entry.size == 0) return Error::kNone;
        const std::string name = Describe(directory_, tree_, id);
        if (!entry.InMiniStream())
            return FollowChain(entry.start, (entry.size + store_.SectorSize() - 1) >> store_.Shift(), true, name);
        const auto length = mini_->Mark(entry.start);
        if (!length)
            return Damaged(length.Failure(), name + ": its mini chain breaks off, or another one has its pieces");
        return Length(*length, (entry.size + kMiniSize - 1) / kMiniSize, true, "pieces", name);
    }

    Error LostEntries() {
        const auto count = directory_.Count();
        if (!count) return count.Failure() == Error::kDamaged ? Error::kNone : count.Failure();  // told above
        for (EntryId id = kRootEntry + 1; id < *count; ++id) {
            const auto entry = directory_.Read(id);
            if (!entry) return entry.Failure();
            if (entry->kind == DirectoryEntry::Kind::kUnused || tree_.Owner(id) != kNoEntry) continue;
            Tell(Severity::kDamaged, Describe(directory_, tree_, id) + " (entry " + Number(id) + ") is in no storage");
            if (entry->IsStream() && entry->size > 0 && mini_)
                if (const Error error = Element(id, *entry); error != Error::kNone) return error;
        }
        return Error::kNone;
    }

    Error Unused() {
        for (Sector sector = 0; sector < store_.Count(); ++sector) {
            const auto next = table_.Get(sector);
            if (!next && next.Failure() != Error::kDamaged) return next.Failure();
            if (!next || used_.Has(sector)) continue;
            const bool reserved = store_.Shift() == 12 && sector == kRangeLockSector && *next == kEndOfChain;
            if (*next == kFreeSector)
                ++report_.freeSectors;
            else if (!reserved)
                ++report_.lostSectors;
        }
        const bool cut = (store_.Size() & (store_.SectorSize() - 1)) != 0;  // by a killed writer, when it is free
        if (cut && store_.Count() > 0 && used_.Has(store_.Count() - 1))
            Tell(Severity::kUntidy, "the last sector is cut short");
        if (report_.lostSectors > 0)
            Tell(Severity::kUntidy, Number(report_.lostSectors) + " sectors are marked as used and part of nothing");
        if (!mini_) return Error::kNone;
        const auto lost = mini_->CountUnmarked();
        if (!lost) return lost.Failure() == Error::kDamaged ? Error::kNone : lost.Failure();
        if (*lost > 0) Tell(Severity::kUntidy, Number(*lost) + " mini sectors are marked as used and part of nothing");
        return Error::kNone;
    }

    Header header_;
    SectorStore store_;
    AllocationTable table_;
    Directory directory_;
    NameTree tree_;
    std::unique_ptr<MiniStream> mini_;
    SectorSet used_;
    CheckReport report_;
};

}  // namespace

Result<CheckReport> Check(ByteStore& store) {
    return Guarded(
        [&]() -> Result<CheckReport> {
            std::array<std::uint8_t, kHeaderBytes> first{};
            const auto count = store.ReadAt(0, first);
            if (!count) return count.Failure();
            if (*count < first.size()) return Error::kNotCompound;
            const auto header = Header::Read(first);
            if (!header) return header.Failure();
            const auto size = store.Size();
            if (!size) return size.Failure();
            return Checker(store, *header, *size).Run();
        },
        [] {});
}

}  // namespace kestrel::compound
