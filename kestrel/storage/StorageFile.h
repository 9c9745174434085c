#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/FileReplacement.h"

namespace kestrel {

/// The file below a stream of a folder tree. What is written goes to a new file that takes the old one's place when it
/// is put there (`Commit`): under its name a file is whole or absent, whenever the process ends.
///
/// One writer or several readers hold a file at a time, between processes too. Failures throw `StorageFileException`.
class KESTREL_API StorageFile {
public:
    struct Flags {
        bool read = true;
        bool write = false;
        bool create = false;    ///< make the file when it is missing
        bool truncate = false;  ///< with `create`: what the file held does not count
    };
    /// `path` is the system's, and leads to a regular file or to none.
    StorageFile(const std::string& path, const Flags& flags);
    ~StorageFile();
    StorageFile(const StorageFile&) = delete;
    StorageFile& operator=(const StorageFile&) = delete;

    const std::string& Path() const { return path_; }
    /// Bytes that were read: fewer than asked at the end only.
    std::size_t Read(void* buffer, std::size_t count);
    void Write(const void* buffer, std::size_t count);
    /// The new position, counted as `std::fseek` does; a position before the start throws.
    std::int64_t Seek(std::int64_t offset, int whence);
    std::int64_t Tell();
    std::int64_t Length();
    void SetLength(std::int64_t bytes);
    /// Puts what was written in its place. Without it the file stays as it was.
    void Commit();
    /// The open file, at the position of this object, for readers of other libraries; read from it only. It changes
    /// with the first write.
    std::FILE* Stream();

private:
    enum class Last { None, Read, Write };

    void OpenExisting(const Flags& flags);
    void Replace(bool keepContent);
    void Turn(Last next);
    [[noreturn]] void Fail(int error) const;

    std::string path_;
    bool mayRead_;
    bool mayWrite_;
    std::FILE* existing_ = nullptr;                 // holds the lock; null for a new file
    std::unique_ptr<FileReplacement> replacement_;  // from the first change on
    std::FILE* file_ = nullptr;                     // whichever of the two counts
    Last last_ = Last::None;
    int writeError_ = 0;
};

}  // namespace kestrel
