#include "kestrel/passes/Shear.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "kestrel/kernels/ResampleRows.h"

namespace kestrel::passes {
namespace {

constexpr int kBlendRows = 32;
constexpr int kZeroDifference = 255;
constexpr int kFractionBits = 14;
constexpr int kOne = 1 << kFractionBits;

/// A line's move in whole pixels and the share that the next pixel takes.
struct Move {
    bool forward;  ///< to the right or up
    int whole;
    int fraction;               ///< in 1/16384; 0 copies
    std::int16_t share;         ///< the same in 1/32, cut
    const std::int32_t* blend;  ///< row of the table, entry 0 being a difference of 0

    /// How far a pixel is stored. Blending stores one pixel further, where the share of the next one falls.
    std::int64_t Reach() const { return std::int64_t{whole} + (fraction ? 1 : 0); }
};

Move MoveOf(double shift) {
    Move move;
    move.forward = shift > 0;
    const double distance = std::min(std::abs(shift), 1e9);
    move.whole = static_cast<int>(distance);
    const double fraction = distance - move.whole;
    move.fraction = static_cast<int>(fraction * kOne + 0.5);
    move.share = static_cast<std::int16_t>(fraction * kBlendRows);
    move.blend = BlendTable()[static_cast<std::size_t>(move.share)].data() + kZeroDifference;
    return move;
}

/// What stands before the first pixel of a line: nothing, in white.
constexpr std::uint8_t kNothing[3] = {255, 255, 255};

/// Blends a pixel with the one walked over before it.
void BlendPixel(const Move& move, const std::uint8_t* previous, int previousMask, const std::uint8_t* pixel, int mask,
                std::uint8_t* to, std::uint8_t* toMask) {
    if (previousMask == mask) {
        for (int c = 0; c < 3; ++c) to[c] = static_cast<std::uint8_t>(previous[c] + move.blend[pixel[c] - previous[c]]);
        *toMask = static_cast<std::uint8_t>(mask);
        return;
    }
    // The numerators lie between 0 and 255 × 255 × 16384, and so does each product.
    const int previousOpacity = 255 - previousMask;
    const int opacity = 255 - mask;
    const int divisor = previousOpacity * kOne + move.fraction * (previousMask - mask);
    if (divisor != 0)
        for (int c = 0; c < 3; ++c)
            to[c] = static_cast<std::uint8_t>((previousOpacity * kOne * previous[c] +
                                               move.fraction * (pixel[c] * opacity - previous[c] * previousOpacity)) /
                                              divisor);
    const int moved = (move.fraction * (previousOpacity - opacity) + kOne / 2) >> kFractionBits;
    *toMask = static_cast<std::uint8_t>(previousMask + moved);
}

double ShiftOf(const Shear& shear, int line, int lineCount) {
    return (line - (lineCount - 1) / 2.0) * shear.shear - shear.fraction;
}

/// The part of `area` that lies inside the picture.
Area Inside(const Area& area, const ConstPlanes& picture) {
    return {std::max(area.left, 0), std::max(area.bottom, 0), std::min(area.right, picture.width),
            std::min(area.top, picture.height)};
}

/// Pixels that are blended at a time where the mask does not change.
constexpr int kChunk = 64;

/// Stores the blends of the pixels `left` to `right` of a row `by` pixels further, from the far end of the move. What
/// stands before a pixel is read from the row itself: stores go at least one pixel beyond it.
void BlendedRow(const std::uint8_t* row, const std::uint8_t* masks, int left, int right, const Move& move,
                std::uint8_t* to, std::uint8_t* toMasks, int targetWidth, std::int64_t by) {
    const int before = move.forward ? 1 : -1;
    std::int16_t shares[kChunk * 3];
    std::fill_n(shares, kChunk * 3, move.share);
    int done = 0;
    const int count = right - left;
    while (done < count) {
        // The chunk's pixels from the lowest up; its far end is walked first.
        const int size = done == 0 ? 1 : std::min(kChunk, count - done);
        const int x = move.forward ? right - done - size : left + done;
        done += size;
        if (size > 1 && std::memcmp(masks + x, masks + x + before, static_cast<std::size_t>(size)) == 0) {
            std::uint8_t blended[kChunk * 3];
            std::uint8_t kept[kChunk];
            const auto bytes = static_cast<std::size_t>(size) * 3;
            kernels::InterpolateRow({row + std::ptrdiff_t{x + before} * 3, bytes}, {row + std::ptrdiff_t{x} * 3, bytes},
                                    {shares, bytes}, {blended, bytes});
            std::memcpy(kept, masks + x, static_cast<std::size_t>(size));
            const std::int64_t first = std::max<std::int64_t>(x + by, 0);
            const std::int64_t end = std::min<std::int64_t>(x + by + size, targetWidth);
            if (first >= end) continue;
            const auto skipped = static_cast<std::size_t>(first - (x + by));
            const auto stored = static_cast<std::size_t>(end - first);
            std::memcpy(to + first * 3, blended + skipped * 3, stored * 3);
            std::memcpy(toMasks + first, kept + skipped, stored);
            continue;
        }
        for (int n = 0; n < size; ++n) {
            const int at = move.forward ? x + size - 1 - n : x + n;
            const std::int64_t target = at + by;
            if (target < 0 || target >= targetWidth) continue;
            const bool atEnd = at == (move.forward ? right - 1 : left);
            const std::uint8_t* const previous = atEnd ? kNothing : row + std::ptrdiff_t{at + before} * 3;
            const std::uint8_t pixel[3] = {row[at * 3], row[at * 3 + 1], row[at * 3 + 2]};
            BlendPixel(move, previous, atEnd ? 255 : masks[at + before], pixel, masks[at], to + target * 3,
                       toMasks + target);
        }
    }
}

/// Moves the pixels `left` to `right` of one row by `move` and, in the target, `cropX` to the left.
void MoveRow(const std::uint8_t* row, const std::uint8_t* masks, int left, int right, const Move& move,
             std::uint8_t* to, std::uint8_t* toMasks, int targetWidth, int cropX) {
    const std::int64_t by = (move.forward ? move.Reach() : -move.Reach()) - cropX;
    const auto erase = [&](std::int64_t from, std::int64_t end) {
        from = std::max<std::int64_t>(from, 0);
        end = std::min<std::int64_t>(end, targetWidth);
        if (from < end) std::memset(toMasks + from, 255, static_cast<std::size_t>(end - from));
    };
    if (move.fraction == 0) {
        const std::int64_t first = std::max<std::int64_t>(left, -by);
        const std::int64_t end = std::min<std::int64_t>(right, targetWidth - by);
        if (first < end) {
            std::memmove(to + (first + by) * 3, row + first * 3, static_cast<std::size_t>(end - first) * 3);
            std::memmove(toMasks + first + by, masks + first, static_cast<std::size_t>(end - first));
        }
    } else {
        BlendedRow(row, masks, left, right, move, to, toMasks, targetWidth, by);
    }
    if (move.forward)
        erase(left + by - move.whole, left + by);
    else
        erase(right + by, right + by + move.whole);
}

/// Columns that are walked together.
constexpr int kStrip = 512;

/// Columns side by side that move up or down, each by its own way.
class Strip {
public:
    Strip(const Planes& picture, const Area& inside, int left) : picture_(picture), inside_(inside), left_(left) {}

    void Add(const Move& move) {
        if (count_ == 0 || !Alike(moves_[count_ - 1], move)) runStart_[runs_++] = count_;
        moves_[count_] = move;
        std::fill_n(shares_ + count_ * 3, 3, move.share);
        runStart_[runs_] = ++count_;
    }

    /// Moves the columns that go up or those that go down, from the far end of the move. A row's predecessor still
    /// stands in the picture when it is needed: stores go at least one row beyond it. False when aborted.
    bool Walk(bool forward, const AbortFlag& abort) const {
        const int step = forward ? -1 : 1;
        const int start = forward ? inside_.top - 1 : inside_.bottom;
        for (int n = 0, y = start; n < inside_.top - inside_.bottom; ++n, y += step) {
            if (abort.IsSet()) return false;
            for (int run = 0; run < runs_; ++run)
                if (moves_[runStart_[run]].forward == forward)
                    MoveRun(runStart_[run], runStart_[run + 1], y, n == 0 ? -1 : y - step);
        }
        return true;
    }

    /// Makes the places that the moved columns left transparent.
    void Erase() const {
        for (int i = 0; i < count_; ++i) {
            const Move& move = moves_[i];
            const std::int64_t from =
                move.forward ? inside_.bottom + move.Reach() - move.whole : inside_.top - move.Reach();
            const std::int64_t end = std::min<std::int64_t>(from + move.whole, picture_.height);
            for (std::int64_t y = std::max<std::int64_t>(from, 0); y < end; ++y) picture_.maskRows[y][left_ + i] = 255;
        }
    }

private:
    static bool Alike(const Move& a, const Move& b) {
        return a.forward == b.forward && a.whole == b.whole && (a.fraction == 0) == (b.fraction == 0);
    }

    /// Stores the pixels of one row and a run of columns; `before` is the row walked last, -1 for none.
    void MoveRun(int first, int end, int y, int before) const {
        const Move& run = moves_[first];
        const std::int64_t to = y + (run.forward ? run.Reach() : -run.Reach());
        if (to < 0 || to >= picture_.height) return;
        const auto size = static_cast<std::size_t>(end - first);
        const std::ptrdiff_t x = left_ + first;
        const std::uint8_t* const pixels = picture_.rows[y] + x * 3;
        const std::uint8_t* const masks = picture_.maskRows[y] + x;
        std::uint8_t* const toPixels = picture_.rows[to] + x * 3;
        std::uint8_t* const toMasks = picture_.maskRows[to] + x;
        if (run.fraction == 0) {
            if (to == y) return;
            std::memcpy(toPixels, pixels, size * 3);
            std::memcpy(toMasks, masks, size);
            return;
        }
        const std::uint8_t* const previous = before < 0 ? nullptr : picture_.rows[before] + x * 3;
        const std::uint8_t* const previousMasks = before < 0 ? nullptr : picture_.maskRows[before] + x;
        if (previous && std::memcmp(masks, previousMasks, size) == 0) {
            kernels::InterpolateRow({previous, size * 3}, {pixels, size * 3}, {shares_ + first * 3, size * 3},
                                    {toPixels, size * 3});
            std::memmove(toMasks, masks, size);
            return;
        }
        for (std::size_t i = 0; i < size; ++i)
            BlendPixel(moves_[static_cast<std::size_t>(first) + i], previous ? previous + i * 3 : kNothing,
                       previous ? previousMasks[i] : 255, pixels + i * 3, masks[i], toPixels + i * 3, toMasks + i);
    }

    const Planes picture_;
    const Area inside_;
    const int left_;
    int count_ = 0;
    int runs_ = 0;
    int runStart_[kStrip + 1];  ///< columns that go equally far are one run
    Move moves_[kStrip];
    std::int16_t shares_[kStrip * 3];
};

/// Where a turned picture comes to stand.
struct Place {
    int x, y, width, height;
};

/// An odd number of quarter turns. Blocks are small enough for both pictures' lines to stay near: walked row by row,
/// each pixel of one of the two would be in another line.
bool TurnBlocks(const ConstPlanes& source, const Planes& target, bool counterclockwise, bool mirror, const Place& place,
                const AbortFlag& abort) {
    constexpr int kBlock = 32;
    const int lastRow = source.height - 1;
    const int lastColumn = source.width - 1;
    for (int bottom = 0; bottom < place.height; bottom += kBlock)
        for (int left = 0; left < place.width; left += kBlock) {
            const int top = std::min(bottom + kBlock, place.height);
            const int right = std::min(left + kBlock, place.width);
            for (int r = bottom; r < top; ++r) {
                if (abort.IsSet()) return false;
                const int x = counterclockwise != mirror ? r : lastColumn - r;
                std::uint8_t* const to = target.rows[place.y + r] + std::ptrdiff_t{place.x} * 3;
                std::uint8_t* const toMask = target.maskRows[place.y + r] + place.x;
                for (int c = left; c < right; ++c) {
                    const int y = counterclockwise ? lastRow - c : c;
                    std::memcpy(to + std::ptrdiff_t{c} * 3, source.rows[y] + std::ptrdiff_t{x} * 3, 3);
                    toMask[c] = source.maskRows[y][x];
                }
            }
        }
    return true;
}

}  // namespace

const std::array<std::array<std::int32_t, 512>, 32>& BlendTable() {
    static const auto table = [] {
        std::array<std::array<std::int32_t, 512>, kBlendRows> shares{};
        for (std::size_t k = 0; k < shares.size(); ++k)
            for (std::size_t i = 0; i < shares[k].size(); ++i)
                shares[k][i] = static_cast<std::int32_t>(
                    static_cast<double>(k) * (static_cast<double>(i) - kZeroDifference) / 32.0 + 0.5);
        return shares;
    }();
    return table;
}

bool TurnQuarter(const ConstPlanes& source, const Planes& target, int turns, bool mirror, int offsetX, int offsetY,
                 const AbortFlag& abort) {
    const bool odd = turns % 2 != 0;
    const int width = std::min(odd ? source.height : source.width, target.width - offsetX);
    const int height = std::min(odd ? source.width : source.height, target.height - offsetY);
    if (odd) return TurnBlocks(source, target, turns == 1, mirror, {offsetX, offsetY, width, height}, abort);
    const bool reverse = (turns == 2) != mirror;
    for (int r = 0; r < height; ++r) {
        if (abort.IsSet()) return false;
        const int y = turns == 2 ? source.height - 1 - r : r;
        std::uint8_t* to = target.rows[offsetY + r] + std::ptrdiff_t{offsetX} * 3;
        std::uint8_t* const toMask = target.maskRows[offsetY + r] + offsetX;
        if (!reverse) {
            std::memcpy(to, source.rows[y], static_cast<std::size_t>(width) * 3);
            std::memcpy(toMask, source.maskRows[y], static_cast<std::size_t>(width));
            continue;
        }
        const std::uint8_t* pixel = source.rows[y] + std::ptrdiff_t{source.width - 1} * 3;
        const std::uint8_t* const mask = source.maskRows[y] + (source.width - 1);
        for (int c = 0; c < width; ++c, to += 3, pixel -= 3) {
            std::memcpy(to, pixel, 3);
            toMask[c] = *(mask - c);
        }
    }
    return true;
}

bool XShear(const ConstPlanes& source, const Planes& target, const Shear& shear, int cropX, int cropY,
            const AbortFlag& abort) {
    const Area inside = Inside(shear.area, source);
    if (inside.left >= inside.right) return true;
    for (int y = inside.bottom; y < inside.top; ++y) {
        if (abort.IsSet()) return false;
        const std::int64_t to = std::int64_t{y} - cropY;
        if (to < 0 || to >= target.height) continue;
        const Move move = MoveOf(ShiftOf(shear, y - shear.area.bottom, shear.area.top - shear.area.bottom));
        MoveRow(source.rows[y], source.maskRows[y], inside.left, inside.right, move, target.rows[to],
                target.maskRows[to], target.width, cropX);
    }
    return true;
}

bool YShear(const Planes& picture, const Shear& shear, const AbortFlag& abort) {
    const Area inside = Inside(shear.area, picture);
    const int lines = shear.area.right - shear.area.left;
    // A strip of columns is walked row by row, so that its part of the picture stays near.
    for (int left = inside.left; left < inside.right; left += kStrip) {
        const int count = std::min(kStrip, inside.right - left);
        Strip strip(picture, inside, left);
        for (int i = 0; i < count; ++i) strip.Add(MoveOf(ShiftOf(shear, left + i - shear.area.left, lines)));
        if (!strip.Walk(true, abort) || !strip.Walk(false, abort)) return false;
        strip.Erase();
    }
    return true;
}

}  // namespace kestrel::passes
