#include "kestrel/storage/compound/FileStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <utility>

namespace kestrel::compound {
namespace {

constexpr mode_t kNewMode = 0666;  // less the umask
constexpr int kNameTries = 100;

/// Closes on every way out until released.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    operator int() const { return descriptor_; }
    int Release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};

Error OpeningError(int cause) {
    switch (cause) {
        case ENOENT:
            return Error::kNotFound;
        case ENOTDIR:
        case ELOOP:
        case ENAMETOOLONG:
            return Error::kPathNotFound;
        case EEXIST:
            return Error::kExists;
        case EMFILE:
        case ENFILE:
            return Error::kTooManyOpenFiles;
        case ENOSPC:
        case EDQUOT:
            return Error::kDiskFull;
        case ENOMEM:
            return Error::kOutOfMemory;
        case EIO:
            return Error::kReadFault;
        case ETXTBSY:
            return Error::kShareViolation;
        default:  // EACCES, EPERM, EROFS, EISDIR, ENXIO, ...
            return Error::kAccessDenied;
    }
}

Error WritingError(int cause) {
    switch (cause) {
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return Error::kDiskFull;
        case ENOMEM:
            return Error::kOutOfMemory;
        default:
            return Error::kWriteFault;
    }
}

std::string FolderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

Error Lock(int descriptor) {
    int result;
    do result = flock(descriptor, LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    // A network file system may want write access for an exclusive lock; a shared one still keeps writers out.
    if (result != 0 && errno == EBADF) result = flock(descriptor, LOCK_SH | LOCK_NB);
    if (result == 0) return Error::kNone;
    return errno == EWOULDBLOCK ? Error::kShareViolation : Error::kLockViolation;
}

/// Whether the path still names the open file: it may have been replaced between the opening and the lock.
bool StillNamed(const std::string& path, int descriptor) {
    struct stat named {};
    struct stat opened {};
    return stat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 && named.st_ino == opened.st_ino &&
           named.st_dev == opened.st_dev;
}

/// A new file in the folder, without a name where the file system can do that; otherwise `name` holds its name.
int OpenBeside(const std::string& path, std::string& name) {
    const int unnamed = open(FolderOf(path).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kNewMode);
    if (unnamed >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return unnamed;
    for (int i = 0; i < kNameTries; ++i) {
        name = path + "." + std::to_string(getpid()) + "." + std::to_string(i) + ".new";
        const int named = open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, kNewMode);
        if (named >= 0 || errno != EEXIST) return named;
    }
    name.clear();
    return -1;
}

Error FlushFolder(const std::string& path) {
    const Descriptor folder(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder < 0) return Error::kNone;  // a folder that may not be read cannot be flushed; the name is made
    return fsync(folder) == 0 || errno == EINVAL ? Error::kNone : WritingError(errno);
}

}  // namespace

Result<int> FileStore::OpenLocked(const std::string& path, Access access) {
    const int flags =
        (access == Access::kRead ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NONBLOCK;  // a pipe must not stop us
    Descriptor descriptor(open(path.c_str(), flags));
    if (descriptor < 0) {
        const int cause = errno;
        const bool folder = faccessat(AT_FDCWD, FolderOf(path).c_str(), F_OK, 0) == 0;
        return cause == ENOENT && !folder ? Error::kPathNotFound : OpeningError(cause);
    }
    struct stat facts {};
    if (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) return Error::kAccessDenied;
    if (const Error error = Lock(descriptor); error != Error::kNone) return error;
    if (!StillNamed(path, descriptor)) return Error::kShareViolation;
    return descriptor.Release();
}

Result<std::unique_ptr<FileStore>> FileStore::Open(const std::string& path, Access access) {
    const auto descriptor = OpenLocked(path, access);
    if (!descriptor) return descriptor.Failure();
    return std::unique_ptr<FileStore>(new FileStore(*descriptor, access == Access::kReadWrite));
}

Result<std::unique_ptr<FileStore>> FileStore::CreateNew(const std::string& path,
                                                        std::span<const std::uint8_t> content) {
    std::string beside;
    Descriptor descriptor(OpenBeside(path, beside));
    if (descriptor < 0) return errno == ENOENT ? Error::kPathNotFound : OpeningError(errno);
    Error error = Lock(descriptor);
    std::unique_ptr<FileStore> store(new FileStore(descriptor.Release(), true));
    if (error == Error::kNone) error = store->WriteAt(0, content);
    if (error == Error::kNone) error = store->Flush();
    if (error == Error::kNone) {
        const std::string from = beside.empty() ? "/proc/self/fd/" + std::to_string(store->descriptor_) : beside;
        if (linkat(AT_FDCWD, from.c_str(), AT_FDCWD, path.c_str(), beside.empty() ? AT_SYMLINK_FOLLOW : 0) != 0)
            error = OpeningError(errno);
    }
    if (!beside.empty()) unlink(beside.c_str());
    if (error == Error::kNone) error = FlushFolder(path);
    if (error != Error::kNone) return error;
    return store;
}

FileStore::~FileStore() { close(descriptor_); }

Result<std::uint64_t> FileStore::Size() {
    struct stat facts {};
    if (fstat(descriptor_, &facts) != 0) return Error::kReadFault;
    return static_cast<std::uint64_t>(facts.st_size);
}

Result<std::size_t> FileStore::ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) {
    std::size_t done = 0;
    while (done < to.size()) {
        const ssize_t count = SystemRead(to.data() + done, to.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return Error::kReadFault;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

Error FileStore::WriteAt(std::uint64_t offset, std::span<const std::uint8_t> from) {
    if (!writable_) return Error::kAccessDenied;
    if (offset + from.size() > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return Error::kTooLarge;
    std::size_t done = 0;
    while (done < from.size()) {
        const ssize_t count = SystemWrite(from.data() + done, from.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return WritingError(errno);
        if (count == 0) return Error::kDiskFull;  // nothing was written and nothing explains it
        done += static_cast<std::size_t>(count);
    }
    return Error::kNone;
}

Error FileStore::SetSize(std::uint64_t size) {
    if (!writable_) return Error::kAccessDenied;
    int result;
    do result = SystemTruncate(static_cast<off_t>(size));
    while (result != 0 && errno == EINTR);
    return result == 0 ? Error::kNone : WritingError(errno);
}

Error FileStore::Flush() {
    int result;
    do result = SystemFlush();
    while (result != 0 && errno == EINTR);
    return result == 0 ? Error::kNone : WritingError(errno);
}

ssize_t FileStore::SystemRead(void* to, std::size_t count, off_t offset) {
    return pread(descriptor_, to, count, offset);
}

ssize_t FileStore::SystemWrite(const void* from, std::size_t count, off_t offset) {
    return pwrite(descriptor_, from, count, offset);
}

int FileStore::SystemTruncate(off_t size) { return ftruncate(descriptor_, size); }

int FileStore::SystemFlush() { return fdatasync(descriptor_); }

}  // namespace kestrel::compound
