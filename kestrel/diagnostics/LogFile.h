#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

namespace kestrel {

/// What stands for an error text that cannot be had; it has no line end.
inline constexpr std::string_view kNoErrorText = "\t\t Error: ";

/// A log that several threads and processes append to, one at a time. The lock between processes lies on the file
/// itself: all who write it share it, whoever they are, and it falls with a process that dies.
class LogFile {
public:
    /// How long a writer waits for the others before it drops its text.
    static constexpr std::chrono::milliseconds kLockWait{10000};

    LogFile() = default;
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile() { Close(); }

    /// Opens or makes the file; false with `errno`.
    bool Open(const std::filesystem::path& file);
    void Close();
    bool IsOpen() const { return descriptor_ >= 0; }
    const std::filesystem::path& Path() const { return path_; }
    /// Bounds the waiting of all turns together; once it is used up, a turn is tried once and never waited for.
    /// Negative: no such bound.
    void LimitWaiting(std::chrono::milliseconds total);
    /// How long the next turn may wait.
    std::chrono::microseconds MaxWait() const;

    /// After a fork: the child must not share the parent's lock. The file is opened afresh at the next turn.
    void ReopenAtNextTurn() { stale_ = true; }

    /// The right to write; another thread or process has it when `Held` is false after the wait. Waiting for another
    /// process does not hold the mutex of this one's threads.
    class Turn {
    public:
        explicit Turn(LogFile& file);
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn();

        bool Held() const { return held_; }
        /// Appends whole; a part that a full disk let through is taken back. False with `errno`.
        [[nodiscard]] bool Append(std::string_view bytes) const;
        void Flush() const;

    private:
        LogFile& file_;
        bool held_ = false;
    };

    /// Orders the threads of this process; taken around a fork.
    std::timed_mutex& ThreadMutex() { return threads_; }

private:
    enum class Attempt { kHeld, kBusy, kClosed };
    Attempt TryLock(std::chrono::steady_clock::time_point end);
    void EndFragment() const;

    static constexpr std::int64_t kUnlimited = -1;

    std::filesystem::path path_;
    int descriptor_ = -1;
    bool stale_ = false;
    std::atomic<std::int64_t> waitLeft_{kUnlimited};  ///< microseconds
    std::timed_mutex threads_;
};

}  // namespace kestrel
