#include "kestrel/passes/MaskIteration.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kestrel/foundation/HelperThreads.h"

namespace kestrel::passes {

MaskIteration::MaskIteration(const Planes& picture, RowRule rule)
    : rows_(picture.maskRows),
      width_(picture.width),
      height_(picture.height),
      rule_(std::move(rule)),
      pieces_((width_ + kPiece - 1) / kPiece),
      changed_(static_cast<std::size_t>(pieces_ * height_), 1),
      nowChanged_(changed_.size(), 0) {
    constexpr std::int64_t kMinimumRows = 32;  // of a strip; there are two rows to keep for each
    constexpr std::int64_t kStripsPerThread = 4;
    const std::int64_t threads = HelperThreads::Count();
    const std::int64_t strips =
        threads == 1 ? 1 : std::clamp<std::int64_t>(height_ / kMinimumRows, 1, threads * kStripsPerThread);
    strips_.resize(static_cast<std::size_t>(strips));
    for (Strip& strip : strips_)
        for (auto* const row : {&strip.below, &strip.above, &strip.lines[0], &strip.lines[1]})
            row->resize(static_cast<std::size_t>(width_));
}

bool MaskIteration::MayChange(std::int64_t piece, std::int64_t y) const {
    const std::int64_t first = std::max<std::int64_t>(piece - 1, 0);
    const std::int64_t end = std::min(piece + 2, pieces_);
    for (std::int64_t row = y - 1; row <= y + 1; ++row)
        for (std::int64_t p = first; p < end; ++p)
            if (changed_[static_cast<std::size_t>(row * pieces_ + p)]) return true;
    return false;
}

/// Makes row `y` from the row before this round (which it keeps in `lines[0]`) and its neighbours. False when no piece
/// of it can change; the row was then not written.
bool MaskIteration::MakeRow(Strip& strip, const MaskArea& area, std::int64_t y, const std::uint8_t* below,
                            const std::uint8_t* above) {
    std::vector<std::uint8_t>& old = strip.lines[0];
    bool written = false;
    const bool entered = y < last_.bottom || y >= last_.top;
    for (std::int64_t piece = area.left / kPiece; piece * kPiece < area.right; ++piece) {
        const std::int64_t from = std::max(area.left, piece * kPiece);
        const std::int64_t to = std::min(area.right, (piece + 1) * kPiece);
        if (!entered && from >= last_.left && to <= last_.right && !MayChange(piece, y)) continue;
        if (!written) std::memcpy(old.data(), rows_[y], old.size());
        written = true;
        const auto count = static_cast<std::size_t>(to - from);
        const auto around = [&](const std::uint8_t* row) { return kernels::ConstRow(row + from - 1, count + 2); };
        std::uint8_t* out = rows_[y] + from;
        rule_({around(below), around(old.data()), around(above)}, {out, count});
        if (std::memcmp(out, old.data() + from, count) == 0) continue;
        nowChanged_[static_cast<std::size_t>(y * pieces_ + piece)] = 1;
        strip.changed = true;
    }
    return written;
}

/// Makes the rows of `area`. The rows just outside it are in the strip, as they were.
bool MaskIteration::MakeStrip(Strip& strip, const MaskArea& area, const AbortFlag& abort) {
    const std::uint8_t* below = strip.below.data();
    for (std::int64_t y = area.bottom; y < area.top; ++y) {
        if (abort.IsSet()) return false;
        if (MakeRow(strip, area, y, below, y + 1 < area.top ? rows_[y + 1] : strip.above.data())) {
            std::swap(strip.lines[0], strip.lines[1]);
            below = strip.lines[1].data();
        } else {
            below = rows_[y];
        }
    }
    return true;
}

bool MaskIteration::Step(MaskArea area, const AbortFlag& abort) {
    area = {std::max<std::int64_t>(area.left, 1), std::max<std::int64_t>(area.bottom, 1),
            std::min(area.right, width_ - 1), std::min(area.top, height_ - 1)};
    std::fill(nowChanged_.begin(), nowChanged_.end(), std::uint8_t{0});
    const std::int64_t rows = std::max<std::int64_t>(area.top - area.bottom, 0);
    const auto count = static_cast<std::int64_t>(strips_.size());
    const auto startOf = [&](std::int64_t strip) { return area.bottom + rows * strip / count; };
    for (std::int64_t i = 0; i < count; ++i) {
        Strip& strip = strips_[static_cast<std::size_t>(i)];
        strip.changed = false;
        if (rows == 0) continue;
        std::memcpy(strip.below.data(), rows_[startOf(i) - 1], strip.below.size());
        std::memcpy(strip.above.data(), rows_[startOf(i + 1)], strip.above.size());
    }
    const bool done = HelperThreads::Share(static_cast<int>(count), [&](int i) {
        return MakeStrip(strips_[static_cast<std::size_t>(i)], {area.left, startOf(i), area.right, startOf(i + 1)},
                         abort);
    });
    if (!done) return false;
    changedAny_ = std::ranges::any_of(strips_, [](const Strip& strip) { return strip.changed; });
    last_ = area;
    changed_.swap(nowChanged_);
    return true;
}

}  // namespace kestrel::passes
