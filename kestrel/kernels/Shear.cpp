#include "kestrel/kernels/Shear.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace kestrel::kernels {
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
    const std::int32_t* blend;  ///< row of the table, entry 0 being a difference of 0
};

Move MoveOf(double shift) {
    Move move;
    move.forward = shift > 0;
    const double distance = std::min(std::abs(shift), 1e9);
    move.whole = static_cast<int>(distance);
    const double fraction = distance - move.whole;
    move.fraction = static_cast<int>(fraction * kOne + 0.5);
    move.blend = BlendTable()[static_cast<std::size_t>(fraction * kBlendRows)].data() + kZeroDifference;
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
Area Inside(const Area& area, const Planes& picture) {
    return {std::max(area.left, 0), std::max(area.bottom, 0), std::min(area.right, picture.width),
            std::min(area.top, picture.height)};
}

/// Moves the pixels `left` to `right` of one row by `move` and, in the target, `cropX` to the left.
void MoveRow(const std::uint8_t* row, const std::uint8_t* masks, int left, int right, const Move& move,
             std::uint8_t* to, std::uint8_t* toMasks, int targetWidth, int cropX) {
    // Blending stores one pixel further, where the share of the next one falls.
    const std::int64_t reach = std::int64_t{move.whole} + (move.fraction ? 1 : 0);
    const std::int64_t by = (move.forward ? reach : -reach) - cropX;
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
        std::uint8_t previous[3] = {kNothing[0], kNothing[1], kNothing[2]};
        int previousMask = 255;
        const int step = move.forward ? -1 : 1;
        for (int n = 0, x = move.forward ? right - 1 : left; n < right - left; ++n, x += step) {
            const std::uint8_t pixel[3] = {row[x * 3], row[x * 3 + 1], row[x * 3 + 2]};
            const int mask = masks[x];
            const std::int64_t at = x + by;
            if (at >= 0 && at < targetWidth)
                BlendPixel(move, previous, previousMask, pixel, mask, to + at * 3, toMasks + at);
            std::memcpy(previous, pixel, 3);
            previousMask = mask;
        }
    }
    if (move.forward)
        erase(left + by - move.whole, left + by);
    else
        erase(right + by, right + by + move.whole);
}

/// Where a turned picture comes to stand.
struct Place {
    int x, y, width, height;
};

/// An odd number of quarter turns. Blocks are small enough for both pictures' lines to stay near: walked row by row,
/// each pixel of one of the two would be in another line.
bool TurnBlocks(const Planes& source, const Planes& target, bool counterclockwise, bool mirror, const Place& place,
                const AbortFlag& abort) {
    constexpr int kBlock = 32;
    const int lastRow = source.height - 1;
    const int lastColumn = source.width - 1;
    for (int bottom = 0; bottom < place.height; bottom += kBlock)
        for (int left = 0; left < place.width; left += kBlock) {
            const int top = std::min(bottom + kBlock, place.height);
            const int right = std::min(left + kBlock, place.width);
            for (int r = bottom; r < top; ++r) {
                if (Aborted(abort)) return false;
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

bool TurnQuarter(const Planes& source, const Planes& target, int turns, bool mirror, int offsetX, int offsetY,
                 const AbortFlag& abort) {
    const bool odd = turns % 2 != 0;
    const int width = std::min(odd ? source.height : source.width, target.width - offsetX);
    const int height = std::min(odd ? source.width : source.height, target.height - offsetY);
    if (odd) return TurnBlocks(source, target, turns == 1, mirror, {offsetX, offsetY, width, height}, abort);
    const bool reverse = (turns == 2) != mirror;
    for (int r = 0; r < height; ++r) {
        if (Aborted(abort)) return false;
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

bool XShear(const Planes& source, const Planes& target, const Shear& shear, int cropX, int cropY,
            const AbortFlag& abort) {
    const Area inside = Inside(shear.area, source);
    if (inside.left >= inside.right) return true;
    for (int y = inside.bottom; y < inside.top; ++y) {
        if (Aborted(abort)) return false;
        const std::int64_t to = std::int64_t{y} - cropY;
        if (to < 0 || to >= target.height) continue;
        const Move move = MoveOf(ShiftOf(shear, y - shear.area.bottom, shear.area.top - shear.area.bottom));
        MoveRow(source.rows[y], source.maskRows[y], inside.left, inside.right, move, target.rows[to],
                target.maskRows[to], target.width, cropX);
    }
    return true;
}

bool YShear(const Planes& picture, const Shear& shear, const AbortFlag& abort) {
    // A strip of columns is walked row by row, so that its part of the picture stays near. A row's predecessor still
    // stands in the picture when it is needed: stores go at least one row beyond it.
    constexpr int kStrip = 64;
    const Area inside = Inside(shear.area, picture);
    const int lines = shear.area.right - shear.area.left;
    for (int left = inside.left; left < inside.right; left += kStrip) {
        const int count = std::min(kStrip, inside.right - left);
        Move moves[kStrip];
        for (int i = 0; i < count; ++i) moves[i] = MoveOf(ShiftOf(shear, left + i - shear.area.left, lines));

        const auto walk = [&](bool forward) {
            const int step = forward ? -1 : 1;
            const int start = forward ? inside.top - 1 : inside.bottom;
            for (int n = 0, y = start; n < inside.top - inside.bottom; ++n, y += step) {
                if (Aborted(abort)) return false;
                for (int i = 0; i < count; ++i) {
                    const Move& move = moves[i];
                    if (move.forward != forward) continue;
                    const int x = left + i;
                    const std::int64_t reach = std::int64_t{move.whole} + (move.fraction ? 1 : 0);
                    const std::int64_t to = y + (forward ? reach : -reach);
                    if (to < 0 || to >= picture.height) continue;
                    std::uint8_t* at = picture.rows[to] + std::ptrdiff_t{x} * 3;
                    std::uint8_t* atMask = picture.maskRows[to] + x;
                    const std::uint8_t* pixel = picture.rows[y] + std::ptrdiff_t{x} * 3;
                    const int mask = picture.maskRows[y][x];
                    if (move.fraction == 0) {
                        std::memmove(at, pixel, 3);
                        *atMask = static_cast<std::uint8_t>(mask);
                        continue;
                    }
                    const int before = y - step;
                    const std::uint8_t* previous = n ? picture.rows[before] + std::ptrdiff_t{x} * 3 : kNothing;
                    BlendPixel(move, previous, n ? picture.maskRows[before][x] : 255, pixel, mask, at, atMask);
                }
            }
            return true;
        };
        if (!walk(true) || !walk(false)) return false;

        for (int i = 0; i < count; ++i) {  // the places that the moved runs left
            const Move& move = moves[i];
            const std::int64_t reach = std::int64_t{move.whole} + (move.fraction ? 1 : 0);
            const std::int64_t from = move.forward ? inside.bottom + reach - move.whole : inside.top - reach;
            const std::int64_t end = std::min<std::int64_t>(from + move.whole, picture.height);
            for (std::int64_t y = std::max<std::int64_t>(from, 0); y < end; ++y) picture.maskRows[y][left + i] = 255;
        }
    }
    return true;
}

}  // namespace kestrel::kernels
