#pragma once
#include <cstdint>

#include "kestrel/foundation/AbortFlag.h"

namespace kestrel::kernels {

/// A picture as row tables, the bottom row first: 24-bit rows of blue, green, red and 8-bit mask rows beside them, 255
/// where nothing is. A picture may have either plane alone; the table of the other is then null. Owns nothing.
struct Planes {
    std::uint8_t* const* rows = nullptr;
    std::uint8_t* const* maskRows = nullptr;
    int width = 0;   ///< pixels that count; the rows may be longer
    int height = 0;  ///< rows that count
};

using kestrel::AbortFlag;
inline bool Aborted(const AbortFlag& abort) { return abort.IsSet(); }

}  // namespace kestrel::kernels
