#include "kestrel/settings/IniFile.h"

#include <cerrno>

#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/settings/WholeFile.h"

namespace kestrel {
namespace {

constexpr int kLockWait = 10000;  // milliseconds, as for every lock between processes

bool IsMissing(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::symlink_status(file, error).type() == std::filesystem::file_type::not_found;
}

std::filesystem::path FolderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

bool Write(const std::filesystem::path& file, const std::string& bytes) {
    return WriteWhole(file, {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}).empty();
}

}  // namespace

void IniFile::Restore() const {
    if (!IsMissing(file_)) return;
    const auto copy = ReadWholeFile(SafetyCopy());
    if (copy) (void)Write(file_, *copy);  // a file that stays missing is told by the read that follows
}

std::optional<IniText> IniFile::Read(Status& status) const {
    if (IsMissing(file_) || IsMissing(SafetyCopy())) {
        // Where the folder cannot be written there is no copy; reading goes on without one.
        const FileLock lock(FolderOf(file_), kLockWait);
        if (lock.Held()) Restore();
        const auto bytes = lock.Held() && IsMissing(SafetyCopy()) ? ReadWholeFile(file_) : std::nullopt;
        if (bytes) (void)Write(SafetyCopy(), *bytes);
    }
    auto bytes = ReadWholeFile(file_);
    if (!bytes) {
        status = errno == ENOENT || errno == ENOTDIR ? kIniMissing : kIniUnreadable;
        return std::nullopt;
    }
    status = kSuccess;
    return IniText(std::move(*bytes));
}

Status IniFile::Change(const std::function<Status(IniText&)>& change) const {
    const FileLock lock(FolderOf(file_), kLockWait);
    if (!lock.Held()) return kIniNotWritable;
    Restore();
    auto bytes = ReadWholeFile(file_);
    if (!bytes && !IsMissing(file_)) return kIniNotWritable;  // what cannot be read must not be replaced
    IniText text(bytes ? std::move(*bytes) : std::string());
    if (const Status status = change(text); status != kSuccess) return status;
    if (!Write(file_, text.Bytes())) return kIniNotWritable;
    (void)Write(SafetyCopy(), text.Bytes());  // the file itself holds the value
    return kSuccess;
}

}  // namespace kestrel
