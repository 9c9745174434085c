#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/storage/compound/ByteStore.h"
#include "kestrel/storage/compound/Error.h"
#include "kestrel/storage/compound/FileStore.h"

namespace kestrel::compound {

class File;
class OpenElement;

/// The two published versions: 3 has sectors of 512 bytes and ends at 2 GB, 4 has sectors of 4,096 bytes.
enum class Version : std::uint8_t { k3 = 3, k4 = 4 };

enum class ElementKind : std::uint8_t { kStorage = 1, kStream = 2, kRoot = 5 };

/// What the directory tells about an element.
struct ElementInfo {
    std::u16string name;  ///< "Root Entry" or whatever the writer chose for the root
    ElementKind kind = ElementKind::kStream;
    std::uint64_t size = 0;  ///< bytes of a stream, otherwise 0
    GUID classId;
    std::uint32_t userFlags = 0;
    std::uint64_t created = 0;   ///< 100 ns since 1601, UTC; 0 is unknown
    std::uint64_t modified = 0;  ///< likewise
};

enum class Origin : std::uint8_t { kBegin, kCurrent, kEnd };

/// An open stream. Movable; the file stays open as long as one handle lives. What is written becomes true with the next
/// `CompoundFile::Commit`; a handle that goes away commits nothing. A default-made or moved-from stream may only be
/// assigned to or destroyed.
class KESTREL_API Stream {
public:
    Stream();
    Stream(Stream&&) noexcept;
    Stream& operator=(Stream&&) noexcept;
    ~Stream();

    /// Bytes read from the position on, which moves; fewer than asked only at the end of the stream.
    Result<std::size_t> Read(std::span<std::uint8_t> to);
    /// Writes all or reports why not; a gap between end and position becomes zeros. After an error the position is
    /// where it was and the size is unchanged; bytes of the range that were there before may hold old or new values.
    Error Write(std::span<const std::uint8_t> from);
    /// The new position, counted from the beginning. It may lie beyond the end; before the beginning is
    /// kInvalidArgument and moves nothing.
    Result<std::uint64_t> Seek(std::int64_t offset, Origin origin);
    /// Cuts the stream or lets it grow by zeros. The position stays.
    Error SetSize(std::uint64_t size);
    Result<std::uint64_t> Size() const;
    std::uint64_t Position() const { return position_; }
    Result<ElementInfo> Info() const;

private:
    friend class Storage;
    Stream(std::shared_ptr<File> file, std::shared_ptr<OpenElement> element);

    std::shared_ptr<File> file_;
    std::shared_ptr<OpenElement> element_;
    std::uint64_t position_ = 0;
};

/// An open storage: elements by name. Names are compared as the format does, without regard to case. Movable; like a
/// stream's, its handle keeps the file open and commits nothing. Handles of inner elements outlive it. A default-made
/// or moved-from storage may only be assigned to or destroyed.
///
/// An element is open at most once at a time: a second opening gives kAccessDenied until the first handle is gone.
class KESTREL_API Storage {
public:
    Storage();
    Storage(Storage&&) noexcept;
    Storage& operator=(Storage&&) noexcept;
    ~Storage();

    /// kExists when the name is taken.
    Result<Stream> CreateStream(std::u16string_view name);
    Result<Stream> OpenStream(std::u16string_view name);
    /// kExists when the name is taken.
    Result<Storage> CreateStorage(std::u16string_view name);
    Result<Storage> OpenStorage(std::u16string_view name);

    /// Removes a stream, or a storage with all that it holds; handles open on them give kReverted from then on.
    Error Remove(std::u16string_view name);
    /// kExists when another element has the new name; a change of case only is allowed.
    Error Rename(std::u16string_view from, std::u16string_view to);

    /// What the directory tells about one element; kNotFound also serves as the test whether it exists.
    Result<ElementInfo> Find(std::u16string_view name) const;
    /// All elements in the format's order of names.
    Result<std::vector<ElementInfo>> Elements() const;
    /// About this storage itself.
    Result<ElementInfo> Info() const;

    /// Copies all elements into another storage, usually of another file: storages of the same name are merged, streams
    /// of the same name replaced. kInvalidArgument when the target is this storage or lies within it.
    Error CopyTo(Storage& target) const;

    Error SetClassId(const GUID& id);
    /// Bits outside `mask` stay.
    Error SetUserFlags(std::uint32_t flags, std::uint32_t mask);
    Error SetTimes(std::uint64_t created, std::uint64_t modified);

private:
    friend class CompoundFile;
    Storage(std::shared_ptr<File> file, std::shared_ptr<OpenElement> element);
    template <class Handle>
    Result<Handle> Open(std::u16string_view name) const;
    template <class Handle>
    Result<Handle> Create(std::u16string_view name);
    template <class Change>
    Error ChangeEntry(const Change& change);

    std::shared_ptr<File> file_;
    std::shared_ptr<OpenElement> element_;
};

/// A compound file: a file system in one file, in the published binary format.
///
/// Changes gather in free sectors and in memory; `Commit` makes them true all at once. Whatever ends the process in
/// between leaves the file as of the last commit. One thread at a time for a file and all its handles. Movable.
class KESTREL_API CompoundFile {
public:
    /// Opens what the store holds. Reads the header, the DIFAT and the root entry; later operations read what they
    /// need. kAccessDenied when writing is asked from a store that cannot. For writing, sectors at the end of the store
    /// that no commit knows of (a writer was killed) are cut off.
    static Result<CompoundFile> Open(std::unique_ptr<ByteStore> store, Access access);
    /// Makes an empty compound file in an empty store; it is committed on return.
    static Result<CompoundFile> Create(std::unique_ptr<ByteStore> store, Version version = Version::k4);

    /// The same over files. A new file appears whole or not at all; kExists when there is one of that name.
    static Result<CompoundFile> OpenFile(const std::string& path, Access access);
    static Result<CompoundFile> CreateFile(const std::string& path, Version version = Version::k4);

    CompoundFile(CompoundFile&&) noexcept;
    CompoundFile& operator=(CompoundFile&&) noexcept;
    /// Drops what was not committed. The store is closed once the last handle is gone, too.
    ~CompoundFile();

    /// kAccessDenied while another handle on the root is open. An operation of a moved-from file may not be called.
    Result<Storage> Root();

    /// Makes all changes true, flushed to the disk, or none of them. After an error the file is as of the last commit
    /// and the changes still wait in memory: the commit may be tried again, or dropped by closing. Nothing to do is no
    /// error.
    Error Commit();
    /// Whether there is something to commit.
    bool Changed() const;
    Version FileVersion() const;

private:
    explicit CompoundFile(std::shared_ptr<File> file);

    std::shared_ptr<File> file_;
};

}  // namespace kestrel::compound
