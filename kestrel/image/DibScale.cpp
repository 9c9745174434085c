#include <new>
#include <vector>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibRecord.h"

namespace kestrel {
namespace {

/// Shares of a cell in 12-bit fixed point: 4096 is all of it.
struct Weight {
    std::int32_t current;
    std::int32_t next;  ///< above 0: share of the next cell; kCloses; 0: this cell goes on
};
constexpr std::int32_t kCloses = -1;

/// The weights of one axis: `entries` cells are laid over `others`. `full` is the weight of a cell that lies whole
/// within another, `divisor` what shares are counted in. Sums and shifts in 64 bits; only axes that run against their
/// path (one reduced, one enlarged) leave the range of a share, and those wrap.
std::vector<Weight> Weights(std::int64_t entries, std::int64_t others, std::int64_t full, std::int64_t divisor) {
    const auto share = [divisor](std::int64_t part) { return static_cast<std::int32_t>((part * 4096) / divisor); };
    std::vector<Weight> weights(static_cast<std::size_t>(entries));
    std::int64_t a = 0;
    for (Weight& weight : weights) {
        std::int64_t b = a + others;
        if (b <= entries) {
            weight = {static_cast<std::int32_t>(full), b == entries ? kCloses : 0};
            if (b == entries) b = 0;
        } else {
            weight = {share(entries - a), share(b - entries)};
            b -= entries;
        }
        a = b;
    }
    return weights;
}

std::vector<Weight> ReducingWeights(std::int64_t source, std::int64_t target) {
    return Weights(source, target, target * 4096 / source, source);
}

std::vector<Weight> EnlargingWeights(std::int64_t source, std::int64_t target) {
    return Weights(target, source, 4096, source);
}

/// Sums are unsigned and wrap; products of a proper pair of weights and a byte stay below 2^32.
using Line = std::vector<std::uint32_t>;
constexpr std::uint32_t Unsigned(std::int32_t weight) { return static_cast<std::uint32_t>(weight); }

void Add(Line& to, const Line& line, std::int32_t weight) {
    for (std::size_t i = 0; i < to.size(); ++i) to[i] += Unsigned(weight) * line[i];
}

/// The top eight bits, not rounded.
void Store(std::uint8_t* row, const Line& line, int width) {
    for (std::size_t i = 0; i < 3 * static_cast<std::size_t>(width); ++i)
        row[i] = static_cast<std::uint8_t>(line[i] >> 24);
}

/// Sums a source row into the columns of the target. Weights of columns and rows are factors, so a row is summed once
/// and may then go into two target rows.
void ReduceRow(const std::uint8_t* from, const std::vector<Weight>& columns, Line& line) {
    line.assign(line.size(), 0);
    std::uint32_t* to = line.data();
    for (const Weight& weight : columns) {
        for (int c = 0; c < 3; ++c) to[c] += Unsigned(weight.current) * from[c];
        if (weight.next > 0)
            for (int c = 0; c < 3; ++c) to[3 + c] += Unsigned(weight.next) * from[c];
        if (weight.next != 0) to += 3;
        from += 3;
    }
}

void Reduce(const Dib* source, Dib* target) {
    const int height = target->biHeight;
    const auto columns = ReducingWeights(source->biWidth, target->biWidth);
    const auto rows = ReducingWeights(source->biHeight, height);
    // One column more than the target has: the walk stands after the last one when it is done.
    Line line(3 * (static_cast<std::size_t>(target->biWidth) + 1));
    Line current(line.size());
    Line next(line.size());
    int written = 0;
    for (int y = 0; y < source->biHeight && written < height; ++y) {
        const Weight weight = rows[static_cast<std::size_t>(y)];
        ReduceRow(DibRow(source, y), columns, line);
        Add(current, line, weight.current);
        if (weight.next > 0) Add(next, line, weight.next);
        if (weight.next != 0) {
            Store(DibRow(target, written++), current, target->biWidth);
            current.swap(next);
            next.assign(next.size(), 0);
        }
    }
}

/// Draws a source row out to the columns of the target.
void EnlargeRow(const std::uint8_t* from, const std::vector<Weight>& columns, Line& line) {
    std::uint32_t* to = line.data();
    for (const Weight& weight : columns) {
        for (int c = 0; c < 3; ++c) to[c] = Unsigned(weight.current) * from[c];
        if (weight.next != 0) from += 3;
        if (weight.next > 0)
            for (int c = 0; c < 3; ++c) to[c] += Unsigned(weight.next) * from[c];
        to += 3;
    }
}

void Enlarge(const Dib* source, Dib* target) {
    const auto columns = EnlargingWeights(source->biWidth, target->biWidth);
    const auto rows = EnlargingWeights(source->biHeight, target->biHeight);
    Line line(3 * static_cast<std::size_t>(target->biWidth));
    Line below(line.size());
    Line sum(line.size());
    int row = 0;
    bool belowIsDrawn = false;
    EnlargeRow(DibRow(source, 0), columns, line);
    for (int y = 0; y < target->biHeight && row < source->biHeight; ++y) {
        const Weight weight = rows[static_cast<std::size_t>(y)];
        sum.assign(sum.size(), 0);
        Add(sum, line, weight.current);
        if (weight.next != 0 && row + 1 < source->biHeight) {
            EnlargeRow(DibRow(source, row + 1), columns, below);
            belowIsDrawn = true;
            if (weight.next > 0) Add(sum, below, weight.next);
        }
        Store(DibRow(target, y), sum, target->biWidth);
        if (weight.next != 0) {
            ++row;
            if (belowIsDrawn) line.swap(below);
            belowIsDrawn = false;
        }
    }
}

}  // namespace

Dib* DibScale(const Dib* dib, int newWidth, int newHeight) {
    if (!dib || dib->biBitCount != 24) return nullptr;
    DibPtr target(DibCreate(24, newWidth & 0xFFFF, newHeight & 0xFFFF));
    if (!target) return nullptr;
    if (dib->biWidth < 1 || dib->biHeight < 1 || target->biWidth < 1 || target->biHeight < 1) return target.release();
    try {
        if (target->biWidth <= dib->biWidth)
            Reduce(dib, target.get());
        else
            Enlarge(dib, target.get());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return target.release();
}

}  // namespace kestrel
