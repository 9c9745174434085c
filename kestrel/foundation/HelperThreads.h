#pragma once
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Threads that a host lends to passes over whole pictures. While an object lives, requests that are made on its thread
/// share the rows of such passes with it; the bytes are the same for any number of threads. Its threads start when the
/// first pass has use for them, and end with it. Without an object no thread is ever started. Objects may nest, as
/// scopes do; the innermost counts.
class KESTREL_API HelperThreads {
public:
    /// So many threads share the work, the one that makes the object among them; 1 or less: it works alone.
    explicit HelperThreads(int threads);
    ~HelperThreads();
    HelperThreads(const HelperThreads&) = delete;
    HelperThreads& operator=(const HelperThreads&) = delete;

    /// Number of threads that a pass on this thread may use, above 0.
    static int Count();
    /// Calls `part` with 0 .. `count` − 1, each once and in this order, on this thread and its helpers. False, and the
    /// parts that are left are not begun, as soon as one returned false, as it does when it was aborted. What a part
    /// throws is thrown here. Back when no part is running. Parts do not share their work again.
    static bool Share(int count, const std::function<bool(int)>& part);

private:
    class Team;
    static HelperThreads*& Current();

    const int threads_;
    std::unique_ptr<Team> team_;  ///< once there was use for it
    HelperThreads* const outer_;
};

/// Shares rows `first` to `end` − 1 as parts of neighbouring rows: `work(from, to)` does some of them and returns false
/// when it was aborted.
template <class Work>
bool ShareRows(std::int64_t first, std::int64_t end, const Work& work) {
    constexpr std::int64_t kMinimumRows = 16;  // fewer cost less than handing them over
    constexpr std::int64_t kPartsPerThread = 4;
    const std::int64_t rows = std::max<std::int64_t>(end - first, 0);
    const std::int64_t threads = HelperThreads::Count();
    const std::int64_t parts =
        threads == 1 ? 1 : std::clamp<std::int64_t>(rows / kMinimumRows, 1, threads * kPartsPerThread);
    return HelperThreads::Share(static_cast<int>(parts), [&](int part) {
        return work(first + rows * part / parts, first + rows * (part + 1) / parts);
    });
}

}  // namespace kestrel
