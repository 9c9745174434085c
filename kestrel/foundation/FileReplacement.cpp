#include "kestrel/foundation/FileReplacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <mutex>
#include <random>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace kestrel {
namespace {

constexpr int kMaxLinks = 40;  // as the system follows them
constexpr int kMaxNames = 100;
constexpr std::size_t kNameKept = 200;  // of 255: leaves room for what is put around it
constexpr std::size_t kBuffer = 1 << 16;
constexpr std::string_view kMark = ".kestrel-";  // in front of the number of a new file's name
constexpr std::string_view kPart = ".part";
constexpr mode_t kSetIds = S_ISUID | S_ISGID;

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

/// The path at the end of a chain of symbolic links, whether or not something is there.
std::string FollowLinks(std::string path) {
    for (int i = 0; i < kMaxLinks; ++i) {
        char link[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), link, sizeof link);
        if (length <= 0) break;
        const std::string next(link, static_cast<std::size_t>(length));
        path = next.front() == '/' ? next : FolderOf(path) + "/" + next;
    }
    return path;
}

/// Where the system shows an open file, with or without a name.
std::string PathOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

/// Is this the name of a file that was being written beside its target?
bool IsPartName(std::string_view name) {
    if (!name.starts_with('.') || !name.ends_with(kPart)) return false;
    name.remove_suffix(kPart.size());
    const auto mark = name.rfind(kMark);
    if (mark == std::string_view::npos) return false;
    const auto number = name.substr(mark + kMark.size());
    return !number.empty() && std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Removes a part whose writer is dead: a living one holds the lock. Nothing but a part of this very name goes, should
/// the writer finish meanwhile.
void RemoveOrphan(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return;
    struct stat opened {
    }, named{};
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0 && fstat(descriptor, &opened) == 0 && S_ISREG(opened.st_mode) &&
        lstat(path.c_str(), &named) == 0 && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev)
        unlink(path.c_str());
    close(descriptor);
}

/// Marks a new file as written by a living process, until its last descriptor is closed. False: somebody who clears
/// orphans away was faster, and the file has no name any more. On a file system without locks nothing is cleared.
bool LockPart(int descriptor) {
    (void)flock(descriptor, LOCK_SH);
    struct stat status {};
    return fstat(descriptor, &status) != 0 || status.st_nlink > 0;
}

/// Once for each folder and process: a look at every name costs too much for each file.
void RemoveOrphans(const std::string& folder) {
    static std::mutex mutex;
    static std::set<std::string>& seen = *new std::set<std::string>;
    static pid_t process = 0;
    {
        const std::lock_guard guard(mutex);
        if (std::exchange(process, getpid()) != getpid()) seen.clear();  // a forked child looks for itself
        if (!seen.insert(folder).second) return;
    }
    std::error_code error;  // a folder that cannot be listed is not cleared
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (IsPartName(at->path().filename().native())) RemoveOrphan(at->path().native());
}

}  // namespace

FileReplacement::FileReplacement(const std::string& path, Making making) {
    struct stat status;
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        direct_ = true;
        file_ = std::fopen(path.c_str(), "wbe");
        if (!file_) Fail("cannot open the file");
        return;
    }
    if (!exists && errno != ENOENT) {
        Fail("cannot reach the file");
        return;
    }
    target_ = FollowLinks(path);
    if (exists) {
        // A rename would replace a file that its owner has protected.
        if (access(target_.c_str(), W_OK) != 0) {
            Fail("cannot write the file");
            return;
        }
        replaces_ = true;
        mode_ = status.st_mode & 07777;
        owner_ = status.st_uid;
        group_ = status.st_gid;
    }
    OpenBeside(making);
}

FileReplacement::~FileReplacement() {
    if (file_) std::fclose(file_);
    if (!beside_.empty()) unlink(beside_.c_str());
}

/// Tries new names beside the target until `make(name)` succeeds; false when it fails for another reason than a name
/// that is taken.
template <class Make>
bool FileReplacement::MakeBeside(const Make& make) {
    const std::size_t start = target_.rfind('/') + 1;  // 0 when there is none
    const std::string stem = target_.substr(0, start).append(".").append(target_, start, kNameKept).append(kMark);
    std::random_device random;
    for (int i = 0; i < kMaxNames; ++i) {
        const std::string name = (stem + std::to_string(random())).append(kPart);
        if (make(name.c_str())) {
            beside_ = name;
            return true;
        }
        if (errno != EEXIST) break;
    }
    return false;
}

void FileReplacement::OpenBeside(Making making) {
    if (target_.empty() || target_.back() == '/') {
        errno = target_.empty() ? ENOENT : EISDIR;
        Fail("cannot create the file");
        return;
    }
    RemoveOrphans(FolderOf(target_));
    // A file without a name goes away by itself, even when the process is killed; not every file system has them.
    int descriptor = -1;
    if (making == Making::kUnnamedWherePossible)
        descriptor = open(FolderOf(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    if (descriptor >= 0 && access(PathOf(descriptor).c_str(), F_OK) != 0) {
        close(descriptor);
        descriptor = -1;
    }
    unnamed_ = descriptor >= 0;
    if (unnamed_)
        LockPart(descriptor);
    else
        MakeBeside([&descriptor](const char* name) {
            descriptor = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (descriptor < 0 || LockPart(descriptor)) return descriptor >= 0;
            close(std::exchange(descriptor, -1));
            errno = EEXIST;
            return false;
        });
    file_ = descriptor >= 0 ? fdopen(descriptor, "w+b") : nullptr;
    if (!file_) {
        Fail("cannot create the file");
        if (descriptor >= 0) close(descriptor);
        return;
    }
    buffer_ = std::make_unique_for_overwrite<char[]>(kBuffer);  // given none, the library takes a small one
    std::setvbuf(file_, buffer_.get(), _IOFBF, kBuffer);
}

bool FileReplacement::Fail(const char* what) {
    if (error_.empty()) {
        code_ = errno;
        error_ = std::string(what) + ": " + std::generic_category().message(code_);
    }
    return false;
}

/// Another owner's file stays theirs where the system allows it. Otherwise the rights that it lends to others would be
/// those of a new owner, who never lent them.
bool FileReplacement::SetMode(int descriptor) const {
    if (!replaces_) return true;
    const bool same = owner_ == geteuid() && group_ == getegid();
    const bool kept = same || fchown(descriptor, owner_, group_) == 0;
    return fchmod(descriptor, kept ? mode_ : mode_ & ~kSetIds) == 0;  // after the owner: a new one clears bits of it
}

bool FileReplacement::Commit() {
    if (!file_) return false;
    const int descriptor = fileno(file_);
    if (std::ferror(file_) || std::fflush(file_) != 0) return Fail("cannot write the file");
    if (!direct_) {
        if (!SetMode(descriptor)) return Fail("cannot set the mode of the file");
        if (fsync(descriptor) != 0 && errno != EINVAL) return Fail("cannot write the file");
        if (unnamed_ && !MakeBeside([source = PathOf(descriptor)](const char* name) {
                return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
            }))
            return Fail("cannot create the file");
    }
    const int lock = direct_ ? -1 : fcntl(descriptor, F_DUPFD_CLOEXEC, 0);  // outlives the stream
    const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
    const bool placed = closed && (direct_ || std::rename(beside_.c_str(), target_.c_str()) == 0);
    const int why = errno;
    if (lock >= 0) close(lock);
    errno = why;
    if (!closed) return Fail("cannot write the file");
    if (!placed) return Fail("cannot replace the file");
    if (direct_) return true;
    beside_.clear();
    // The name itself is safe once its folder is; file systems without that are no failure.
    const int folder = open(FolderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
    return true;
}

std::string WriteWhole(const std::string& path, std::span<const std::uint8_t> bytes) {
    FileReplacement file(path);
    if (!file.Stream()) return file.Error();
    // Commit sees and names a failed write.
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file.Stream());
    return file.Commit() ? std::string() : file.Error();
}

}  // namespace kestrel
