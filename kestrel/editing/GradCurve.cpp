#include "kestrel/editing/GradCurve.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/kernels/ToneCurve.h"

namespace kestrel {
namespace {

template <class... Values>
void Log(int line, fmt::format_string<Values...> format, Values&&... values) {
    LogLine(-1, "GradCurve", line, fmt::format(format, std::forward<Values>(values)...));
}

std::int64_t SquaredDistance(CGradCurve::Node node, int x, int y) {
    const std::int64_t dx = std::int64_t{node.x} - x;
    const std::int64_t dy = std::int64_t{node.y} - y;
    return dx * dx + dy * dy;
}

int Held(int value) { return std::clamp(value, CGradCurve::kMinimum, CGradCurve::kMaximum); }

}  // namespace

CGradCurve::CGradCurve() : nodes_{{kMinimum, kMinimum}, {kMaximum, kMaximum}} {}

void CGradCurve::SetCount(int count) {
    nodes_.resize(static_cast<std::size_t>(std::clamp(count, 0, kMaximumCount)));
    if (selected_ >= GetCount()) selected_ = GetCount() - 1;
}

void CGradCurve::SetNode(int i, int x, int y) {
    if (i >= 0 && i < GetCount()) At(i) = {x, y};
}

int CGradCurve::GetNode(int i, Node* point) const {
    if (i < 0 || i >= GetCount()) return -1;
    *point = At(i);
    return 0;
}

void CGradCurve::Select(int i) { selected_ = i >= 0 && i < GetCount() ? i : kNone; }

std::int64_t CGradCurve::SquaredSpacing(int i) const { return SquaredDistance(At(i), At(i + 1).x, At(i + 1).y); }

template <class Better>
int CGradCurve::FindSpacing(Better better) const {
    int found = kNone;
    for (int i = 0; i + 1 < GetCount(); ++i)
        if (found == kNone || better(SquaredSpacing(i), SquaredSpacing(found))) found = i;
    return found;
}

int CGradCurve::LargestSpacing() const { return FindSpacing(std::greater<>()); }
int CGradCurve::SmallestSpacing() const { return FindSpacing(std::less<>()); }

void CGradCurve::InsertBefore(int i, Node node) {
    nodes_.insert(std::next(nodes_.begin(), i), node);
    selected_ = i;
}

bool CGradCurve::InsertAuto() {
    const int gap = LargestSpacing();
    if (gap == kNone || GetCount() >= kMaximumCount) return false;
    Log(__LINE__, "Largest Spacing = {} after node  {} (zero based)\n", SquaredSpacing(gap), gap);
    const Node left = At(gap);
    const Node right = At(gap + 1);
    const Node middle{left.x + (right.x - left.x) / 2, left.y + (right.y - left.y) / 2};
    if (middle.x - left.x < kMinSpacing) return false;  // two nodes at one x make no curve
    InsertBefore(gap + 1, middle);
    Log(__LINE__, "Node {} inserted @ x = {}, y = {}\n", selected_, middle.x, middle.y);
    return true;
}

bool CGradCurve::RemoveAuto() {
    const int gap = SmallestSpacing();
    if (gap == kNone) return false;
    Log(__LINE__, "Smallest Spacing = {} after node  {}\n", SquaredSpacing(gap), gap);
    return RemoveNode(gap + 1);
}

bool CGradCurve::RemoveNode(int i) {
    if (GetCount() < 3) return false;
    i = std::clamp(i, 1, GetCount() - 2);
    const Node node = At(i);
    nodes_.erase(std::next(nodes_.begin(), i));
    if (selected_ >= GetCount()) selected_ = GetCount() - 1;
    Log(__LINE__, "Node {} removed @ x = {}, y = {}\n", i, node.x, node.y);
    return true;
}

bool CGradCurve::InsertAt(int x, int y) {
    if (GetCount() > kMaximumCount - 1) return false;
    const Node node{Held(x), Held(y)};
    const auto right = std::ranges::lower_bound(nodes_, node.x, {}, &Node::x);
    if (right != nodes_.end() && right->x - node.x < kMinSpacing) return false;
    if (right != nodes_.begin() && node.x - std::prev(right)->x < kMinSpacing) return false;
    InsertBefore(static_cast<int>(right - nodes_.begin()), node);
    Log(__LINE__, "Node {} (base 1) inserted @ x = {}, y = {}\n", selected_ + 1, node.x, node.y);
    return true;
}

int CGradCurve::HitTest(int x, int y) const {
    const auto distance = [x, y](Node node) { return SquaredDistance(node, x, y); };
    const auto nearest = std::ranges::min_element(nodes_, {}, distance);
    if (nearest == nodes_.end() || distance(*nearest) > std::int64_t{kHitRadius} * kHitRadius) return kNone;
    return static_cast<int>(nearest - nodes_.begin());
}

bool CGradCurve::MoveSelected(int x, int y) {
    SetNode(selected_, x, y);
    return ConstrainSelected();
}

bool CGradCurve::ConstrainSelected() {
    if (selected_ == kNone) return false;
    Node& node = At(selected_);
    const Node before = node;
    node = {Held(node.x), Held(node.y)};
    const bool hasLeft = selected_ > 0;
    const bool hasRight = selected_ + 1 < GetCount();
    if (hasRight && node.x > At(selected_ + 1).x - kMinSpacing)
        node.x = At(selected_ + 1).x - kMinSpacing;
    else if (hasLeft && node.x < At(selected_ - 1).x + kMinSpacing)
        node.x = At(selected_ - 1).x + kMinSpacing;
    return node != before;
}

void CGradCurve::SortByX() { std::ranges::stable_sort(nodes_, {}, &Node::x); }

void CGradCurve::Mirror(Flip flip) {
    for (Node& node : nodes_) {
        const Node opposite{kMaximum - node.x, kMaximum - node.y};
        switch (flip) {
            case Flip::Y:
                node.y = opposite.y;
                break;
            case Flip::X:
                node.x = opposite.x;
                break;
            case Flip::Antidiagonal:
                node = {opposite.y, opposite.x};
                break;
            case Flip::Diagonal:
                std::swap(node.x, node.y);
                break;
        }
    }
    SortByX();
}

void CGradCurve::Repair() {
    const int count = GetCount();
    if (count < 2) {
        nodes_ = CGradCurve().nodes_;
        Select(selected_);
        return;
    }
    for (Node& node : nodes_) node = {Held(node.x), Held(node.y)};
    SortByX();
    for (int i = 1; i < count; ++i) At(i).x = std::max(At(i).x, At(i - 1).x + kMinSpacing);
    int limit = kMaximum;  // what was pushed beyond the end comes back; there is room for far more nodes
    for (int i = count - 1; i >= 0; --i, limit -= kMinSpacing) At(i).x = std::min(At(i).x, limit);
    Select(selected_);
}

std::array<std::uint8_t, 256> CGradCurve::Table() const {
    std::array<kernels::CurveNode, kMaximumCount> nodes{};
    for (int i = 0; i < GetCount(); ++i) nodes[static_cast<std::size_t>(i)] = {At(i).x, At(i).y};
    return kernels::CurveTable(std::span(nodes).first(nodes_.size()), linear_);
}

}  // namespace kestrel
