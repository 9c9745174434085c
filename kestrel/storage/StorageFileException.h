#pragma once
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/storage/QvError.h"

namespace kestrel {

/// What kind of failure a file met.
enum class FileCause : int {
    Other = 1,
    NotFound = 2,
    BadPath = 3,
    TooManyOpen = 4,
    AccessDenied = 5,
    InvalidFile = 6,
    RemoveCurrent = 7,
    NoMoreEntries = 8,
    BadSeek = 9,
    Hardware = 10,
    SharingViolation = 11,
    LockViolation = 12,
    DiskFull = 13,
    EndOfFile = 14,
};

/// A file could not be opened, read or written. The text names the file and the cause, on a line of its own.
class KESTREL_API StorageFileException final : public CQvError {
public:
    StorageFileException(const std::string& path, FileCause cause);
    /// The cause is found from the system's number (`errno`).
    StorageFileException(const std::string& path, int error);

    FileCause Cause() const { return static_cast<FileCause>(Code()); }
    /// The path and the cause in one line for a person.
    std::string OneLine() const;
    /// Whether another holder is in the way, so that a later try may succeed.
    bool MayPass() const;

private:
    std::string path_;
    int error_ = 0;  // the system's number, when it was known
};

}  // namespace kestrel
