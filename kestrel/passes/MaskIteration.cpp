#include "kestrel/passes/MaskIteration.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/Prefetch.h"

namespace kestrel::passes {

MaskIteration::MaskIteration(const Planes& picture, RowRule rule)
    : rows_(picture.maskRows),
      width_(picture.width),
      height_(picture.height),
      rule_(std::move(rule)),
      pieces_((width_ + kPiece - 1) / kPiece),
      words_((pieces_ + 63) / 64),
      open_(static_cast<std::size_t>(words_ * height_)),
      nextOpen_(open_.size()) {
    constexpr std::int64_t kMinimumRows = 32;  // of a strip; there are two rows to keep for each
    constexpr std::int64_t kStripsPerThread = 4;
    const std::int64_t threads = HelperThreads::Count();
    const std::int64_t strips =
        threads == 1 ? 1 : std::clamp<std::int64_t>(height_ / kMinimumRows, 1, threads * kStripsPerThread);
    strips_.resize(static_cast<std::size_t>(strips));
    for (Strip& strip : strips_) {
        for (auto* const row : {&strip.below, &strip.above, &strip.row.bytes, &strip.rowBelow.bytes})
            row->resize(static_cast<std::size_t>(width_));
        for (OldRow* const row : {&strip.row, &strip.rowBelow}) row->pieces.resize(static_cast<std::size_t>(words_));
    }
    FindOpen();
}

std::int64_t MaskIteration::Right(std::int64_t piece) const { return std::min((piece + 1) * kPiece, width_); }

/// Before the first round those pieces are open that are not of one value, and both of two neighbours that differ.
void MaskIteration::FindOpen() {
    for (std::int64_t y = 0; y < height_; ++y)
        for (std::int64_t piece = 0; piece < pieces_; ++piece) {
            const std::uint8_t* const bytes = rows_[y] + Left(piece);
            const auto more = static_cast<std::size_t>(Right(piece) - Left(piece) - 1);
            if (std::memcmp(bytes, bytes + 1, more) != 0) Set(Row(open_, y), piece);
            if (piece > 0 && bytes[-1] != bytes[0]) {
                Set(Row(open_, y), piece - 1);
                Set(Row(open_, y), piece);
            }
            if (y > 0 && rows_[y - 1][Left(piece)] != bytes[0]) {
                Set(Row(open_, y - 1), piece);
                Set(Row(open_, y), piece);
            }
        }
}

/// The pieces of row `y` that are open or beside an open one, in all three rows.
void MaskIteration::Spread(std::int64_t y, std::uint64_t* pieces) const {
    const std::int64_t first = std::max<std::int64_t>(y - 1, 0);
    const std::int64_t last = std::min(y + 1, height_ - 1);
    const auto open = [&](std::int64_t word) {
        if (word < 0 || word >= words_) return std::uint64_t{0};
        return Row(open_, first)[word] | Row(open_, y)[word] | Row(open_, last)[word];
    };
    for (std::int64_t word = 0; word < words_; ++word) {
        const std::uint64_t bits = open(word);
        pieces[word] = bits | bits << 1 | bits >> 1 | open(word - 1) >> 63 | open(word + 1) << 63;
    }
    if (pieces_ % 64 != 0) pieces[words_ - 1] &= (std::uint64_t{1} << pieces_ % 64) - 1;
}

/// The columns `from` - 1 to `to` of the row below row `y` of a strip as they were before the round: those of pieces
/// that were made since are kept.
const std::uint8_t* MaskIteration::Below(Strip& strip, std::int64_t y, std::int64_t from, std::int64_t to) const {
    std::uint8_t* const old = strip.rowBelow.bytes.data();
    const std::uint8_t* const now = rows_[y - 1];
    const std::uint64_t* const kept = strip.rowBelow.pieces.data();
    const std::int64_t first = (from - 1) / kPiece;
    const std::int64_t last = to / kPiece;
    bool any = false;
    for (std::int64_t piece = first; piece <= last; ++piece) any |= IsSet(kept, piece);
    if (!any) return now;
    for (std::int64_t piece = first; piece <= last; ++piece) {
        if (IsSet(kept, piece)) continue;
        const std::int64_t left = std::max(Left(piece), from - 1);
        std::memcpy(old + left, now + left, static_cast<std::size_t>(std::min(Right(piece), to + 1) - left));
    }
    return old;
}

/// Makes the columns of a piece that lie in the area.
void MaskIteration::MakePiece(Strip& strip, const MaskArea& area, std::int64_t y, std::int64_t piece) {
    const std::int64_t from = std::max(area.left, Left(piece));
    const std::int64_t to = std::min(area.right, Right(piece));
    const auto count = static_cast<std::size_t>(to - from);
    std::uint8_t* const old = strip.row.bytes.data();
    // Open pieces of neighbouring rows lie near one another, but too far for the processor to see the next one coming.
    constexpr std::int64_t kAhead = 8;
    PrefetchToWrite({rows_[std::min(y + kAhead, height_ - 1)] + from, count});
    // What the piece before it was is kept already; the columns that are not made count as kept, too.
    const bool follows = piece > 0 && IsSet(strip.row.pieces.data(), piece - 1);
    const std::int64_t left = follows ? Left(piece) : std::max<std::int64_t>(Left(piece) - 1, 0);
    const std::int64_t right = std::min(Right(piece) + 1, width_);
    std::memcpy(old + left, rows_[y] + left, static_cast<std::size_t>(right - left));
    Set(strip.row.pieces.data(), piece);

    const std::uint8_t* const below = y == area.bottom ? strip.below.data() : Below(strip, y, from, to);
    const std::uint8_t* const above = y + 1 < area.top ? rows_[y + 1] : strip.above.data();
    const auto around = [&](const std::uint8_t* row) { return kernels::ConstRow(row + from - 1, count + 2); };
    std::uint8_t* const out = rows_[y] + from;
    rule_({around(below), around(old), around(above)}, {out, count});
    if (std::memcmp(out, old + from, count) == 0) return;
    Set(Row(nextOpen_, y), piece);
    strip.changed = true;
}

/// Makes the rows of `area`. The rows just outside it are in the strip, as they were.
bool MaskIteration::MakeStrip(Strip& strip, const MaskArea& area, const AbortFlag& abort) {
    for (std::int64_t y = area.bottom; y < area.top; ++y) {
        if (abort.IsSet()) return false;
        std::ranges::fill(strip.row.pieces, 0);
        std::uint64_t* const open = Row(nextOpen_, y);
        Spread(y, open);
        for (std::int64_t word = 0; word < words_; ++word)
            for (std::uint64_t left = open[word]; left != 0; left &= left - 1) {
                const std::int64_t piece = word * 64 + std::countr_zero(left);
                if (Right(piece) <= area.left || Left(piece) >= area.right) continue;
                // A piece stays open of which not all columns are made that can be.
                const bool whole = std::max<std::int64_t>(Left(piece), 1) >= area.left &&
                                   std::min(Right(piece), width_ - 1) <= area.right;
                if (whole) open[word] &= ~(std::uint64_t{1} << piece % 64);
                MakePiece(strip, area, y, piece);
            }
        std::swap(strip.row, strip.rowBelow);
    }
    return true;
}

bool MaskIteration::Step(MaskArea area, const AbortFlag& abort) {
    area = {std::max<std::int64_t>(area.left, 1), std::max<std::int64_t>(area.bottom, 1),
            std::min(area.right, width_ - 1), std::min(area.top, height_ - 1)};
    if (area.left >= area.right) area.top = area.bottom;
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
    // Rows that are not made stay open, but for those that never are.
    for (std::int64_t y = 0; y < height_; ++y)
        if (y == 0 || y == height_ - 1)
            std::fill_n(Row(nextOpen_, y), words_, 0);
        else if (y < area.bottom || y >= area.top)
            Spread(y, Row(nextOpen_, y));
    const bool done = HelperThreads::Share(static_cast<int>(count), [&](int i) {
        return MakeStrip(strips_[static_cast<std::size_t>(i)], {area.left, startOf(i), area.right, startOf(i + 1)},
                         abort);
    });
    if (!done) return false;
    changedAny_ = std::ranges::any_of(strips_, [](const Strip& strip) { return strip.changed; });
    open_.swap(nextOpen_);
    return true;
}

}  // namespace kestrel::passes
