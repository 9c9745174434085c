#pragma once
#include <limits>

namespace kestrel {

/// A size in pixels cut toward zero and held to 32 bits, whatever a text asked for. Pictures of the greatest sizes are
/// beyond memory, so that a held size ends in a failed request and not in a wrong picture.
constexpr int SizeFrom(double value) {
    constexpr double kGreatest = std::numeric_limits<int>::max();
    if (value >= kGreatest) return std::numeric_limits<int>::max();
    return value > -kGreatest ? static_cast<int>(value) : -std::numeric_limits<int>::max();
}

}  // namespace kestrel
