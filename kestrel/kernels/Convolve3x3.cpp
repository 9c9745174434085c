#include "kestrel/kernels/Convolve3x3.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Convolve3x3.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef KESTREL_KERNELS_CONVOLVE3X3_ONCE
#define KESTREL_KERNELS_CONVOLVE3X3_ONCE
namespace kestrel::kernels {

/// Pixels are made in blocks whose bytes stand as doubles on the stack: every byte is converted once for each row that
/// it is a neighbour of, not once for each product, and the 12 KiB stay in the nearest cache.
constexpr int kBlock = 160;
constexpr std::size_t kBlockBytes = (kBlock + 2) * 3 + 2;  // whole cache lines
/// Fewer pixels than these are not worth a block.
constexpr int kShortRun = 6;

/// Which of the three masks over column `x` say that nothing is there, as bits.
inline unsigned CodeOf(const std::uint8_t* const* masks, int x) {
    return (masks[0][x] == 255 ? 1u : 0u) | (masks[1][x] == 255 ? 2u : 0u) | (masks[2][x] == 255 ? 4u : 0u);
}

/// The weights of pixel `x`: those of missing neighbours fall on the centre.
inline void LocalWeights(const double weights[3][3], const std::uint8_t* const* masks, int x, double local[3][3]) {
    double moved = 0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const bool missing = masks[i][x + j] == 255;
            local[i][j] = missing ? 0.0 : weights[i][j];
            if (missing) moved += weights[i][j];
        }
    local[1][1] += moved;
}

/// Clamped and truncated; NaN becomes 0.
inline std::uint8_t ConvolvedByte(double value) {
    const double atLeast = value > 0.0 ? value : 0.0;
    return static_cast<std::uint8_t>(atLeast < 255.0 ? atLeast : 255.0);
}

inline void ConvolvePixel(const double local[3][3], double bias, const std::uint8_t* const* rows, int x,
                          std::uint8_t* out) {
    for (int channel = 0; channel < 3; ++channel) {
        double sum = 0;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) sum += local[i][j] * rows[i][(x + j) * 3 + channel];
        out[x * 3 + channel] = ConvolvedByte(sum + bias);
    }
}

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// `size` bytes as doubles.
void Widen(const std::uint8_t* bytes, std::size_t size, double* HWY_RESTRICT out) {
    std::size_t b = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<double> d;
    const hn::Rebind<std::int32_t, decltype(d)> d32;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const std::size_t lanes = hn::Lanes(d);
    const auto widen = [=](std::size_t at) HWY_ATTR {
        hn::StoreU(hn::PromoteTo(d, hn::PromoteTo(d32, hn::LoadU(d8, bytes + at))), d, out + at);
    };
    for (; b + 4 * lanes <= size; b += 4 * lanes) {
        widen(b);
        widen(b + lanes);
        widen(b + 2 * lanes);
        widen(b + 3 * lanes);
    }
    for (; b + lanes <= size; b += lanes) widen(b);
#endif
    for (; b < size; ++b) out[b] = bytes[b];
}

/// A block of up to `kBlock` pixels that all have the same weights. Weights of 0 are left out: they add nothing.
void ConvolveBlock(const double weights[3][3], double bias, const std::uint8_t* const* rows, int begin, int end,
                   std::uint8_t* HWY_RESTRICT out) {
    HWY_ALIGN double wide[3][kBlockBytes];
    const auto first = static_cast<std::size_t>(begin) * 3;
    const auto size = static_cast<std::size_t>(end - begin) * 3;
    struct Tap {
        double weight;
        const double* from;
    };
    Tap taps[9];
    int count = 0;
    for (int i = 0; i < 3; ++i) {
        Widen(rows[i] + first, size + 6, wide[i]);
        for (int j = 0; j < 3; ++j)
            if (weights[i][j] != 0) taps[count++] = {weights[i][j], wide[i] + j * 3};
    }
    std::size_t b = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<double> d;
    const hn::Rebind<std::int32_t, decltype(d)> d32;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const std::size_t lanes = hn::Lanes(d);
    const auto store = [=](auto sum, std::size_t at) HWY_ATTR {
        const auto byte = hn::Min(hn::Max(hn::Add(sum, hn::Set(d, bias)), hn::Zero(d)), hn::Set(d, 255.0));
        hn::StoreU(hn::DemoteTo(d8, hn::DemoteTo(d32, byte)), d8, out + first + at);
    };
    // Four sums grow side by side, since each has to wait for its own additions.
    for (; b + 4 * lanes <= size; b += 4 * lanes) {
        auto sum0 = hn::Zero(d), sum1 = sum0, sum2 = sum0, sum3 = sum0;
        for (int t = 0; t < count; ++t) {
            const auto weight = hn::Set(d, taps[t].weight);
            const double* const from = taps[t].from + b;
            sum0 = hn::Add(sum0, hn::Mul(weight, hn::LoadU(d, from)));
            sum1 = hn::Add(sum1, hn::Mul(weight, hn::LoadU(d, from + lanes)));
            sum2 = hn::Add(sum2, hn::Mul(weight, hn::LoadU(d, from + 2 * lanes)));
            sum3 = hn::Add(sum3, hn::Mul(weight, hn::LoadU(d, from + 3 * lanes)));
        }
        store(sum0, b);
        store(sum1, b + lanes);
        store(sum2, b + 2 * lanes);
        store(sum3, b + 3 * lanes);
    }
#endif
    for (; b < size; ++b) {
        double sum = 0;
        for (int t = 0; t < count; ++t) sum += taps[t].weight * taps[t].from[b];
        out[first + b] = ConvolvedByte(sum + bias);
    }
}

/// The first column from `x` on whose three masks are not 255 exactly where `code` has a bit.
int EndOfCode(const std::uint8_t* const* masks, unsigned code, int x, int end) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto nothing = hn::Set(d, 255);
    const auto flip0 = hn::Set(d, code & 1 ? 0 : 255);
    const auto flip1 = hn::Set(d, code & 2 ? 0 : 255);
    const auto flip2 = hn::Set(d, code & 4 ? 0 : 255);
    for (; x + lanes <= end; x += lanes) {
        const auto is = [&](int i, auto flip) HWY_ATTR {
            return hn::Xor(hn::VecFromMask(d, hn::Eq(hn::LoadU(d, masks[i] + x), nothing)), flip);
        };
        const auto all = hn::And(hn::And(is(0, flip0), is(1, flip1)), is(2, flip2));
        if (!hn::AllTrue(d, hn::MaskFromVec(all))) break;
    }
#endif
    while (x < end && CodeOf(masks, x) == code) ++x;
    return x;
}

void ConvolveRow3x3(const double weights[3][3], int bias, const std::uint8_t* const* rows,
                    const std::uint8_t* const* masks, int width, std::uint8_t* out) {
    for (int x = 0; x < width;) {
        const unsigned code = CodeOf(masks, x);
        const int end = std::max(x + 1, EndOfCode(masks, code, x, width + 2) - 2);
        double local[3][3];
        LocalWeights(weights, masks, x, local);
        if (end - x < kShortRun)
            for (; x < end; ++x) ConvolvePixel(local, bias, rows, x, out);
        for (; x < end; x += kBlock) ConvolveBlock(local, bias, rows, x, std::min(x + kBlock, end), out);
        x = end;
    }
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

namespace {

/// Where the three rows begin, as the loops above take them.
struct Starts {
    explicit Starts(const std::array<ConstMaskedRow, 3>& from)
        : rows{from[0].pixels.data(), from[1].pixels.data(), from[2].pixels.data()},
          masks{from[0].mask.data(), from[1].mask.data(), from[2].mask.data()} {}

    const std::uint8_t* rows[3];
    const std::uint8_t* masks[3];
};

void CopyCentreMask(const std::array<ConstMaskedRow, 3>& from, MaskedRow to) {
    if (!to.mask.empty()) std::ranges::copy(from[1].mask.subspan(1, to.mask.size()), to.mask.begin());
}

}  // namespace

void ConvolveRow3x3Plain(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from,
                         MaskedRow to) {
    const Starts starts(from);
    for (int x = 0; x < static_cast<int>(to.mask.size()); ++x) {
        double local[3][3];
        LocalWeights(weights, starts.masks, x, local);
        ConvolvePixel(local, bias, starts.rows, x, to.pixels.data());
    }
    CopyCentreMask(from, to);
}

HWY_EXPORT(ConvolveRow3x3);
void ConvolveRow3x3(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from, MaskedRow to) {
    constexpr double kTame = 1e300;  // no sum of nine products overflows, so that none is infinite or NaN
    bool tame = true;
    for (int i = 0; i < 9; ++i) tame = tame && std::abs(weights[i / 3][i % 3]) < kTame;
    if (!tame) return ConvolveRow3x3Plain(weights, bias, from, to);
    const Starts starts(from);
    HWY_DYNAMIC_DISPATCH(ConvolveRow3x3)
    (weights, bias, starts.rows, starts.masks, static_cast<int>(to.mask.size()), to.pixels.data());
    CopyCentreMask(from, to);
}

}  // namespace kestrel::kernels
#endif
