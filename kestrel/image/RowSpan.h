#pragma once
#include <algorithm>

namespace kestrel {

/// Rows `first` to `End() - 1` of a picture, counted from the bottom.
struct RowSpan {
    int first = 0;
    int count = 0;

    int End() const { return first + count; }
    /// With so many rows more on either side, as far as a picture of `height` rows has them.
    RowSpan Widened(int rows, int height) const {
        const int from = std::clamp(first - rows, 0, height);
        return {from, std::clamp(End() + rows, from, height) - from};
    }
    bool operator==(const RowSpan&) const = default;
};

}  // namespace kestrel
