#pragma once
#include <cstdint>
#include <span>

#include "kestrel/kernels/ByteTable.h"

namespace kestrel::kernels {

/// A point of a tone curve: tone `x` becomes `y`.
struct CurveNode {
    std::int32_t x;
    std::int32_t y;
    bool operator==(const CurveNode&) const = default;
};

/// Most nodes that a curve may have.
inline constexpr std::size_t kMostCurveNodes = 16;

/// Table of the natural cubic spline through nodes of rising x: flat before the first and from the last node on,
/// rounded by adding a half, clamped. False, and the table untouched, when two neighbours, or the neighbours of a node,
/// have the same x, or when there are fewer than two nodes or too many. Nodes out of order give some table.
bool SplineTable(std::span<const CurveNode> nodes, ByteTable& table);

/// Table of the straight segments through nodes, flat outside. False, and the table untouched, below two nodes.
/// The y of the nodes must lie in 0..255.
bool LinearTable(std::span<const CurveNode> nodes, ByteTable& table);

/// One of the two; a curve that no table can be made of changes nothing.
ByteTable CurveTable(std::span<const CurveNode> nodes, bool linear);

}  // namespace kestrel::kernels
