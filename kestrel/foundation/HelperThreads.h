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
    /// Number of threads that share the work, including the one that makes the object; 1 or less: it works alone.
    explicit HelperThreads(int threads);
    ~HelperThreads();
    HelperThreads(const HelperThreads&) = delete;
    HelperThreads& operator=(const HelperThreads&) = delete;

    /// Number of threads that a pass on this thread may use, above 0.
    static int Count();
    /// Calls `part` with 0 .. `count` − 1, each once and in this order, on this thread and its helpers. A part returns
    /// false when it was aborted: then no further part is begun and the result is false. What a part throws is thrown
    /// here. Returns when no part is running any more. A part that calls `Share` itself gets no helpers.
    static bool Share(int count, const std::function<bool(int)>& part);

private:
    class Team;
    static HelperThreads*& Current();

    const int threads_;
    std::unique_ptr<Team> team_;  ///< made by the first `Share` that has use for it
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
