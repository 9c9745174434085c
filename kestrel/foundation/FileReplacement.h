#pragma once
#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Writes a file that appears whole or not at all. The bytes go to a new file in the target's folder, without a name
/// where the file system can do that; `Commit` flushes it to the disk and renames it over the target, whose mode it
/// takes on (a new file's mode follows the umask). Without `Commit` it goes away and the target stays as it was: call
/// it only when all that was to be written was written.
///
/// A killed process leaves its new file where it had to have a name, ".<target>.kestrel-<number>.part". The first file
/// that another process replaces in that folder clears such files away, those that a living process writes excepted.
///
/// A symbolic link is followed: the file that it names is replaced, the link stays. A target that is no regular file
/// (a pipe, a device) is written directly.
class KESTREL_API FileReplacement {
public:
    /// How the new file is made; `kNamed` is what a file system gets that has no files without a name.
    enum class Making { kUnnamedWherePossible, kNamed };

    explicit FileReplacement(const std::string& path, Making making = Making::kUnnamedWherePossible);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// What went wrong so far, without the path; empty when all is well.
    const std::string& Error() const { return error_; }
    /// The system's number (`errno`) of what went wrong; 0 when all is well.
    int ErrorCode() const { return code_; }
    /// Where the bytes go; null after an error. What was written can be read back, unless the target is a pipe or a
    /// device.
    std::FILE* Stream() const { return file_; }
    /// Puts the file in its place. False when any write or the replacing failed; the target is then as it was.
    [[nodiscard]] bool Commit();

private:
    bool Fail(const char* what);
    void OpenBeside(Making making);
    bool SetMode(int descriptor) const;
    template <class Make>
    bool MakeBeside(const Make& make);

    std::string target_;
    std::string beside_;  // the new file's name while it has one
    std::string error_;
    int code_ = 0;
    std::unique_ptr<char[]> buffer_;  // the stream's
    std::FILE* file_ = nullptr;
    bool direct_ = false;   // no new file: the target takes the bytes at once
    bool unnamed_ = false;  // the new file gets its name at the end
    bool replaces_ = false;
    mode_t mode_ = 0;
    uid_t owner_ = 0;
    gid_t group_ = 0;
};

/// Replaces the file by these bytes, whole or not at all. Returns what went wrong, or an empty text.
[[nodiscard]] KESTREL_API std::string WriteWhole(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace kestrel
