#pragma once
#include <atomic>

namespace kestrel {

/// Tells a long pass to end: set from any thread, asked by the pass before each row.
class AbortFlag {
public:
    AbortFlag(bool abort = false) : state_(abort ? 1 : 0) {}

    void Set(bool abort) { state_.store(abort ? 1 : 0, std::memory_order_relaxed); }
    /// Sets itself after `rows` more questions, so that a test can end a pass at any row.
    void SetAfter(int rows) { state_.store(-1 - rows, std::memory_order_relaxed); }
    bool IsSet() const {
        const int state = state_.load(std::memory_order_relaxed);
        return state != 0 && (state > 0 || CountDown());
    }

private:
    bool CountDown() const {
        if (state_.fetch_add(1, std::memory_order_relaxed) + 1 < 0) return false;
        state_.store(1, std::memory_order_relaxed);
        return true;
    }

    mutable std::atomic<int> state_;  ///< 0 go on, 1 set, below 0: rows that are left, counted from -1 down
};

}  // namespace kestrel
