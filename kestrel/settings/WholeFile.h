#pragma once
#include <filesystem>
#include <optional>
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// All bytes of a regular file; none when it is missing, unreadable or something else (a folder, a pipe). `errno` says
/// why.
KESTREL_API std::optional<std::string> ReadWholeFile(const std::filesystem::path& file);

/// Holds an exclusive lock on a file or folder until the end of the object; the lock falls with a dying process. One
/// object serves one thread.
class KESTREL_API FileLock {
public:
    /// Waits at most `milliseconds`. The file must exist and be readable.
    FileLock(const std::filesystem::path& file, int milliseconds);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    bool Held() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

}  // namespace kestrel
