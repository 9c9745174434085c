#include "kestrel/storage/compound/File.h"

#include <algorithm>
#include <array>

#include "kestrel/storage/compound/Findings.h"
#include "kestrel/storage/compound/NameOrder.h"
#include "kestrel/storage/compound/OpenElement.h"

namespace kestrel::compound {
namespace {

constexpr std::uint64_t kVersion3MaxStream = 0x80000000;
constexpr Sector kMinSpread = 64;  // sectors; a shorter store is left as it is
constexpr std::uint64_t kVersion4MaxStream = (std::uint64_t{kMaxSector} - 1) << 12;

}  // namespace

std::vector<std::uint8_t> File::Empty(Version version) {
    Header header;
    header.version = version;
    header.sectorShift = version == Version::k3 ? 9 : 12;
    header.directorySectors = version == Version::k3 ? 0 : 1;
    header.fatSectors = 1;
    header.difat[0] = 0;
    header.firstDirectory = 1;

    const std::size_t sector = std::size_t{1} << header.sectorShift;
    std::vector<std::uint8_t> bytes(3 * sector);
    const auto first = header.Bytes();
    std::copy(first.begin(), first.end(), bytes.begin());
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(sector), sector, std::uint8_t{0xFF});
    compound::Store(bytes.data() + sector, kFatSector);
    compound::Store(bytes.data() + sector + 4, kEndOfChain);
    DirectoryEntry root;
    root.SetName(u"Root Entry");
    root.kind = DirectoryEntry::Kind::kRoot;
    root.black = true;
    root.start = kEndOfChain;
    for (std::size_t at = 2 * sector; at < bytes.size(); at += kEntryBytes)
        (at == 2 * sector ? root : DirectoryEntry{})
            .Write(std::span<std::uint8_t, kEntryBytes>(bytes.data() + at, kEntryBytes));
    return bytes;
}

File::File(std::unique_ptr<ByteStore> store, bool writable, const Header& header, std::uint64_t size)
    : writable_(writable),
      header_(header),
      committed_(header),
      store_(std::move(store), header.sectorShift, size),
      table_(store_),
      directory_(store_, table_, header_),
      tree_(directory_) {}

Result<std::shared_ptr<File>> File::Open(std::unique_ptr<ByteStore> store, Access access) {
    const bool writable = access == Access::kReadWrite;
    if (writable && !store->Writable()) return Error::kAccessDenied;
    std::array<std::uint8_t, kHeaderBytes> first{};
    const auto count = store->ReadAt(0, first);
    if (!count) return count.Failure();
    if (*count < first.size()) return Error::kNotCompound;
    const auto header = Header::Read(first);
    if (!header) return header.Failure();
    const auto size = store->Size();
    if (!size) return size.Failure();
    std::shared_ptr<File> file(new File(std::move(store), writable, *header, *size));
    if (const Error error = file->Load(); error != Error::kNone) return error;
    return file;
}

Error File::Load() {
    if (const Error error = table_.Open(header_); error != Error::kNone) return error;
    const auto root = directory_.Read(kRootEntry);
    if (!root) return root.Failure();
    const Sector start = root->size > 0 ? root->start : kEndOfChain;
    mini_ = std::make_unique<MiniStream>(store_, table_, header_, start);
    if (writable_) CutEnd();
    return Error::kNone;
}

/// Cuts off sectors at the end that nothing uses: a killed writer left them. A file that fails the examination keeps
/// them, and a failing cut loses nothing: the next commit makes up for it.
void File::CutEnd() {
    const Sector last = store_.Count();
    if (last == 0) return;
    const auto next = table_.Get(last - 1);
    if (!next || *next != kFreeSector || StartChange() != Error::kNone) return;
    if (store_.SetSize(store_.Offset(table_.UsedEnd())) != Error::kNone) return;
}

std::uint64_t File::MaxStreamSize() const {
    return header_.version == Version::k3 ? kVersion3MaxStream : kVersion4MaxStream;
}

Error File::Break(Error error) {
    if (broken_ == Error::kNone) broken_ = error;
    return error;
}

// ---- what is used

Error File::StartChange() {
    if (!writable_) return Error::kAccessDenied;
    if (broken_ != Error::kNone) return broken_;
    if (writing_) return Error::kNone;
    const Error error = MarkAll();
    if (error == Error::kNone) writing_ = true;
    return error == Error::kNone ? error : Break(error);
}

Error File::MarkChain(Sector start) {
    for (Sector sector = start; sector != kEndOfChain;) {
        if (sector >= store_.Count() || !table_.Mark(sector)) return Error::kDamaged;
        const auto next = table_.Next(sector);
        if (!next) return next.Failure();
        sector = *next;
    }
    return Error::kNone;
}

Error File::MarkStream(const DirectoryEntry& entry) {
    if (!entry.IsStream() || entry.size == 0) return Error::kNone;
    return entry.InMiniStream() ? mini_->Mark(entry.start).Failure() : MarkChain(entry.start);
}

Error File::MarkAll() {
    if (const Error error = table_.StartWriting(); error != Error::kNone) return error;
    for (const Sector start : {directory_.Sectors().Start(), mini_->Table().Start(), mini_->Data().Start()})
        if (const Error error = MarkChain(start); error != Error::kNone) return error;
    std::vector<EntryId> unused;
    if (const Error error = MarkElements(unused); error != Error::kNone) return error;
    directory_.SetUnused(std::move(unused));
    table_.ReclaimUnmarked();
    return mini_->ReclaimUnmarked();
}

/// Streams that the tree does not reach keep their sectors, as far as nobody else has them: `Repair` may save them.
Error File::MarkElements(std::vector<EntryId>& unused) {
    std::vector<EntryId> storages{kRootEntry};
    while (!storages.empty()) {
        const EntryId storage = storages.back();
        storages.pop_back();
        const auto elements = tree_.Elements(storage);
        if (!elements) return elements.Failure();
        for (const EntryId id : *elements) {
            const auto entry = directory_.Read(id);
            if (!entry) return entry.Failure();
            if (entry->IsStorage()) storages.push_back(id);
            if (const Error error = MarkStream(*entry); error != Error::kNone) return error;
        }
    }
    const auto count = directory_.Count();
    if (!count) return count.Failure();
    for (EntryId id = *count; id-- > kRootEntry + 1;) {
        const auto entry = directory_.Read(id);
        if (!entry) return entry.Failure();
        if (entry->kind == DirectoryEntry::Kind::kUnused)
            unused.push_back(id);
        else if (tree_.Owner(id) == kNoEntry && MarkStream(*entry) != Error::kNone)
            continue;  // a lost stream that is damaged besides
    }
    return Error::kNone;
}

// ---- commit

Error File::PrepareTables() {
    if (const Error error = mini_->Shrink(); error != Error::kNone) return error;
    if (const Error error = directory_.Shrink(); error != Error::kNone) return error;
    auto root = directory_.Read(kRootEntry);
    if (!root) return root.Failure();
    if (root->start != mini_->Data().Start() || root->size != mini_->Size()) {
        root->start = mini_->Data().Start();
        root->size = mini_->Size();
        if (const Error error = directory_.Write(kRootEntry, *root); error != Error::kNone) return error;
    }
    const auto directorySectors = directory_.Sectors().Length();
    if (!directorySectors) return directorySectors.Failure();
    const auto miniFatSectors = mini_->Table().Length();
    if (!miniFatSectors) return miniFatSectors.Failure();
    header_.directorySectors = header_.version == Version::k3 ? 0 : static_cast<std::uint32_t>(*directorySectors);
    header_.firstDirectory = directory_.Sectors().Start();
    header_.firstMiniFat = mini_->Table().Start();
    header_.miniFatSectors = static_cast<std::uint32_t>(*miniFatSectors);
    if (const Error error = store_.WriteBack(); error != Error::kNone) return error;
    return table_.Write(header_);
}

/// The one write that counts. After an error the old header is put back.
Error File::WriteHeader() {
    Error error = store_.Bytes().WriteAt(0, header_.Bytes());
    if (error == Error::kNone) error = store_.Bytes().Flush();
    if (error == Error::kNone) return error;
    if (store_.Bytes().WriteAt(0, committed_.Bytes()) != Error::kNone) return Break(error);
    if (store_.Bytes().Flush() != Error::kNone) return Break(error);
    return error;
}

Error File::CommitOnce() {
    if (const Error error = PrepareTables(); error != Error::kNone) return error;
    const std::uint64_t end = store_.Offset(table_.UsedEnd());
    if (store_.Size() < end)
        if (const Error error = store_.SetSize(end); error != Error::kNone) return error;
    if (const Error error = store_.Bytes().Flush(); error != Error::kNone) return error;
    if (const Error error = WriteHeader(); error != Error::kNone) return error;
    committed_ = header_;
    table_.CommitDone();
    changed_ = false;
    // A failing cut loses nothing: the next commit or opening makes up for it.
    if (store_.Size() > end && store_.SetSize(end) != Error::kNone) return Error::kNone;
    return Error::kNone;
}

Error File::Commit() {
    if (broken_ != Error::kNone) return broken_;
    if (!changed_) return Error::kNone;
    if (const Error error = CommitOnce(); error != Error::kNone) return error;
    // The changes are true now; what moving the tables comes to changes nothing for the caller.
    if (MoveTablesDown() && CommitOnce() != Error::kNone) changed_ = true;
    return Error::kNone;
}

/// After much was removed, the tables may lie at the end of a store that is mostly free. Changes them so that they
/// move; false when there is nothing to gain.
bool File::MoveTablesDown() {
    const Sector end = table_.UsedEnd();
    const Sector used = table_.UsedCount();
    if (end < kMinSpread || end / 2 < used) return false;
    const std::array<Chain*, 3> chains{&directory_.Sectors(), &mini_->Table(), &mini_->Data()};
    Sector last = table_.LastOwn();
    for (Chain* chain : chains) {
        if (!chain->Length()) return false;
        for (const Sector sector : chain->Sectors()) last = std::max(last, sector);
    }
    if (last + 1 != end) return false;  // a stream keeps the store long
    table_.MovePagesFrom(used);
    for (Chain* chain : chains)
        for (std::size_t i = 0; i < chain->Sectors().size(); ++i)
            if (chain->Sectors()[i] >= used && !chain->Change(i)) return false;
    return true;
}

// ---- elements

Result<std::shared_ptr<OpenElement>> File::OpenEntry(EntryId id) {
    if (open_.count(id) != 0) return Error::kAccessDenied;
    const auto entry = directory_.Read(id);
    if (!entry) return entry.Failure();
    return open_[id] = std::make_shared<OpenElement>(*this, id, *entry);
}

void File::Close(const std::shared_ptr<OpenElement>& element) {
    const auto found = open_.find(element->Id());
    if (found != open_.end() && found->second == element) open_.erase(found);
}

Result<EntryId> File::Find(EntryId storage, std::u16string_view name) {
    const auto id = tree_.Find(storage, name);
    if (id && *id == kNoEntry) return Error::kNotFound;
    return id;
}

Result<std::vector<EntryId>> File::Elements(EntryId storage) { return tree_.Elements(storage); }

Error File::SetEntry(EntryId id, const DirectoryEntry& entry) {
    if (const Error error = StartChange(); error != Error::kNone) return error;
    SetChanged();
    return directory_.Write(id, entry);
}

std::string File::Describe(EntryId id) { return compound::Describe(directory_, tree_, id); }

bool File::Within(EntryId id, EntryId ancestor) const {
    for (; id != kNoEntry; id = id == kRootEntry ? kNoEntry : tree_.Owner(id))
        if (id == ancestor) return true;
    return false;
}

Result<EntryId> File::Create(EntryId storage, std::u16string_view name, DirectoryEntry::Kind kind) {
    if (const Error error = CheckName(name); error != Error::kNone) return error;
    if (const Error error = StartChange(); error != Error::kNone) return error;
    if (const Error error = Trim(); error != Error::kNone) return error;
    const auto same = tree_.Find(storage, name);
    if (!same) return same;
    if (*same != kNoEntry) return Error::kExists;
    SetChanged();
    DirectoryEntry entry;
    entry.SetName(name);
    entry.kind = kind;
    entry.start = kind == DirectoryEntry::Kind::kStream ? kEndOfChain : 0;
    const auto id = directory_.Add(entry);
    if (!id) return id;
    if (const Error error = tree_.Insert(storage, *id); error != Error::kNone) return Break(error);
    return id;
}

/// Gives back what an entry that hangs nowhere any more holds.
Error File::Dispose(EntryId id) {
    const auto entry = directory_.Read(id);
    if (!entry) return entry.Failure();
    if (const auto open = open_.find(id); open != open_.end()) {
        open->second->Revert();
        open_.erase(open);
    }
    if (entry->InMiniStream() && entry->size > 0) {
        auto pieces = mini_->AllPieces(entry->start);
        if (!pieces) return pieces.Failure();
        if (const Error error = mini_->SetLength(*pieces, 0); error != Error::kNone) return error;
    } else if (entry->IsStream() && entry->size > 0) {
        Chain chain(store_, table_, entry->start);
        if (const Error error = chain.SetLength(0); error != Error::kNone) return error;
    }
    tree_.Forget(id);
    return directory_.Erase(id);
}

Error File::Remove(EntryId storage, std::u16string_view name) {
    if (const Error error = StartChange(); error != Error::kNone) return error;
    const auto top = Find(storage, name);
    if (!top) return top.Failure();
    std::vector<EntryId> all{*top};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto entry = directory_.Read(all[i]);
        if (!entry) return entry.Failure();
        if (!entry->IsStorage()) continue;
        const auto elements = tree_.Elements(all[i]);
        if (!elements) return elements.Failure();
        all.insert(all.end(), elements->begin(), elements->end());
    }
    SetChanged();
    if (const Error error = tree_.Remove(storage, *top); error != Error::kNone) return Break(error);
    for (const EntryId id : all)
        if (const Error error = Dispose(id); error != Error::kNone) return Break(error);
    return Error::kNone;
}

Error File::Rename(EntryId storage, std::u16string_view from, std::u16string_view to) {
    if (const Error error = CheckName(to); error != Error::kNone) return error;
    if (const Error error = StartChange(); error != Error::kNone) return error;
    const auto id = Find(storage, from);
    if (!id) return id.Failure();
    const auto same = tree_.Find(storage, to);
    if (!same) return same.Failure();
    if (*same != kNoEntry && *same != *id) return Error::kExists;
    SetChanged();
    if (const Error error = tree_.Remove(storage, *id); error != Error::kNone) return Break(error);
    auto entry = directory_.Read(*id);
    if (!entry) return Break(entry.Failure());
    entry->SetName(to);
    if (const Error error = directory_.Write(*id, *entry); error != Error::kNone) return Break(error);
    if (const Error error = tree_.Insert(storage, *id); error != Error::kNone) return Break(error);
    return Error::kNone;
}

}  // namespace kestrel::compound
