#include "kestrel/diagnostics/LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "kestrel/settings/WholeFile.h"

namespace kestrel {
namespace {

int OpenLog(const std::filesystem::path& file) {
    const int descriptor =
        open(file.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);  // a pipe must not stop us
    struct stat facts {};
    if (descriptor < 0 || (fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode))) return descriptor;
    close(descriptor);
    errno = EINVAL;
    return -1;
}

}  // namespace

bool LogFile::Open(const std::filesystem::path& file) {
    Close();
    descriptor_ = OpenLog(file);
    path_ = file;
    stale_ = false;
    return IsOpen();
}

void LogFile::Close() {
    if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
}

LogFile::Turn::Turn(LogFile& file) : file_(file) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(kLockWait);
    if (!file.threads_.try_lock_until(end)) return;
    if (file.stale_ && file.IsOpen()) file.Open(std::filesystem::path(file.path_));
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    held_ = file.IsOpen() && LockDescriptor(file.descriptor_, static_cast<int>(left.count()));
    if (held_)
        file.DropFragment();
    else
        file.threads_.unlock();
}

LogFile::Turn::~Turn() {
    if (!held_) return;
    flock(file_.descriptor_, LOCK_UN);
    file_.threads_.unlock();
}

bool LogFile::Turn::Append(std::string_view bytes) const {
    const off_t before = lseek(file_.descriptor_, 0, SEEK_END);
    while (!bytes.empty()) {
        const ssize_t count = write(file_.descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int why = errno;
            (void)!ftruncate(file_.descriptor_, before);
            errno = why;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void LogFile::Turn::Flush() const { fdatasync(file_.descriptor_); }

/// A writer that was killed within its line left a piece without a line end, and the next line must not be glued to it.
void LogFile::DropFragment() const {
    const off_t size = lseek(descriptor_, 0, SEEK_END);
    char last = '\n';
    if (size <= 0 || pread(descriptor_, &last, 1, size - 1) != 1 || last == '\n') return;

    constexpr off_t kLookBack = 1 << 16;  // far more than one turn of the log writes as one line
    const off_t begin = std::max<off_t>(size - kLookBack, 0);
    std::string tail(static_cast<std::size_t>(size - begin), '\0');
    if (pread(descriptor_, tail.data(), tail.size(), begin) != size - begin) return;
    const auto feed = tail.rfind('\n');
    if (tail.substr(feed + 1) == kNoErrorText) return;
    if (feed != std::string::npos || begin == 0)
        (void)!ftruncate(descriptor_, begin + static_cast<off_t>(feed + 1));
    else
        (void)!write(descriptor_, "\r\n", 2);  // something else was copied in
}

}  // namespace kestrel
