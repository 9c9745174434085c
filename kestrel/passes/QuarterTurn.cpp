#include "kestrel/passes/QuarterTurn.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/Prefetch.h"
#include "kestrel/kernels/Transpose.h"

namespace kestrel::passes {
namespace {

/// Where a turned picture comes to stand.
struct Place {
    int x, y, width, height;
};

/// Rows of the target that are made together: what they need of a source row fills whole lines of the cache.
constexpr int kTileRows = 64;
constexpr int kBlock = kernels::kTransposedBlock;

/// An odd number of quarter turns: what is a row of one picture is a column of the other.
class Transposition {
public:
    Transposition(const ConstPlanes& source, const Planes& target, bool counterclockwise, bool mirror,
                  const Place& place)
        : source_(source),
          target_(target),
          rowsReversed_(counterclockwise),
          columnsReversed_(counterclockwise == mirror),
          place_(place) {}

    bool Run(const AbortFlag& abort) const {
        return HelperThreads::Share((place_.height + kTileRows - 1) / kTileRows, [&](int tile) {
            const int bottom = tile * kTileRows;
            const int top = std::min(bottom + kTileRows, place_.height);
            for (int left = 0; left < place_.width; left += kBlock) {
                if (abort.IsSet()) return false;
                Prefetch(left, bottom, top);
                for (int y = bottom; y < top; y += kBlock) MakeBlock(left, y, std::min(y + kBlock, top));
            }
            return true;
        });
    }

private:
    /// The source row of a column of the result, and the source column of a row of it.
    int SourceRow(int column) const { return rowsReversed_ ? source_.height - 1 - column : column; }
    int SourceColumn(int row) const { return columnsReversed_ ? source_.width - 1 - row : row; }

    /// Asks for what the blocks to the right of `left` read and for where those after them go: each row of either is
    /// far from the last one.
    void Prefetch(int left, int bottom, int top) const {
        const auto first = static_cast<std::size_t>(std::min(SourceColumn(bottom), SourceColumn(top - 1)));
        const auto count = static_cast<std::size_t>(top - bottom);
        const int next = left + kBlock;
        for (int column = next; column < std::min(next + kBlock, place_.width); ++column) {
            PrefetchToRead(source_.Pixels(SourceRow(column)).subspan(first * 3, count * 3));
            PrefetchToRead(source_.Mask(SourceRow(column)).subspan(first, count));
        }
        const int afterNext = std::min(next + kBlock, place_.width);
        for (int row = bottom; row < top; ++row) {
            const kernels::MaskedRow to = Part(target_, place_.y + row, place_.x + afterNext,
                                               place_.x + std::min(afterNext + kBlock, place_.width));
            PrefetchToWrite(to.pixels);
            PrefetchToWrite(to.mask);
        }
    }

    /// Makes a block of the result: up to as many columns from `left` on, and the rows `bottom` to `top` − 1.
    void MakeBlock(int left, int bottom, int top) const {
        const auto columns = static_cast<std::size_t>(std::min(kBlock, place_.width - left));
        const auto rows = static_cast<std::size_t>(top - bottom);
        const std::ptrdiff_t first = std::min(SourceColumn(bottom), SourceColumn(top - 1));
        std::array<const std::uint8_t*, kBlock> from, fromMask;
        std::array<std::uint8_t*, kBlock> to, toMask;
        for (std::size_t j = 0; j < columns; ++j) {
            const int y = SourceRow(left + static_cast<int>(j));
            from[j] = source_.rows[y] + first * 3;
            fromMask[j] = source_.maskRows[y] + first;
        }
        for (std::size_t i = 0; i < rows; ++i) {
            const int row =
                place_.y + (columnsReversed_ ? top - 1 - static_cast<int>(i) : bottom + static_cast<int>(i));
            to[i] = target_.rows[row] + std::ptrdiff_t{place_.x + left} * 3;
            toMask[i] = target_.maskRows[row] + place_.x + left;
        }
        kernels::TransposePixels(std::span(from).first(columns), std::span(to).first(rows));
        kernels::TransposeBytes(std::span(fromMask).first(columns), std::span(toMask).first(rows));
    }

    const ConstPlanes source_;
    const Planes target_;
    const bool rowsReversed_;     ///< the first column comes from the last row of the source
    const bool columnsReversed_;  ///< the first row comes from its last column
    const Place place_;
};

/// An even number: rows stay rows.
bool TurnRows(const ConstPlanes& source, const Planes& target, bool upsideDown, bool reverse, const Place& place,
              const AbortFlag& abort) {
    const auto width = static_cast<std::size_t>(place.width);
    return ShareRows(0, place.height, [&](std::int64_t row, std::int64_t end) {
        for (; row < end; ++row) {
            if (abort.IsSet()) return false;
            const std::int64_t y = upsideDown ? source.height - 1 - row : row;
            std::uint8_t* to = target.rows[place.y + row] + std::ptrdiff_t{place.x} * 3;
            std::uint8_t* const toMask = target.maskRows[place.y + row] + place.x;
            if (!reverse) {
                std::memcpy(to, source.rows[y], width * 3);
                std::memcpy(toMask, source.maskRows[y], width);
                continue;
            }
            const std::uint8_t* pixel = source.rows[y] + std::ptrdiff_t{source.width - 1} * 3;
            for (std::size_t c = 0; c < width; ++c, to += 3, pixel -= 3) std::memcpy(to, pixel, 3);
            std::reverse_copy(source.Mask(y).end() - place.width, source.Mask(y).end(), toMask);
        }
        return true;
    });
}

}  // namespace

bool TurnQuarter(const ConstPlanes& source, const Planes& target, int turns, bool mirror, int offsetX, int offsetY,
                 const AbortFlag& abort) {
    const bool odd = turns % 2 != 0;
    const Place place{offsetX, offsetY, std::min(odd ? source.height : source.width, target.width - offsetX),
                      std::min(odd ? source.width : source.height, target.height - offsetY)};
    if (odd) return Transposition(source, target, turns == 1, mirror, place).Run(abort);
    return TurnRows(source, target, turns == 2, (turns == 2) != mirror, place, abort);
}

}  // namespace kestrel::passes
