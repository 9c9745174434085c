#pragma once
#include <atomic>
#include <cstdint>

namespace kestrel::kernels {

/// A picture as row tables, the bottom row first: 24-bit rows of blue, green, red and 8-bit mask rows beside them, 255
/// where nothing is. A picture may have either plane alone; the table of the other is then null. Owns nothing.
struct Planes {
    std::uint8_t* const* rows = nullptr;
    std::uint8_t* const* maskRows = nullptr;
    int width = 0;   ///< pixels that count; the rows may be longer
    int height = 0;  ///< rows that count
};

/// Set from another thread to end a long pass; polled once per row.
using AbortFlag = std::atomic<bool>;

inline bool Aborted(const AbortFlag& abort) { return abort.load(std::memory_order_relaxed); }

}  // namespace kestrel::kernels
