#pragma once
#include <limits>

namespace kestrel {

/// A size in pixels cut toward zero and held to 32 bits, whatever a text asked for. No memory holds a picture of
/// the largest sizes, so that a held size ends in a failed request and not in a wrong picture.
constexpr int SizeFrom(double value) {
    constexpr double kMaximum = std::numeric_limits<int>::max();
    if (value >= kMaximum) return std::numeric_limits<int>::max();
    return value > -kMaximum ? static_cast<int>(value) : -std::numeric_limits<int>::max();
}

}  // namespace kestrel
