#pragma once
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kestrel/storage/compound/AllocationTable.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/Directory.h"
#include "kestrel/storage/compound/Header.h"
#include "kestrel/storage/compound/MiniStream.h"
#include "kestrel/storage/compound/NameTree.h"
#include "kestrel/storage/compound/SectorStore.h"

namespace kestrel::compound {

class OpenElement;

/// The engine behind the handles.
///
/// How a commit can be atomic in a format whose header, tables and directory have their places: only the header's place
/// is fixed. FAT sectors are listed by header and DIFAT, all else by chains in the FAT, so that everything but the
/// header can move. Hence the one rule: *a sector that the last commit uses is never written.* Two sets of sectors say
/// what is used by the last commit and what by the work in hand; a sector in neither is free.
///
/// - A changed sector of a stream, of the directory, of the mini stream or its table moves to a free one at its first
///   change; its predecessor's link moves with it, in the FAT in memory. From then on it is written where it is.
/// - Whole sectors of streams are written to the store at once. All else waits in the cache of `SectorStore`, which
///   writes early only when it grows too large.
/// - `Commit`: (1) the mini stream gives back its end, the root entry and the header in memory get the new beginnings;
///   (2) the cache is written; (3) changed FAT pages move to free sectors, which changes further pages, until nothing
///   moves; when a page that the DIFAT lists moved, the DIFAT moves as a whole; (4) pages and DIFAT are written;
///   (5) flush; (6) the header's 512 bytes are written by one call; (7) flush. Now the old sectors are free and the end
///   of the store is cut; when tables alone keep it long, they move down by a second commit. Failing before (6) changes
///   nothing that counts. Failing in (6) or (7), the old header is put back; when even that fails, nobody can say which
///   of the two whole states the store has, and no further change is taken.
/// - What a killed writer leaves is, for the header that counts, free: sectors in the middle are used again, the end is
///   cut at the next opening for writing. The first change of a session walks all chains to learn what is used; sectors
///   that the FAT calls used and no chain holds (other writers lose some) are freed. A file in which two chains meet or
///   one leaves the store takes no change: moving its parts could lose what is still to be saved.
class File {
public:
    static Result<std::shared_ptr<File>> Open(std::unique_ptr<ByteStore> store, Access access);
    /// An empty compound file.
    static std::vector<std::uint8_t> Empty(Version version);

    Version FileVersion() const { return header_.version; }
    bool Changed() const { return changed_; }
    Error Commit();

    // ---- elements; each returns kReverted, kAccessDenied and so on as the handles tell

    Result<std::shared_ptr<OpenElement>> OpenEntry(EntryId id);
    void Close(const std::shared_ptr<OpenElement>& element);

    Result<EntryId> Find(EntryId storage, std::u16string_view name);
    Result<EntryId> Create(EntryId storage, std::u16string_view name, DirectoryEntry::Kind kind);
    Error Remove(EntryId storage, std::u16string_view name);
    Error Rename(EntryId storage, std::u16string_view from, std::u16string_view to);
    Result<std::vector<EntryId>> Elements(EntryId storage);
    Result<DirectoryEntry> Entry(EntryId id) { return directory_.Read(id); }
    Error SetEntry(EntryId id, const DirectoryEntry& entry);
    /// The storage that an entry was found in; `kNoEntry` for one that nobody came across.
    EntryId Owner(EntryId id) const { return tree_.Owner(id); }
    /// See `NameTree::Adopt`.
    void Adopt(EntryId id) { tree_.Adopt(id); }
    /// For findings: "stream Pictures/7" and the like.
    std::string Describe(EntryId id);
    /// Whether `id` is `ancestor` or lies below it.
    bool Within(EntryId id, EntryId ancestor) const;

    // ---- what open streams need

    /// Before each change: finds out what is used, once. Errors that forbid any change come from here.
    Error StartChange();
    /// There is something to commit.
    void SetChanged() { changed_ = true; }
    /// Between operations: keeps the cache small. Removing and cutting do without: they must work on a full disk.
    Error Trim() { return store_.Trim(); }
    /// A change stopped half way: nothing is committed any more.
    Error Break(Error error);
    SectorStore& Store() { return store_; }
    AllocationTable& Table() { return table_; }
    MiniStream& Mini() { return *mini_; }
    std::uint64_t MaxStreamSize() const;

private:
    File(std::unique_ptr<ByteStore> store, bool writable, const Header& header, std::uint64_t size);
    Error Load();
    void CutEnd();
    Error MarkAll();
    Error MarkChain(Sector start);
    Error MarkStream(const DirectoryEntry& entry);
    Error MarkElements(std::vector<EntryId>& unused);
    Error PrepareTables();
    Error WriteHeader();
    Error CommitOnce();
    bool MoveTablesDown();
    Error Dispose(EntryId id);

    bool writable_;
    bool writing_ = false;  // all that is used is known
    bool changed_ = false;
    Error broken_ = Error::kNone;
    Header header_;
    Header committed_;  // as it is on the store
    SectorStore store_;
    AllocationTable table_;
    Directory directory_;
    NameTree tree_;
    std::unique_ptr<MiniStream> mini_;
    std::unordered_map<EntryId, std::shared_ptr<OpenElement>> open_;
};

}  // namespace kestrel::compound
