#pragma once
#include <algorithm>
#include <atomic>
#include <cstdint>

#include "kestrel/framework/FilterResult.h"

namespace kestrel {

/// The rows of one picture, handed out in bands to the threads that make it.
class BandWork {
public:
    BandWork(int rows, int bandRows) : rows_(rows), bandRows_(bandRows) {}

    /// Number of bands.
    int Count() const { return static_cast<int>((rows_ + bandRows_ - 1) / bandRows_); }
    /// Makes bands by `make(first row, rows)` until none is left or one was not done. From any number of threads.
    template <class Make>
    void Take(const Make& make) {
        while (result_ == S_OK) {
            const std::int64_t first = next_.fetch_add(bandRows_);
            if (first >= rows_) return;
            HRESULT none = S_OK;
            const FilterResult made =
                make(static_cast<int>(first), static_cast<int>(std::min(bandRows_, rows_ - first)));
            if (made.Failed())
                result_.compare_exchange_strong(none, HRESULT{made});  // the first failure is the one that is told
        }
    }
    /// What the whole picture came to, once all threads are back.
    FilterResult Result() const { return result_.load(); }

private:
    const std::int64_t rows_;
    const std::int64_t bandRows_;
    std::atomic<std::int64_t> next_{0};
    std::atomic<HRESULT> result_{S_OK};
};

}  // namespace kestrel
