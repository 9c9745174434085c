#pragma once
#include <algorithm>
#include <cstdint>
#include <limits>

namespace kestrel {

/// A size or place in pixels, held within what a picture's geometry can say.
inline int Saturated(std::int64_t value) {
    return static_cast<int>(
        std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace kestrel
