#include "kestrel/foundation/FileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <random>
#include <system_error>
#include <utility>

namespace kestrel {
namespace {

constexpr int kMostLinks = 40;  // as the system follows them
constexpr int kMostNames = 100;
constexpr std::size_t kNameKept = 200;  // of 255: leaves room for what is put around it
constexpr std::size_t kBuffer = 1 << 16;

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

/// The path behind a chain of symbolic links, whether or not something is there.
std::string FollowLinks(std::string path) {
    for (int i = 0; i < kMostLinks; ++i) {
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

}  // namespace

FileReplacement::FileReplacement(const std::string& path) {
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
    OpenBeside();
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
    const std::string stem = target_.substr(0, start) + "." + target_.substr(start, kNameKept) + ".";
    std::random_device random;
    for (int i = 0; i < kMostNames; ++i) {
        const std::string name = stem + std::to_string(random()) + ".part";
        if (make(name.c_str())) {
            beside_ = name;
            return true;
        }
        if (errno != EEXIST) break;
    }
    return false;
}

void FileReplacement::OpenBeside() {
    if (target_.empty() || target_.back() == '/') {
        errno = target_.empty() ? ENOENT : EISDIR;
        Fail("cannot create the file");
        return;
    }
    // A file without a name goes away by itself, even when the process is killed; not every file system has them.
    int descriptor = open(FolderOf(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    if (descriptor >= 0 && access(PathOf(descriptor).c_str(), F_OK) != 0) {
        close(descriptor);
        descriptor = -1;
    }
    unnamed_ = descriptor >= 0;
    if (!unnamed_)
        MakeBeside([&descriptor](const char* name) {
            descriptor = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            return descriptor >= 0;
        });
    file_ = descriptor >= 0 ? fdopen(descriptor, "w+b") : nullptr;
    if (!file_) {
        Fail("cannot create the file");
        if (descriptor >= 0) close(descriptor);
        return;
    }
    std::setvbuf(file_, nullptr, _IOFBF, kBuffer);
}

bool FileReplacement::Fail(const char* what) {
    if (error_.empty()) {
        code_ = errno;
        error_ = std::string(what) + ": " + std::generic_category().message(code_);
    }
    return false;
}

bool FileReplacement::Commit() {
    if (!file_) return false;
    const int descriptor = fileno(file_);
    if (std::ferror(file_) || std::fflush(file_) != 0) return Fail("cannot write the file");
    if (!direct_) {
        // Another owner's file stays theirs where the system allows it; the mode comes after, as a new owner clears
        // bits of it.
        if (replaces_ && (owner_ != geteuid() || group_ != getegid()) && fchown(descriptor, owner_, group_) != 0)
            errno = 0;
        if (replaces_ && fchmod(descriptor, mode_) != 0) return Fail("cannot set the mode of the file");
        if (fsync(descriptor) != 0 && errno != EINVAL) return Fail("cannot write the file");
        if (unnamed_ && !MakeBeside([source = PathOf(descriptor)](const char* name) {
                return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
            }))
            return Fail("cannot create the file");
    }
    std::FILE* file = std::exchange(file_, nullptr);
    if (std::fclose(file) != 0) return Fail("cannot write the file");
    if (direct_) return true;
    if (std::rename(beside_.c_str(), target_.c_str()) != 0) return Fail("cannot replace the file");
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
