#include "kestrel/passes/GaussReduce.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace kestrel::passes {
namespace {

/// Taps of one axis beyond which a table is refused: more than a picture of any size that fits into memory needs.
constexpr std::int64_t kMostTaps = std::int64_t{1} << 28;
/// Pairs of taps beyond which a reduction is refused; a picture of 400 million pixels needs a tenth of it.
constexpr double kMostPairs = 1e11;

/// A finite double cut toward zero, held well inside 64 bits so that sums of a few stay defined.
std::int64_t ToIndex(double value) {
    constexpr double kBound = 1e15;
    return static_cast<std::int64_t>(std::clamp(value, -kBound, kBound));
}

double Step(const ScaleAxis& axis) {
    return axis.outSize != 0 ? static_cast<double>(axis.outSize) / axis.inSize : axis.factor;
}

/// What one result pixel collects. 64 bits hold the sums of any number of taps.
struct Sums {
    std::uint64_t total = 0;         ///< weight of all taps
    std::uint64_t mask = 0;          ///< weighted masks
    std::uint64_t colourWeight = 0;  ///< weight of the taps that give colour
    std::uint64_t colour[3] = {0, 0, 0};
};

/// Pixels with more taps than this drop the low byte of their products.
int ShiftFor(const ScaleTap& column, const ScaleTap& row) { return column.EndInside * row.EndInside > 255 ? 8 : 0; }

/// Weight of the taps `from` to `to` of a row of taps, all of them outside the picture.
std::uint64_t OutsideWeight(const std::uint32_t* weights, const std::int32_t* exponents, std::int64_t from,
                            std::int64_t to) {
    std::uint64_t sum = 0;
    for (std::int64_t k = from; k < to; ++k) sum += weights[exponents[k]];
    return sum;
}

/// One pixel of a picture with transparency; `HasColour` is false for a mask alone.
template <bool HasColour>
Sums CollectMasked(const ConstPlanes& source, const ScaleTap& column, const ScaleTap& row, int shift) {
    Sums sums;
    const std::uint32_t* const gauss = GaussTable().data();
    for (std::int64_t r = 0; r < row.TapCount; ++r) {
        const std::uint32_t* const weights = gauss + row.Exponents[r];
        std::uint64_t maskRow = 0;
        if (r < row.FirstInside || r >= row.EndInside) {
            const std::uint64_t outside = OutsideWeight(weights, column.Exponents, 0, column.TapCount);
            sums.total += outside;
            maskRow = outside * 255;
        } else {
            const std::uint64_t outside = OutsideWeight(weights, column.Exponents, 0, column.FirstInside) +
                                          OutsideWeight(weights, column.Exponents, column.EndInside, column.TapCount);
            sums.total += outside;
            maskRow = outside * 255;
            const std::uint8_t* const masks = source.maskRows[row.Start + r] + column.Start;
            const std::uint8_t* pixels = nullptr;
            if constexpr (HasColour) pixels = source.rows[row.Start + r] + column.Start * 3;
            for (std::int64_t k = column.FirstInside; k < column.EndInside; ++k) {
                const std::uint32_t weight = weights[column.Exponents[k]];
                sums.total += weight;
                maskRow += weight * masks[k];
                if constexpr (HasColour) {
                    if (masks[k] == 255) continue;
                    sums.colourWeight += weight;
                    for (int c = 0; c < 3; ++c) sums.colour[c] += (weight * pixels[k * 3 + c]) >> shift;
                }
            }
        }
        sums.mask += maskRow >> shift;
    }
    sums.total >>= shift;
    sums.colourWeight >>= shift;
    return sums;
}

/// One pixel of a picture without transparency: the taps inside, colour only.
template <OpaqueSums kSums>
Sums CollectOpaque(const ConstPlanes& source, const ScaleTap& column, const ScaleTap& row, int shift) {
    Sums sums;
    const std::uint32_t* const gauss = GaussTable().data();
    for (std::int64_t r = row.FirstInside; r < row.EndInside; ++r) {
        const std::uint32_t* const weights = gauss + row.Exponents[r];
        const std::uint8_t* const pixels = source.rows[row.Start + r] + column.Start * 3;
        std::uint64_t blue = 0, green = 0, red = 0;
        constexpr bool kProducts = kSums == OpaqueSums::ShiftProducts;
        const int productShift = kProducts ? shift : 0;
        for (std::int64_t k = column.FirstInside; k < column.EndInside; ++k) {
            const std::uint32_t weight = weights[column.Exponents[k]];
            sums.colourWeight += weight;
            blue += (weight * pixels[k * 3]) >> productShift;
            green += (weight * pixels[k * 3 + 1]) >> productShift;
            red += (weight * pixels[k * 3 + 2]) >> productShift;
        }
        const int rowShift = kProducts ? 0 : shift;
        sums.colour[0] += blue >> rowShift;
        sums.colour[1] += green >> rowShift;
        sums.colour[2] += red >> rowShift;
    }
    sums.colourWeight >>= shift;
    return sums;
}

/// The rounded mean. The shifts may leave a sum a little above 255 times its weight.
std::uint8_t Mean(std::uint64_t sum, std::uint64_t weight) {
    return static_cast<std::uint8_t>(std::min<std::uint64_t>((sum + weight / 2) / weight, 255));
}

void StoreColour(std::uint8_t* pixel, const Sums& sums) {
    if (sums.colourWeight == 0) return;
    for (int c = 0; c < 3; ++c) pixel[c] = Mean(sums.colour[c], sums.colourWeight);
}

// Sharpening

constexpr int kFraction = 16;

struct SharpenWeights {
    std::int64_t centre;
    std::int64_t side;
};

std::uint8_t Sharpened(const SharpenWeights& weights, int around, int centre) {
    const std::int64_t value = (weights.side * around + weights.centre * centre) >> kFraction;
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(value, 0, 255));
}

/// A row of unsharpened values with a pixel of padding at each end. Padding has mask 255, so that an edge and a pixel
/// that is not there are one case.
struct PaddedRow {
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> masks;

    PaddedRow(int width, int channels)
        : bytes((static_cast<std::size_t>(width) + 2) * static_cast<std::size_t>(channels)),
          masks(static_cast<std::size_t>(width) + 2, 255) {}

    /// Takes a row; without a mask every pixel is there.
    void Load(const std::uint8_t* row, const std::uint8_t* mask, int width, int channels) {
        std::memcpy(bytes.data() + channels, row, static_cast<std::size_t>(width) * static_cast<std::size_t>(channels));
        if (mask)
            std::memcpy(masks.data() + 1, mask, static_cast<std::size_t>(width));
        else
            std::fill(masks.begin() + 1, masks.end() - 1, std::uint8_t{0});
    }
    void LoadNothing() { std::fill(masks.begin(), masks.end(), std::uint8_t{255}); }
};

void SharpenRow(const PaddedRow& below, const PaddedRow& row, const PaddedRow& above, std::uint8_t* out, int width,
                int channels, const SharpenWeights& weights) {
    for (int x = 0; x < width; ++x) {
        const int p = x + 1;
        if (row.masks[static_cast<std::size_t>(p)] == 255) continue;
        const auto there = [p](const PaddedRow& other, int step) {
            return other.masks[static_cast<std::size_t>(p + step)] != 255;
        };
        const bool hasBelow = there(below, 0), hasAbove = there(above, 0);
        const bool hasLeft = there(row, -1), hasRight = there(row, 1);
        for (int c = 0; c < channels; ++c) {
            const auto at = static_cast<std::size_t>(p * channels + c);
            const auto step = static_cast<std::size_t>(channels);
            const int centre = row.bytes[at];
            const int around = (hasBelow ? below.bytes[at] : centre) + (hasAbove ? above.bytes[at] : centre) +
                               (hasLeft ? row.bytes[at - step] : centre) + (hasRight ? row.bytes[at + step] : centre);
            out[x * channels + c] = Sharpened(weights, around, centre);
        }
    }
}

}  // namespace

const std::array<std::uint32_t, 2 * kGaussLimit + 1>& GaussTable() {
    static const auto table = [] {
        std::array<std::uint32_t, 2 * kGaussLimit + 1> weights;
        weights.fill(1);
        for (int i = 0; i < kGaussLimit; ++i)
            weights[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(std::exp(-i / 1024.0) * 65535.0);
        return weights;
    }();
    return table;
}

int OutOrigin(const ScaleAxis& axis) {
    const double moved = -std::floor(-static_cast<double>(axis.origin) * Step(axis) + 0.5);
    return static_cast<int>(std::clamp(moved, -2147483647.0, 2147483647.0));
}

TapTable BuildTaps(const ScaleAxis& axis, double lambda) {
    const double s = Step(axis);
    const std::int64_t origin = axis.origin;
    const std::int64_t outOrigin = OutOrigin(axis);
    const std::int64_t outSize = std::max(axis.outSize, 1);
    // Each record has at most 2 / s + 2 taps; neighbours overlap, so that the whole is a small multiple of the source.
    if (static_cast<double>(outSize) * (2 / s + 2) > static_cast<double>(kMostTaps)) throw std::bad_alloc();

    TapTable table;
    table.taps.resize(static_cast<std::size_t>(outSize));
    table.exponents.reserve(static_cast<std::size_t>(static_cast<double>(outSize) * (2 / s + 2)));
    for (std::int64_t i = 0; i < outSize; ++i) {
        ScaleTap& tap = table.taps[static_cast<std::size_t>(i)];
        const auto j = static_cast<double>(i - outOrigin);
        tap.Start = origin + ToIndex(std::floor((j - 0.5) / s));
        const std::int64_t end = origin + ToIndex(std::ceil((j + 1.5) / s));
        tap.TapCount = std::max<std::int64_t>(end - tap.Start, 0);
        tap.FirstInside = std::clamp<std::int64_t>(-tap.Start, 0, tap.TapCount);
        tap.EndInside = std::clamp<std::int64_t>(std::min<std::int64_t>(end - 1, axis.inSize - 1) + 1 - tap.Start,
                                                 tap.FirstInside, tap.TapCount);
        for (std::int64_t k = 0; k < tap.TapCount; ++k) {
            const double distance = (static_cast<double>(tap.Start + k - origin) + 0.5) * s - (j + 0.5);
            table.exponents.push_back(
                static_cast<std::int32_t>(std::min(distance * distance * lambda * 1024.0, double{kGaussLimit})));
        }
    }
    const std::int32_t* exponents = table.exponents.data();  // the list no longer moves
    for (ScaleTap& tap : table.taps) {
        tap.Exponents = exponents;
        exponents += tap.TapCount;
    }
    return table;
}

void CheckWork(const TapTable& columns, const TapTable& rows) {
    const auto taps = [](const TapTable& table) { return static_cast<double>(table.exponents.size()); };
    if (taps(columns) * taps(rows) > kMostPairs) throw std::bad_alloc();
}

bool HasTransparency(const ConstPlanes& picture) {
    if (!picture.maskRows) return false;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* mask = picture.maskRows[y];
        if (std::any_of(mask, mask + picture.width, [](std::uint8_t byte) { return byte != 0; })) return true;
    }
    return false;
}

bool ReduceGauss(const ConstPlanes& source, const Planes& target, const TapTable& columns, const TapTable& rows,
                 OpaqueSums opaqueSums, const AbortFlag& abort) {
    const bool transparent = HasTransparency(source);
    for (int y = 0; y < target.height; ++y) {
        if (abort.IsSet()) return false;
        const ScaleTap& row = rows.taps[static_cast<std::size_t>(y)];
        if (!transparent && target.maskRows) std::memset(target.maskRows[y], 0, static_cast<std::size_t>(target.width));
        if (!transparent && !target.rows) continue;
        for (int x = 0; x < target.width; ++x) {
            const ScaleTap& column = columns.taps[static_cast<std::size_t>(x)];
            const int shift = ShiftFor(column, row);
            Sums sums;
            if (transparent) {
                sums = target.rows ? CollectMasked<true>(source, column, row, shift)
                                   : CollectMasked<false>(source, column, row, shift);
                target.maskRows[y][x] = sums.total == 0 ? std::uint8_t{255} : Mean(sums.mask, sums.total);
            } else {
                sums = opaqueSums == OpaqueSums::ShiftRows
                           ? CollectOpaque<OpaqueSums::ShiftRows>(source, column, row, shift)
                           : CollectOpaque<OpaqueSums::ShiftProducts>(source, column, row, shift);
            }
            if (target.rows) StoreColour(target.rows[y] + std::ptrdiff_t{x} * 3, sums);
        }
    }
    return true;
}

bool SharpenReduced(const Planes& picture, double scaleX, double scaleY, const AbortFlag& abort) {
    const double a = (2 - scaleX - scaleY) * 0.125;
    const SharpenWeights weights{static_cast<std::int64_t>(65536 * (1 + 4 * a)), static_cast<std::int64_t>(65536 * -a)};
    const int channels = picture.rows ? 3 : 1;
    std::uint8_t* const* const plane = picture.rows ? picture.rows : picture.maskRows;
    const auto maskOf = [&](int y) { return picture.rows && picture.maskRows ? picture.maskRows[y] : nullptr; };

    std::vector<PaddedRow> held(3, PaddedRow(picture.width, channels));
    const auto row = [&held](int y) -> PaddedRow& { return held[static_cast<std::size_t>(y % 3)]; };
    row(2).LoadNothing();  // stands for the row below the first
    row(0).Load(plane[0], maskOf(0), picture.width, channels);
    for (int y = 0; y < picture.height; ++y) {
        if (abort.IsSet()) return false;
        if (y + 1 < picture.height)
            row(y + 1).Load(plane[y + 1], maskOf(y + 1), picture.width, channels);
        else
            row(y + 1).LoadNothing();
        SharpenRow(row(y + 2), row(y), row(y + 1), plane[y], picture.width, channels, weights);
    }
    return true;
}

}  // namespace kestrel::passes
