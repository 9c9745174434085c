#include "kestrel/passes/MaskIteration.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kestrel::passes {

MaskIteration::MaskIteration(const Planes& picture, RowRule rule)
    : rows_(picture.maskRows),
      width_(picture.width),
      height_(picture.height),
      rule_(std::move(rule)),
      pieces_((width_ + kPiece - 1) / kPiece),
      changed_(static_cast<std::size_t>(pieces_ * height_), 1),
      nowChanged_(changed_.size(), 0) {
    for (auto& line : lines_) line.resize(static_cast<std::size_t>(width_));
}

bool MaskIteration::MayChange(std::int64_t piece, std::int64_t y) const {
    const std::int64_t first = std::max<std::int64_t>(piece - 1, 0);
    const std::int64_t end = std::min(piece + 2, pieces_);
    for (std::int64_t row = y - 1; row <= y + 1; ++row)
        for (std::int64_t p = first; p < end; ++p)
            if (changed_[static_cast<std::size_t>(row * pieces_ + p)]) return true;
    return false;
}

/// Makes row `y` from the row before this round (which it keeps in `lines_[0]`) and its neighbours. False when no piece
/// of it can change; the row was then not written.
bool MaskIteration::MakeRow(const MaskArea& area, std::int64_t y, const std::uint8_t* below) {
    bool written = false;
    const bool entered = y < last_.bottom || y >= last_.top;
    for (std::int64_t piece = area.left / kPiece; piece * kPiece < area.right; ++piece) {
        const std::int64_t from = std::max(area.left, piece * kPiece);
        const std::int64_t to = std::min(area.right, (piece + 1) * kPiece);
        if (!entered && from >= last_.left && to <= last_.right && !MayChange(piece, y)) continue;
        if (!written) std::memcpy(lines_[0].data(), rows_[y], lines_[0].size());
        written = true;
        const auto count = static_cast<std::size_t>(to - from);
        const auto around = [&](const std::uint8_t* row) { return kernels::ConstRow(row + from - 1, count + 2); };
        std::uint8_t* out = rows_[y] + from;
        rule_({around(below), around(lines_[0].data()), around(rows_[y + 1])}, {out, count});
        if (std::memcmp(out, lines_[0].data() + from, count) == 0) continue;
        nowChanged_[static_cast<std::size_t>(y * pieces_ + piece)] = 1;
        changedAny_ = true;
    }
    return written;
}

bool MaskIteration::Step(MaskArea area, const AbortFlag& abort) {
    area = {std::max<std::int64_t>(area.left, 1), std::max<std::int64_t>(area.bottom, 1),
            std::min(area.right, width_ - 1), std::min(area.top, height_ - 1)};
    std::fill(nowChanged_.begin(), nowChanged_.end(), std::uint8_t{0});
    changedAny_ = false;
    const std::uint8_t* below = area.bottom < area.top ? rows_[area.bottom - 1] : nullptr;
    for (std::int64_t y = area.bottom; y < area.top; ++y) {
        if (abort.IsSet()) return false;
        if (MakeRow(area, y, below)) {
            std::swap(lines_[0], lines_[1]);
            below = lines_[1].data();
        } else {
            below = rows_[y];
        }
    }
    last_ = area;
    changed_.swap(nowChanged_);
    return true;
}

}  // namespace kestrel::passes
