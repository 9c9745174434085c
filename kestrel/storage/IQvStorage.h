#pragma once
#include <memory>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/storage/QvStream.h"

namespace kestrel {

namespace compound {
class Storage;
}

/// How a storage or stream is opened; the bits add up.
enum StorageMode : unsigned long {
    kStorageRead = 1,
    kStorageWrite = 2,
    kStorageCreate = 8,       ///< an element that is missing is made; one that is there is opened as it is
    kStorageTruncate = 0x40,  ///< streams of folder trees only: with the create bit, a file that is there is emptied
};

class IQvStorage;
struct QvStorageCloser {
    inline void operator()(IQvStorage* storage) const;
};
/// Owns a storage and closes it at the end of a scope. Who has written calls `CloseStorage` and looks at the result.
using QvStoragePtr = std::unique_ptr<IQvStorage, QvStorageCloser>;

/// A named container of named streams and further containers: a compound file, a folder tree, or memory.
///
/// Names are UTF-8; a name that is not is taken as Windows-1252. A name may be a path of several names, with slashes or
/// backslashes between them; one that would lead out of the storage (an absolute one, "..", a link) is refused.
/// Failures give null or false, `LastStorageError` has a line about them, and the debug monitor is told; only the
/// streams of folder trees throw (`StorageFileException`). Storages and what was opened from them belong to one thread;
/// everything that was opened from a storage is closed before it.
class KESTREL_API IQvStorage {
public:
    /// 1: A new stream. One of that name that is there is replaced in a compound file, given the create bit, and
    /// refused without it; in a folder tree it is opened as by operation 2.
    virtual QvStreamPtr CreateStream(const char* name, unsigned long mode) = 0;
    /// 2: A stream that is there; with the create bit, operation 1 for one that is not.
    virtual QvStreamPtr OpenStream(const char* name, unsigned long mode) = 0;
    /// 3: In a compound file this deletes storages with all they hold as well.
    virtual bool DeleteElement(const char* name) = 0;
    /// 4: A new storage. One of that name that is there is replaced by an empty one in a compound file, given the
    /// create bit, and refused without it; in a folder tree it is opened.
    virtual QvStoragePtr CreateStorage(const char* name, unsigned long mode) = 0;
    /// 5: A storage that is there; with the create bit, operation 4 for one that is not.
    virtual QvStoragePtr OpenStorage(const char* name, unsigned long mode) = 0;
    /// 6: Deletes an empty folder, its own for null. False in compound files, which delete by operation 3.
    virtual bool DeleteStorage(const char* name) = 0;
    /// 7: Name and flags (`ElementFlags`) of the first element that the mask fits; false when there is none. In a mask
    /// `*` stands for any text and `?` for one character, whatever the case; an empty one and "*.*" fit everything.
    virtual bool FirstElement(QvString& name, unsigned long& flags, const char* mask = "") = 0;
    /// 8: The next one; false at the end. Elements may be deleted and added meanwhile; whether an added one comes is
    /// open.
    virtual bool NextElement(QvString& name, unsigned long& flags) = 0;
    /// 9
    virtual bool Exists(const char* name) = 0;
    /// 10: Ends the storage and deletes the object. What was written is safe when this is true.
    virtual bool Close() = 0;
    /// 11: Always true and without effect: closing commits.
    virtual bool Commit() = 0;
    /// 12: The storage's own name.
    virtual QvString Name() const = 0;
    /// 13: Compound files: the folder of the file. Folder trees: the folder itself, with backslashes and one at its
    /// end. `SystemPath` makes a path of the system out of it.
    virtual QvString Path() const = 0;
    /// 14: Does a picture box in it keep pictures as files of their own format?
    virtual bool KeepNative() const = 0;
    /// 15: Is it a folder of plain files, without the structure of a picture box?
    virtual bool External() const = 0;
    /// 16: 0 compound file (memory and built-in data too), 1 folder tree.
    virtual int Kind() const = 0;

protected:
    /// 17: by `Close` only.
    virtual ~IQvStorage() = default;

public:
    /// 18: Copies everything into another storage, replacing streams of the same name. Not supported by folder trees.
    virtual bool CopyTo(IQvStorage& target) = 0;
    /// 19
    virtual bool Stat(QvStat& stat) = 0;
    /// 20: Asked right after construction: a storage that failed to open can only be closed.
    virtual bool HasFailed() const = 0;
    /// 21: A storage object over an open storage of a compound file. Null for folder trees.
    virtual QvStoragePtr Wrap(std::shared_ptr<compound::Storage> open) = 0;
};

inline void QvStorageCloser::operator()(IQvStorage* storage) const { storage->Close(); }

/// Closes the storage that the pointer holds, which is null afterwards; false when what was written is not kept.
[[nodiscard]] inline bool CloseStorage(QvStoragePtr& storage) { return !storage || storage.release()->Close(); }

}  // namespace kestrel
