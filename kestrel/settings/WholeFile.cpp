#include "kestrel/settings/WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace kestrel {
namespace {

/// Closes on every way out and keeps `errno` for the caller.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        const int before = errno;
        if (descriptor_ >= 0) close(descriptor_);
        errno = before;
    }

    operator int() const { return descriptor_; }

private:
    int descriptor_;
};

/// Takes an exclusive `flock`, waiting at most so long. Among objects of one process it excludes as well, since each
/// has a descriptor of its own.
bool LockDescriptor(int descriptor, int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    auto pause = std::chrono::microseconds(20);
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return false;
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(2000));
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::filesystem::path& file) {
    const Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe must not stop us
    struct stat facts {};
    if (source < 0 || fstat(source, &facts) != 0) return std::nullopt;
    if (!S_ISREG(facts.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(facts.st_size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = read(source, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;  // it became shorter meanwhile
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

FileLock::FileLock(const std::filesystem::path& file, int milliseconds)
    : descriptor_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (descriptor_ < 0 || LockDescriptor(descriptor_, milliseconds)) return;
    close(descriptor_);
    descriptor_ = -1;
}

FileLock::~FileLock() {
    if (descriptor_ >= 0) close(descriptor_);
}

}  // namespace kestrel
