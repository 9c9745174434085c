#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "kestrel/kernels/ToneCurve.h"

namespace kestrel {

/// A tone curve as a parameter text holds it: a count and twelve slots for nodes, in order of rising x. A count above
/// twelve, which only a text written by hand can hold, means the twelve.
class CurveSlots {
public:
    static constexpr int kSlots = 12;
    static constexpr int kLargest = 255;  ///< limit of both coordinates

    /// How many of the slots are nodes; any number may be set, and is kept for the text.
    void SetCount(std::int32_t count) { count_ = count; }
    std::int32_t GetCount() const { return count_; }

    /// The nodes that count: none for a count below 1.
    std::span<const kernels::CurveNode> Nodes() const {
        return std::span(nodes_).first(static_cast<std::size_t>(std::clamp(count_, 0, kSlots)));
    }
    /// For the readers of texts, which hold coordinates within the limits.
    std::int32_t& Count() { return count_; }
    kernels::CurveNode& Slot(std::size_t i) { return nodes_[i]; }

    bool operator==(const CurveSlots&) const = default;

private:
    std::int32_t count_ = 2;
    std::array<kernels::CurveNode, kSlots> nodes_ = [] {
        std::array<kernels::CurveNode, kSlots> nodes;
        nodes.fill({kLargest, kLargest});
        nodes[0] = {0, 0};
        return nodes;
    }();
};

}  // namespace kestrel
