#include "kestrel/passes/GaussTaps.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "kestrel/kernels/GaussWeights.h"

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

}  // namespace

int OutOrigin(const ScaleAxis& axis) {
    const double moved = -std::floor(-static_cast<double>(axis.origin) * Step(axis) + 0.5);
    return static_cast<int>(std::clamp(moved, -2147483647.0, 2147483647.0));
}

ScaleTap PlaceOfTaps(const ScaleAxis& axis, std::int64_t pixel) {
    const double s = Step(axis);
    const auto j = static_cast<double>(pixel - OutOrigin(axis));
    ScaleTap tap;
    tap.Start = axis.origin + ToIndex(std::floor((j - 0.5) / s));
    const std::int64_t end = axis.origin + ToIndex(std::ceil((j + 1.5) / s));
    tap.TapCount = std::max<std::int64_t>(end - tap.Start, 0);
    tap.FirstInside = std::clamp<std::int64_t>(-tap.Start, 0, tap.TapCount);
    tap.EndInside = std::clamp<std::int64_t>(std::min<std::int64_t>(end - 1, axis.inSize - 1) + 1 - tap.Start,
                                             tap.FirstInside, tap.TapCount);
    return tap;
}

TapTable BuildTaps(const ScaleAxis& axis, double lambda) {
    const double s = Step(axis);
    const std::int64_t outOrigin = OutOrigin(axis);
    const std::int64_t outSize = std::max(axis.outSize, 1);
    // Each record has at most 2 / s + 2 taps; neighbours overlap, so that the whole is a small multiple of the source.
    if (static_cast<double>(outSize) * (2 / s + 2) > static_cast<double>(kMostTaps)) throw std::bad_alloc();

    TapTable table;
    table.taps.resize(static_cast<std::size_t>(outSize));
    table.exponents.reserve(static_cast<std::size_t>(static_cast<double>(outSize) * (2 / s + 2)));
    for (std::int64_t i = 0; i < outSize; ++i) {
        const ScaleTap tap = table.taps[static_cast<std::size_t>(i)] = PlaceOfTaps(axis, i);
        const auto j = static_cast<double>(i - outOrigin);
        for (std::int64_t k = 0; k < tap.TapCount; ++k) {
            const double distance = (static_cast<double>(tap.Start + k - axis.origin) + 0.5) * s - (j + 0.5);
            table.exponents.push_back(static_cast<std::int32_t>(
                std::min(distance * distance * lambda * 1024.0, double{kernels::kGaussLimit})));
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

}  // namespace kestrel::passes
