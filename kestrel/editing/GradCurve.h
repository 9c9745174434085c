#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A tone curve while it is edited: nodes in order of rising x, one of them selected. Coordinates are tones, 0..255.
/// What the commands do goes into the log. One thread at a time.
class KESTREL_API CGradCurve {
public:
    /// Tone `x` becomes `y`.
    struct Node {
        int x = kMaximum;
        int y = kMaximum;
        bool operator==(const Node&) const = default;
    };
    /// What `Mirror` puts in the place of (x, y).
    enum class Flip {
        Y,             ///< (x, 255 - y)
        X,             ///< (255 - x, y)
        Antidiagonal,  ///< (255 - y, 255 - x)
        Diagonal,      ///< (y, x)
    };

    static constexpr int kMinimum = 0;  ///< limits of both coordinates
    static constexpr int kMaximum = 255;
    static constexpr int kMaximumCount = 12;  ///< as many nodes as a parameter text holds
    static constexpr int kHitRadius = 40;     ///< a node is hit from so far away, in tones
    static constexpr int kNodeRadius = 4;     ///< of the mark that is drawn, in pixels
    static constexpr int kMinSpacing = 1;     ///< between the x of neighbours
    static constexpr int kNone = -1;          ///< no node

    /// The curve that changes nothing, its first node selected.
    CGradCurve();

    /// Keeps 0 to `kMaximumCount` nodes; new ones stand at (255, 255).
    void SetCount(int count);
    int GetCount() const { return static_cast<int>(nodes_.size()); }
    /// Takes the coordinates as they are; `Repair` follows where they come from outside. An index that is no node does
    /// nothing.
    void SetNode(int i, int x, int y);
    /// Gives a node and 0, or -1 and no point for an index that is no node.
    int GetNode(int i, Node* point) const;
    const std::vector<Node>& Nodes() const { return nodes_; }

    /// The selected node, or `kNone`.
    int GetSelected() const { return selected_; }
    /// An index that is no node selects none.
    void Select(int i);

    /// Straight segments in place of the spline.
    bool IsLinear() const { return linear_; }
    void SetLinear(bool linear) { linear_ = linear; }

    /// The gap between neighbours with the largest and the smallest distance, as the index of the node before it; the
    /// first of equal ones. `kNone` below two nodes.
    int LargestSpacing() const;
    int SmallestSpacing() const;

    /// Puts a node into the middle of the largest gap and selects it. False when there are as many nodes as may be, or
    /// when the middle would lie on the x of a neighbour.
    bool InsertAuto();
    /// Removes the node after the smallest gap.
    bool RemoveAuto();
    /// Removes a node; the first and the last one stay, for an index beyond them the node next to them goes. False, and
    /// nothing is removed, below three nodes.
    bool RemoveNode(int i);
    /// Puts a node at this place, held within the limits, and selects it. False when there are as many nodes as may be,
    /// or when the place is on the x of a node.
    bool InsertAt(int x, int y);

    /// The node next to this place, the first of equal ones, when it is no further away than `kHitRadius`; else
    /// `kNone`.
    int HitTest(int x, int y) const;

    /// Takes the selected node to a place, as far as `ConstrainSelected` lets it go; true when that held it back.
    bool MoveSelected(int x, int y);
    /// Holds the selected node within the limits and between its neighbours; true when that moved it.
    bool ConstrainSelected();

    void Mirror(Flip flip);

    /// Makes a curve of what a file or a text holds: within the limits, by rising x, neighbours `kMinSpacing` apart. Of
    /// less than two nodes it makes the curve that changes nothing.
    void Repair();

    /// What each tone becomes: the table that the filter works with.
    std::array<std::uint8_t, 256> Table() const;

    bool operator==(const CGradCurve&) const = default;

private:
    template <class Better>
    int FindSpacing(Better better) const;
    std::int64_t SquaredSpacing(int i) const;
    Node& At(int i) { return nodes_[static_cast<std::size_t>(i)]; }
    const Node& At(int i) const { return nodes_[static_cast<std::size_t>(i)]; }
    void InsertBefore(int i, Node node);
    void SortByX();

    std::vector<Node> nodes_;
    int selected_ = 0;
    bool linear_ = false;
};

}  // namespace kestrel
