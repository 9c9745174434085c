#include "kestrel/passes/Shear.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/Prefetch.h"
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

/// Hidden white: what stands before the first pixel of a line.
constexpr std::uint8_t kNothing = 255;

/// Pixels of a line, or of several lines side by side, and their masks.
struct Line {
    const std::uint8_t* pixels;
    const std::uint8_t* masks;
};
struct OutLine {
    std::uint8_t* pixels;
    std::uint8_t* masks;
};

/// Pixels `first` to `end` − 1 of a line.
struct Range {
    std::size_t first;
    std::size_t end;
};

/// Blends pixels of a line with those walked over before them. `alike(first, count)` blends neighbours whose masks are
/// the same, `moveOf(i)` tells the move of a single pixel.
template <class Alike, class MoveOf>
void BlendPixels(const Line& previous, const Line& line, const OutLine& out, Range range, const Alike& alike,
                 const MoveOf& moveOf) {
    constexpr std::size_t kFew = 16;
    const auto [first, end] = range;
    if (std::memcmp(previous.masks + first, line.masks + first, end - first) == 0) {
        alike(first, end - first);
        std::memcpy(out.masks + first, line.masks + first, end - first);
    } else if (end - first > kFew) {
        const std::size_t middle = first + (end - first) / 2;
        BlendPixels(previous, line, out, {first, middle}, alike, moveOf);
        BlendPixels(previous, line, out, {middle, end}, alike, moveOf);
    } else {
        for (std::size_t i = first; i < end; ++i)
            BlendPixel(moveOf(i), previous.pixels + i * 3, previous.masks[i], line.pixels + i * 3, line.masks[i],
                       out.pixels + i * 3, out.masks + i);
    }
}

/// Moves parts of rows, of which it holds one at a time where it has to.
class RowMover {
public:
    /// Moves the pixels `left` to `right` of one row by `move` and, in the target, `cropX` to the left.
    void operator()(const Line& row, int left, int right, const Move& move, const OutLine& to, int targetWidth,
                    int cropX) {
        const std::int64_t by = (move.forward ? move.Reach() : -move.Reach()) - cropX;
        // What lands inside the target.
        const std::int64_t first = std::max<std::int64_t>(left, -by);
        const std::int64_t end = std::min<std::int64_t>(right, targetWidth - by);
        if (first < end) {
            const OutLine out{to.pixels + (first + by) * 3, to.masks + first + by};
            const auto size = static_cast<std::size_t>(end - first);
            if (move.fraction == 0) {
                std::memmove(out.pixels, row.pixels + first * 3, size * 3);
                std::memmove(out.masks, row.masks + first, size);
            } else {
                // One pixel more at the end where the walk begins: what the first is blended with.
                const std::int64_t from = move.forward ? first : first - 1;
                if (row.pixels == to.pixels || from < left || end + (move.forward ? 1 : 0) > right)
                    Blend(Held(row, from, size + 1, left, right), move, size, out);
                else
                    Blend({row.pixels + from * 3, row.masks + from}, move, size, out);
            }
        }
        const std::int64_t vacated = move.forward ? left + by - move.whole : right + by;
        Erase(vacated, vacated + move.whole, to.masks, targetWidth);
    }

private:
    static void Erase(std::int64_t from, std::int64_t end, std::uint8_t* masks, int width) {
        from = std::max<std::int64_t>(from, 0);
        end = std::min<std::int64_t>(end, width);
        if (from < end) std::memset(masks + from, 255, static_cast<std::size_t>(end - from));
    }

    /// A copy of `size` pixels from `from` on, for a row that is the one that is written. One of them, the first or the
    /// last, may lie outside `left` to `right`, where nothing is.
    Line Held(const Line& row, std::int64_t from, std::size_t size, int left, int right) {
        pixels_.resize(size * 3);
        masks_.resize(size);
        const auto hide = [this](std::size_t i) {
            std::fill_n(pixels_.data() + i * 3, 3, kNothing);
            masks_[i] = kNothing;
        };
        if (from < left) hide(0);
        if (from + static_cast<std::int64_t>(size) > right) hide(size - 1);
        const std::int64_t first = std::max<std::int64_t>(from, left);
        const std::int64_t end = std::min<std::int64_t>(from + static_cast<std::int64_t>(size), right);
        std::memcpy(pixels_.data() + (first - from) * 3, row.pixels + first * 3,
                    static_cast<std::size_t>(end - first) * 3);
        std::memcpy(masks_.data() + (first - from), row.masks + first, static_cast<std::size_t>(end - first));
        return {pixels_.data(), masks_.data()};
    }

    /// Blends `size` pixels from `lower` on, or those beside them, with the ones before them.
    static void Blend(const Line& lower, const Move& move, std::size_t size, const OutLine& out) {
        const Line upper{lower.pixels + 3, lower.masks + 1};
        const Line& previous = move.forward ? upper : lower;
        const Line& line = move.forward ? lower : upper;
        const auto alike = [&](std::size_t first, std::size_t count) {
            kernels::InterpolateRow({previous.pixels + first * 3, count * 3}, {line.pixels + first * 3, count * 3},
                                    move.share, {out.pixels + first * 3, count * 3});
        };
        BlendPixels(previous, line, out, {0, size}, alike, [&](std::size_t) -> const Move& { return move; });
    }

    std::vector<std::uint8_t> pixels_;
    std::vector<std::uint8_t> masks_;
};

/// Columns that are walked together.
constexpr int kStrip = 1024;
/// Rows from which on a strip is walked in one go: it asks for whole rows ahead of itself.
constexpr int kTall = 1024;
/// Rows that a strip's walk asks for ahead of itself.
constexpr int kRowsAhead = 8;

/// What stands before the pixels of a strip's first row.
constexpr auto kNothingBytes = [] {
    std::array<std::uint8_t, kStrip * 3> bytes{};
    bytes.fill(kNothing);
    return bytes;
}();

/// Columns side by side that all move up or all move down, each by its own way. Rows of the result are made one by one
/// in the order from the far end of the move: the pixels that land in a row stand in different rows of the source and
/// are gathered first.
class Strip {
public:
    Strip(const Area& inside, int left, bool forward)
        : left_(left),
          forward_(forward),
          rows_(inside.top - inside.bottom),
          begin_(forward ? inside.top - 1 : inside.bottom) {}

    bool Takes(const Move& move) const { return count_ < kStrip && move.forward == forward_; }
    void Add(const Move& move) {
        if (runs_.empty() || !Alike(moves_.back(), move)) {
            minReach_ = runs_.empty() ? move.Reach() : std::min(minReach_, move.Reach());
            maxReach_ = std::max(maxReach_, move.Reach());
            runs_.push_back(
                {.first = count_, .reach = move.Reach(), .whole = move.whole, .copies = move.fraction == 0});
        }
        keeps_ = keeps_ || move.fraction == 0 || move.fraction == kOne;
        moves_.push_back(move);
        shares_.insert(shares_.end(), 3, move.share);
        ++count_;
        ++runs_.back().count;
    }

    /// Makes the strip's part of rows of the result, the first of them row `first`. False when aborted.
    bool Make(const ConstPlanes& source, const Planes& target, int first, const AbortFlag& abort) const {
        const std::int64_t n = FirstNumber(first, target.height);
        Walk walk;
        Gather(source, n - 1, *walk.line);
        for (int i = 0; i < target.height; ++i) {
            if (abort.IsSet()) return false;
            if (IsTall(target)) PrefetchRow(source, n + i + maxReach_ + kRowsAhead);
            std::swap(walk.line, walk.previous);
            Gather(source, n + i, *walk.line);
            const std::int64_t row = forward_ ? target.height - 1 - i : i;
            MakeRow(walk, n + i, {source.rows[first + row] + Bytes(left_), source.maskRows[first + row] + left_},
                    {target.rows[row] + Bytes(left_), target.maskRows[row] + left_});
        }
        return true;
    }

    /// Asks for what `Make` looks at of few rows: pixels that are used together lie in different rows.
    void Prefetch(const ConstPlanes& source, int first, int rows) const {
        const std::int64_t n = FirstNumber(first, rows);
        std::size_t pixelLine = 0, maskLine = 0;
        for (const Run& run : runs_) {
            const auto end = static_cast<std::size_t>(left_ + run.first + run.count) - 1;
            const bool pixels = end * 3 / kCacheLine != pixelLine;
            const bool masks = end / kCacheLine != maskLine;
            pixelLine = end * 3 / kCacheLine;
            maskLine = end / kCacheLine;
            if (!pixels) continue;  // nor masks, of which a line has more
            const std::int64_t from = std::max<std::int64_t>(n + run.reach - 1, 0);
            const std::int64_t to = std::min<std::int64_t>(n + run.reach + rows, rows_);
            for (std::int64_t row = from; row < to; ++row) {
                const std::int64_t y = forward_ ? begin_ - row : begin_ + row;
                PrefetchToRead({source.rows[y] + end * 3, 1});
                if (masks) PrefetchToRead({source.maskRows[y] + end, 1});
            }
        }
    }

    /// Is a picture so high that rows are better asked for whole, in the order of the walk?
    static bool IsTall(const Planes& target) { return target.height >= kTall; }

private:
    /// Columns that go equally far.
    struct Run {
        int first;
        int count = 0;
        std::int64_t reach;
        int whole;
        bool copies;  ///< whole pixels only
    };
    struct HeldRow {
        HeldRow() {
            std::ranges::fill(pixels, kNothing);
            std::ranges::fill(masks, kNothing);
        }
        std::uint8_t pixels[kStrip * 3];
        std::uint8_t masks[kStrip];
    };
    /// What a walk over rows holds: the gathered pixels of a row and of the one before, and a row that is made.
    struct Walk {
        HeldRow held[2];
        HeldRow made;
        HeldRow* line = &held[0];
        HeldRow* previous = &held[1];
    };

    static bool Alike(const Move& a, const Move& b) {
        return a.whole == b.whole && (a.fraction == 0) == (b.fraction == 0);
    }
    static std::ptrdiff_t Bytes(int pixels) { return std::ptrdiff_t{3} * pixels; }
    /// Rows are numbered in the order of the walk from the first that moves. Each is blended with the one before.
    std::int64_t FirstNumber(int first, int rows) const {
        return forward_ ? begin_ - (std::int64_t{first} + rows - 1) : first - begin_;
    }

    void PrefetchRow(const ConstPlanes& source, std::int64_t n) const {
        if (n < 0 || n >= rows_) return;
        const std::int64_t y = forward_ ? begin_ - n : begin_ + n;
        PrefetchToRead({source.rows[y] + Bytes(left_), static_cast<std::size_t>(count_) * 3});
        PrefetchToRead({source.maskRows[y] + left_, static_cast<std::size_t>(count_)});
    }

    /// Gathers the pixels that land in row `n`. Of columns that have no pixel left for it, nothing is used.
    void Gather(const ConstPlanes& source, std::int64_t n, HeldRow& line) const {
        const std::int64_t rows = rows_;  // in locals: any byte that is stored could be a part of this object
        const std::int64_t begin = begin_;
        const std::int64_t step = forward_ ? -1 : 1;
        const ConstPlanes picture = source;
        const std::ptrdiff_t left = left_;
        const int count = count_;
        for (const Run& run : std::span(runs_)) {
            const std::int64_t from = n + run.reach;
            if (from >= rows) continue;
            const std::int64_t y = begin + step * from;
            const std::ptrdiff_t x = left + run.first;
            const std::uint8_t* const pixels = from < 0 ? kNothingBytes.data() : picture.rows[y] + x * 3;
            const std::uint8_t* const masks = from < 0 ? kNothingBytes.data() : picture.maskRows[y] + x;
            if (run.count <= kShortRun && run.first + kFixedMasks <= count) {
                // Fixed sizes are faster; the next run is gathered over what is too much.
                std::memcpy(line.pixels + run.first * 3, pixels, kFixedPixels);
                std::memcpy(line.masks + run.first, masks, kFixedMasks);
            } else {
                const auto size = static_cast<std::size_t>(run.count);
                std::memcpy(line.pixels + run.first * 3, pixels, size * 3);
                std::memcpy(line.masks + run.first, masks, size);
            }
        }
    }

    /// Makes row `n` of what was gathered. Where nothing lands, and where a blend has no color, the source's own row
    /// stays; of the places that it leaves, its colors.
    void MakeRow(Walk& walk, std::int64_t n, const Line& own, const OutLine& to) const {
        const auto columns = static_cast<std::size_t>(count_);
        const bool landsEverywhere = n + minReach_ >= 0 && n + maxReach_ < rows_;
        if ((!landsEverywhere || keeps_) && to.pixels != own.pixels) {
            std::memcpy(to.pixels, own.pixels, columns * 3);
            std::memcpy(to.masks, own.masks, columns);
        }
        if (landsEverywhere && !keeps_) return Blend(walk, to);
        if (n + maxReach_ >= 0 && n + minReach_ < rows_) {
            std::memcpy(walk.made.pixels, own.pixels, columns * 3);
            Blend(walk, {walk.made.pixels, walk.made.masks});
        }
        for (const Run& run : runs_) {
            const bool lands = n + run.reach >= 0 && n + run.reach < rows_;
            if (!lands && !Leaves(run, n)) continue;
            const HeldRow& from = run.copies ? *walk.line : walk.made;
            const auto size = static_cast<std::size_t>(run.count);
            if (lands) {
                std::memcpy(to.pixels + run.first * 3, from.pixels + run.first * 3, size * 3);
                std::memcpy(to.masks + run.first, from.masks + run.first, size);
            } else {
                std::memset(to.masks + run.first, 255, size);
            }
        }
    }

    /// Is row `n` one that the columns have left?
    bool Leaves(const Run& run, std::int64_t n) const {
        const std::int64_t end = rows_ - run.reach + run.whole;
        return n >= end - run.whole && n < end;
    }

    void Blend(const Walk& walk, const OutLine& out) const {
        const Line previous{walk.previous->pixels, walk.previous->masks};
        const Line line{walk.line->pixels, walk.line->masks};
        const auto alike = [&](std::size_t first, std::size_t count) {
            kernels::InterpolateRow({previous.pixels + first * 3, count * 3}, {line.pixels + first * 3, count * 3},
                                    {shares_.data() + first * 3, count * 3}, {out.pixels + first * 3, count * 3});
        };
        BlendPixels(previous, line, out, {0, static_cast<std::size_t>(count_)}, alike,
                    [this](std::size_t i) -> const Move& { return moves_[i]; });
    }

    /// The longest run that is gathered by a fixed number of bytes, which is more than its own.
    static constexpr int kShortRun = 10;
    static constexpr int kFixedPixels = 32;
    static constexpr int kFixedMasks = 16;
    static_assert(kShortRun * 3 <= kFixedPixels && kFixedPixels <= kFixedMasks * 3 && kShortRun <= kFixedMasks);

    const int left_;
    const bool forward_;
    const std::int64_t rows_;   ///< that move
    const std::int64_t begin_;  ///< row where the walk begins
    int count_ = 0;
    std::int64_t minReach_ = 0;
    std::int64_t maxReach_ = 0;
    bool keeps_ = false;  ///< bytes of the source's own rows may stay: a column moves by whole pixels, or nearly so
    std::vector<Run> runs_;
    std::vector<Move> moves_;
    std::vector<std::int16_t> shares_;
};

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

bool XShear(const ConstPlanes& source, const Planes& target, const Shear& shear, int cropX, int cropY,
            TargetRows targetRows, const AbortFlag& abort) {
    const Area inside = Inside(shear.area, source);
    const int lines = shear.area.top - shear.area.bottom;
    return ShareRows(0, target.height, [&](std::int64_t from, std::int64_t end) {
        RowMover mover;
        for (std::int64_t row = from; row < end; ++row) {
            const std::int64_t y = row + cropY;
            const bool moves = y >= inside.bottom && y < inside.top && inside.left < inside.right;
            if (!moves && targetRows == TargetRows::Kept) continue;
            if (abort.IsSet()) return false;
            if (targetRows == TargetRows::Cleared) {
                std::ranges::fill(target.Pixels(row), std::uint8_t{0});
                std::ranges::fill(target.Mask(row), std::uint8_t{255});
            }
            if (!moves) continue;
            mover({source.rows[y], source.maskRows[y]}, inside.left, inside.right,
                  MoveOf(ShiftOf(shear, static_cast<int>(y) - shear.area.bottom, lines)),
                  {target.rows[row], target.maskRows[row]}, target.width, cropX);
        }
        return true;
    });
}

ColumnShear YShear(const Shear& shear, int width, int height) {
    const Area inside = Inside(shear.area, {nullptr, nullptr, width, height});
    std::vector<Strip> strips;
    for (int x = inside.left; x < inside.right && inside.bottom < inside.top; ++x) {
        const Move move = MoveOf(ShiftOf(shear, x - shear.area.left, shear.area.right - shear.area.left));
        // Another one, too, where the columns turn from one direction to the other.
        if (strips.empty() || !strips.back().Takes(move)) strips.emplace_back(inside, x, move.forward);
        strips.back().Add(move);
    }
    return [inside, strips = std::move(strips)](const ConstPlanes& source, const Planes& target, int first,
                                                const AbortFlag& abort) {
        const auto copy = [&](int left, int right) {
            for (int row = 0; row < target.height && left < right; ++row) {
                const auto size = static_cast<std::size_t>(right - left);
                const std::ptrdiff_t at = std::ptrdiff_t{3} * left;
                std::memcpy(target.rows[row] + at, source.rows[first + row] + at, size * 3);
                std::memcpy(target.maskRows[row] + left, source.maskRows[first + row] + left, size);
            }
        };
        const bool inPlace = target.height > 0 && target.rows[0] == source.rows[first];
        if (!inPlace) copy(0, strips.empty() ? target.width : inside.left);
        if (!inPlace && !strips.empty()) copy(inside.right, target.width);
        if (Strip::IsTall(target))
            return HelperThreads::Share(static_cast<int>(strips.size()), [&](int i) {
                return strips[static_cast<std::size_t>(i)].Make(source, target, first, abort);
            });
        for (std::size_t i = 0; i < strips.size(); ++i) {
            if (i + 1 < strips.size()) strips[i + 1].Prefetch(source, first, target.height);
            if (!strips[i].Make(source, target, first, abort)) return false;
        }
        return true;
    };
}

}  // namespace kestrel::passes
