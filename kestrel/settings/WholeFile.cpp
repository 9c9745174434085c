#include "kestrel/settings/WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace kestrel {
namespace {

/// Closes on every way out and keeps `errno` for the caller.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    operator int() const { return descriptor_; }
    bool Close() {
        if (descriptor_ < 0) return true;
        const int before = errno;
        const bool closed = close(std::exchange(descriptor_, -1)) == 0;
        if (closed) errno = before;
        return closed;
    }

private:
    int descriptor_;
};

bool WriteAll(int descriptor, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::filesystem::path& file) {
    const Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe must not stop us
    struct stat facts {};
    if (!source || fstat(source, &facts) != 0) return std::nullopt;
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

bool WriteWholeFile(const std::filesystem::path& file, const std::string& bytes) {
    std::error_code missing;
    const auto resolved = std::filesystem::canonical(file, missing);  // a link stays a link
    const std::filesystem::path target = missing ? file : resolved;
    const std::string beside = target.string() + ".new";
    struct stat facts {};
    const bool existed = stat(target.c_str(), &facts) == 0;

    Descriptor out(open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!out) return false;
    const bool written = (!existed || fchmod(out, facts.st_mode & 07777) == 0) && WriteAll(out, bytes) &&
                         fsync(out) == 0 && out.Close() && rename(beside.c_str(), target.c_str()) == 0;
    if (!written) {
        const int why = errno;
        unlink(beside.c_str());
        errno = why;
        return false;
    }
    auto folder = target.parent_path();
    if (folder.empty()) folder = ".";
    if (const Descriptor entry(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); entry) fsync(entry);
    return true;
}

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
