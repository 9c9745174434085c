#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "kestrel/kernels/ToneCurve.h"

namespace kestrel {

/// A tone curve by its nodes, in order of rising x. A parameter text has twelve slots for each curve, so that a count
/// above it, which only a text written by hand can hold, means the twelve.
class CGradCurve {
public:
    static constexpr int kSlots = 12;
    static constexpr int kLargest = 255;  ///< limit of both coordinates

    /// How many of the slots are nodes; any number may be set, and is kept for the text.
    void SetCount(std::int32_t count) { count_ = count; }
    std::int32_t GetCount() const { return count_; }

    /// A slot 0..11, held within the limits. Any other index does nothing.
    void SetNode(int i, std::int32_t x, std::int32_t y) {
        if (i < 0 || i >= kSlots) return;
        nodes_[static_cast<std::size_t>(i)] = {std::clamp(x, 0, kLargest), std::clamp(y, 0, kLargest)};
    }
    /// Gives a node and 0; -1 and no point for an index that is no node.
    int GetNode(int i, kernels::CurveNode* point) const {
        if (i < 0 || i >= static_cast<int>(Nodes().size())) return -1;
        *point = nodes_[static_cast<std::size_t>(i)];
        return 0;
    }

    /// The nodes that count: none for a count below 1.
    std::span<const kernels::CurveNode> Nodes() const {
        return std::span(nodes_).first(static_cast<std::size_t>(std::clamp(count_, 0, kSlots)));
    }
    /// For the readers of texts, which hold coordinates within the limits.
    std::int32_t& Count() { return count_; }
    kernels::CurveNode& Slot(std::size_t i) { return nodes_[i]; }
    /// All slots, nodes or not.
    std::span<const kernels::CurveNode, kSlots> Slots() const { return nodes_; }

    bool operator==(const CGradCurve&) const = default;

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
