#include "kestrel/diagnostics/LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

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

void LogFile::LimitWaiting(std::chrono::milliseconds total) {
    waitLeft_ = total.count() < 0 ? kUnlimited : std::chrono::microseconds(total).count();
}

std::chrono::microseconds LogFile::MaxWait() const {
    const std::int64_t left = waitLeft_.load();
    return left == kUnlimited ? kLockWait
                              : std::min<std::chrono::microseconds>(std::chrono::microseconds(left), kLockWait);
}

/// Takes both locks or none.
LogFile::Attempt LogFile::TryLock(std::chrono::steady_clock::time_point end) {
    // By the clock of the day: the compiler's thread checker does not see a lock that is waited for by the steady one.
    const auto left = end - std::chrono::steady_clock::now();
    std::unique_lock threads(threads_, std::chrono::system_clock::now() + left);
    if (!threads.owns_lock()) return Attempt::kBusy;
    if (stale_ && IsOpen()) Open(std::filesystem::path(path_));
    if (!IsOpen()) return Attempt::kClosed;
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK || errno == EINTR ? Attempt::kBusy : Attempt::kClosed;
    threads.release();
    EndFragment();
    return Attempt::kHeld;
}

LogFile::Turn::Turn(LogFile& file) : file_(file) {
    using Clock = std::chrono::steady_clock;
    using std::chrono::microseconds;
    const auto begin = Clock::now();
    const auto end = begin + file.MaxWait();
    Attempt attempt = file.TryLock(end);
    held_ = attempt == Attempt::kHeld;
    if (attempt != Attempt::kBusy) return;
    for (auto pause = microseconds(20); attempt == Attempt::kBusy && Clock::now() < end;) {
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, microseconds(2000));
        attempt = file.TryLock(end);
    }
    held_ = attempt == Attempt::kHeld;
    const auto waited = std::chrono::duration_cast<microseconds>(Clock::now() - begin).count();
    for (std::int64_t left = file.waitLeft_.load(); left != kUnlimited;)
        if (file.waitLeft_.compare_exchange_weak(left, std::max<std::int64_t>(left - waited, 0))) break;
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

/// Whatever stands after the last line feed, a killed writer's piece or a stranger's text, ends before the next line.
/// An error without a text is the exception: what follows it has always been glued to it.
void LogFile::EndFragment() const {
    const off_t size = lseek(descriptor_, 0, SEEK_END);
    std::string tail(kNoErrorText.size() + 1, '\n');  // the file begins as if after a line feed
    const auto length = std::min<off_t>(size, static_cast<off_t>(tail.size()));
    if (length <= 0) return;
    if (pread(descriptor_, tail.data() + tail.size() - length, static_cast<std::size_t>(length), size - length) !=
        length)
        return;
    const bool errorWithoutText = tail.front() == '\n' && tail.ends_with(kNoErrorText);
    if (tail.back() != '\n' && !errorWithoutText) (void)!write(descriptor_, "\r\n", 2);
}

}  // namespace kestrel
