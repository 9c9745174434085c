#include "kestrel/kernels/Convolve3x3.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Convolve3x3.cpp"
#include <hwy/foreach_target.h>

#include "kestrel/kernels/WidenLanes-inl.h"

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

/// What weights have in common, so that a byte needs fewer products than nine.
enum class Shape {
    Any,
    Diagonal,  ///< only the centre counts, and the corners before and after it
    Cross,     ///< the neighbours weigh the same, those in the corners nothing
    Ring,      ///< all eight neighbours weigh the same
};
inline Shape ShapeOf(const double w[3][3]) {
    const double edge = w[0][1];
    if (edge == 0 && w[0][2] == 0 && w[1][0] == 0 && w[1][2] == 0 && w[2][0] == 0 && w[2][1] == 0)
        return Shape::Diagonal;
    if (w[1][0] != edge || w[1][2] != edge || w[2][1] != edge) return Shape::Any;
    const auto corners = [w](double weight) {
        return w[0][0] == weight && w[0][2] == weight && w[2][0] == weight && w[2][2] == weight;
    };
    return corners(0) ? Shape::Cross : corners(edge) ? Shape::Ring : Shape::Any;
}

/// Clamped and truncated; NaN becomes 0.
inline std::uint8_t ConvolvedByte(double value) {
    const double atLeast = value > 0.0 ? value : 0.0;
    return static_cast<std::uint8_t>(atLeast < 255.0 ? atLeast : 255.0);
}

/// One byte; `at` is that of its left neighbour in the three rows.
inline std::uint8_t ConvolveByte(const double local[3][3], double bias, const std::uint8_t* const* rows,
                                 std::size_t at) {
    double sum = 0;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) sum += local[i][j] * rows[i][at + 3 * j];
    return ConvolvedByte(sum + bias);
}

inline void ConvolvePixel(const double local[3][3], double bias, const std::uint8_t* const* rows, int x,
                          std::uint8_t* out) {
    const auto first = static_cast<std::size_t>(x) * 3;
    for (std::size_t b = first; b < first + 3; ++b) out[b] = ConvolveByte(local, bias, rows, b);
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
    const std::size_t lanes = hn::Lanes(d);
    const auto widen = [=](std::size_t at) HWY_ATTR { hn::StoreU(WidenLanes(d, bytes + at), d, out + at); };
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

#if HWY_TARGET != HWY_SCALAR
/// The vectors that begin three lanes before `there` and three lanes after `here`, of two neighbours.
#if HWY_TARGET <= HWY_AVX3
constexpr bool kShifts = true;
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelBefore(D d, V here, V there) {
    const hn::RebindToSigned<D> di;
    const auto a = hn::BitCast(di, here), b = hn::BitCast(di, there);
    return hn::BitCast(d, hn::Vec<decltype(di)>{_mm512_alignr_epi64(b.raw, a.raw, 5)});
}
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelAfter(D d, V here, V there) {
    const hn::RebindToSigned<D> di;
    const auto a = hn::BitCast(di, here), b = hn::BitCast(di, there);
    return hn::BitCast(d, hn::Vec<decltype(di)>{_mm512_alignr_epi64(b.raw, a.raw, 3)});
}
#elif HWY_TARGET == HWY_AVX2
constexpr bool kShifts = true;
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelBefore(D /*d*/, V here, V there) {
    return V{_mm256_shuffle_pd(here.raw, _mm256_permute2f128_pd(here.raw, there.raw, 0x21), 5)};
}
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelAfter(D /*d*/, V here, V there) {
    return V{_mm256_shuffle_pd(_mm256_permute2f128_pd(here.raw, there.raw, 0x21), there.raw, 5)};
}
#else
constexpr bool kShifts = false;  // no vector holds a pixel
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelBefore(D /*d*/, V /*here*/, V there) {
    return there;
}
template <class D, class V = hn::Vec<D>>
HWY_INLINE V PixelAfter(D /*d*/, V here, V /*there*/) {
    return here;
}
#endif

/// So many vectors of sums are made side by side: their states fit the registers.
constexpr std::size_t kAbreast = 4;

#if HWY_TARGET <= HWY_AVX3
/// Two vectors of sums as 32-bit numbers, a lane of each in turn.
template <class D, class V = hn::Vec<D>>
HWY_INLINE __m512i Pair(D /*d*/, V even, V odd) {
    return _mm512_mask_shuffle_epi32(_mm512_cvttpd_epi64(even.raw), 0xAAAA, _mm512_cvttpd_epi64(odd.raw),
                                     _MM_PERM_CCAA);
}
/// Stores pairs as bytes; what is beyond a byte is held to it.
template <class D>
HWY_INLINE void StorePairs(D /*d*/, const __m512i (&pairs)[kAbreast / 2], std::uint8_t* to) {
    alignas(64) static constexpr auto kOrder = [] {
        std::array<std::uint16_t, 32> order{};
        for (unsigned i = 0; i < 32; ++i) {  // lane i % 8 of vector i / 8
            const unsigned block = i % 8 / 2, pair = i / 16, lane = i % 2, odd = i / 8 % 2;
            order[i] = static_cast<std::uint16_t>(8 * block + 4 * pair + 2 * lane + odd);
        }
        return order;
    }();
    const __m512i words =
        _mm512_permutexvar_epi16(_mm512_load_si512(kOrder.data()), _mm512_packs_epi32(pairs[0], pairs[1]));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to),
                        _mm512_cvtusepi16_epi8(_mm512_max_epi16(words, _mm512_setzero_si512())));
}
#else
template <class D>
using Pairs = hn::Vec<hn::Twice<hn::Rebind<std::int32_t, D>>>;
template <class D, class V = hn::Vec<D>>
HWY_INLINE Pairs<D> Pair(D /*d*/, V first, V second) {
    const hn::Rebind<std::int32_t, D> d32;
    return hn::Combine(hn::Twice<decltype(d32)>(), hn::DemoteTo(d32, second), hn::DemoteTo(d32, first));
}
template <class D>
HWY_INLINE void StorePairs(D /*d*/, const Pairs<D> (&pairs)[kAbreast / 2], std::uint8_t* to) {
    const hn::Twice<hn::Rebind<std::uint8_t, D>> d8;
    for (std::size_t v = 0; v < kAbreast / 2; ++v) hn::StoreU(hn::DemoteTo(d8, pairs[v]), d8, to + v * hn::Lanes(d8));
}
#endif

/// The bytes of sums that come one vector after the other.
template <class D>
class SumBytes {
public:
    HWY_INLINE void Add(std::size_t v, hn::Vec<D> sum) {
        if (v % 2 == 0)
            even_ = sum;
        else
            pairs_[v / 2] = Pair(D(), even_, sum);
    }
    HWY_INLINE void Store(std::uint8_t* to) const { StorePairs(D(), pairs_, to); }

private:
    hn::Vec<D> even_;
    decltype(Pair(D(), even_, even_)) pairs_[kAbreast / 2];
};

/// Sums of bytes side by side, in vectors of doubles, on their way up the rows: each row of bytes is converted once and
/// adds to three sums of a byte. It is the upper row of the first, the middle of the second, and the lower row of the
/// third.
template <Shape kShape>
struct Column {
    template <class D>
    static void Make(D d, const double weights[3][3], const std::uint8_t* const* from, std::uint8_t* const* to,
                     std::size_t count, std::size_t at) {
        using V = hn::Vec<D>;
        V w[3][3];  // held by value: a store of a byte could change the others
        for (int i = 0; i < 9; ++i) w[i / 3][i % 3] = hn::Set(d, weights[i / 3][i % 3]);
        V one[kAbreast];  // have their lower row
        V two[kAbreast];  // have their lower and middle rows
        for (std::size_t v = 0; v < kAbreast; ++v) one[v] = two[v] = hn::Zero(d);
        for (std::size_t row = 0; row < count + 2; ++row) {
            SumBytes<D> bytes;
            for (std::size_t v = 0; v < kAbreast; ++v) {
                const std::uint8_t* const here = from[row] + at + v * hn::Lanes(d);
                const V left = WidenLanes(d, here);
                const V centre = WidenLanes(d, here + 3);
                const V right = WidenLanes(d, here + 6);
                if constexpr (kShape == Shape::Diagonal) {  // products of 0 add nothing
                    bytes.Add(v, hn::Add(two[v], hn::Mul(w[2][2], right)));
                    two[v] = hn::Add(one[v], hn::Mul(w[1][1], centre));
                    one[v] = hn::Mul(w[0][0], left);
                } else {
                    bytes.Add(v, hn::Add(hn::Add(hn::Add(two[v], hn::Mul(w[2][0], left)), hn::Mul(w[2][1], centre)),
                                         hn::Mul(w[2][2], right)));
                    two[v] = hn::Add(hn::Add(hn::Add(one[v], hn::Mul(w[1][0], left)), hn::Mul(w[1][1], centre)),
                                     hn::Mul(w[1][2], right));
                    one[v] =
                        hn::Add(hn::Add(hn::Mul(w[0][0], left), hn::Mul(w[0][1], centre)), hn::Mul(w[0][2], right));
                }
            }
            if (row >= 2) bytes.Store(to[row - 2] + at);
        }
    }
};

/// All neighbours weigh the same: the products of a row are made once, and shifted by a pixel for the neighbours.
template <Shape kShape>
requires(kShape == Shape::Cross || kShape == Shape::Ring) struct Column<kShape> {
    template <class D>
    static void Make(D d, const double weights[3][3], const std::uint8_t* const* from, std::uint8_t* const* to,
                     std::size_t count, std::size_t at) {
        using V = hn::Vec<D>;
        const V edge = hn::Set(d, weights[0][1]);
        const V middle = hn::Set(d, weights[1][1]);
        V one[kAbreast], two[kAbreast];  // as above
        for (std::size_t v = 0; v < kAbreast; ++v) one[v] = two[v] = hn::Zero(d);
        for (std::size_t row = 0; row < count + 2; ++row) {
            const std::uint8_t* const in = from[row] + at;
            V before = edge, after = edge;  // the products to the left and to the right
            V value = WidenLanes(d, in + 3);
            V product = hn::Mul(edge, value);
            SumBytes<D> bytes;
            for (std::size_t v = 0; v < kAbreast; ++v) {
                const std::uint8_t* const here = in + v * hn::Lanes(d);
                const bool last = v + 1 == kAbreast;
                const V centre = hn::Mul(middle, value);
                if (!last) value = WidenLanes(d, here + hn::Lanes(d) + 3);
                if (!last) after = hn::Mul(edge, value);
                const V left =
                    v == 0 || !kShifts ? hn::Mul(edge, WidenLanes(d, here)) : PixelBefore(d, before, product);
                const V right =
                    last || !kShifts ? hn::Mul(edge, WidenLanes(d, here + 6)) : PixelAfter(d, product, after);
                if constexpr (kShape == Shape::Cross) {
                    bytes.Add(v, hn::Add(two[v], product));
                    two[v] = hn::Add(hn::Add(hn::Add(one[v], left), centre), right);
                    one[v] = product;
                } else {
                    bytes.Add(v, hn::Add(hn::Add(hn::Add(two[v], left), product), right));
                    two[v] = hn::Add(hn::Add(hn::Add(one[v], left), centre), right);
                    one[v] = hn::Add(hn::Add(left, product), right);
                }
                before = product;
                product = after;
            }
            if (row >= 2) bytes.Store(to[row - 2] + at);
        }
    }
};
#endif

/// `size` bytes of `count` rows of which no neighbour is missing; `from` begins with the left neighbour of the first.
template <Shape kShape>
void ConvolveOpaque(const double weights[3][3], const std::uint8_t* const* from, std::uint8_t* const* to,
                    std::size_t count, std::size_t size) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<double> d;
    const std::size_t step = kAbreast * hn::Lanes(d);
    for (std::size_t at = 0; at + step <= size; at += step) Column<kShape>::Make(d, weights, from, to, count, at);
    if (size >= step) {  // the rows are not in place, so that bytes may be made twice
        if (size % step) Column<kShape>::Make(d, weights, from, to, count, size - step);
        return;
    }
#endif
    for (std::size_t row = 0; row < count; ++row)
        for (std::size_t b = 0; b < size; ++b) to[row][b] = ConvolveByte(weights, 0, from + row, b);
}

void ConvolveOpaqueRows(const double weights[3][3], const std::uint8_t* const* from, std::uint8_t* const* to,
                        std::size_t count, std::size_t size) {
    switch (ShapeOf(weights)) {
        case Shape::Cross:
            return ConvolveOpaque<Shape::Cross>(weights, from, to, count, size);
        case Shape::Ring:
            return ConvolveOpaque<Shape::Ring>(weights, from, to, count, size);
        case Shape::Diagonal:
            return ConvolveOpaque<Shape::Diagonal>(weights, from, to, count, size);
        case Shape::Any:
            return ConvolveOpaque<Shape::Any>(weights, from, to, count, size);
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
    std::copy_n(from[1].mask.data() + 1, to.mask.size(), to.mask.data());
}

bool IsWhole(ConstMaskedRow row) { return !std::memchr(row.mask.data(), 255, row.mask.size()); }

/// Are all sums so small that 32 bits hold them?
bool IsTame(const double weights[3][3]) {
    double maximum = 0;
    for (int i = 0; i < 9; ++i) maximum += 255 * std::abs(weights[i / 3][i % 3]);
    return maximum < 0x7F000000;  // never true of NaN
}

MaskedRow Part(MaskedRow row, std::size_t first, std::size_t count) {
    return {row.pixels.subspan(first * 3, count * 3), row.mask.subspan(first, count)};
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

namespace {

/// The three rows around a row of `to`.
std::array<ConstMaskedRow, 3> Around(std::span<const ConstMaskedRow> from, std::size_t y) {
    return {from[y], from[y + 1], from[y + 2]};
}

/// All pixels of a row but the first and the last.
void ConvolveMiddle(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from, MaskedRow to) {
    if (to.mask.size() > 2) ConvolveRow3x3(weights, bias, from, Part(to, 1, to.mask.size() - 2));
}

/// The first and the last pixel of a row, beside which nothing is.
void ConvolveEnds(const double weights[3][3], int bias, const std::array<ConstMaskedRow, 3>& from, MaskedRow to) {
    const std::size_t width = to.mask.size();
    for (std::size_t x = 0; x < width; x += std::max<std::size_t>(width - 1, 1)) {
        std::uint8_t pixels[3][9] = {};
        std::uint8_t masks[3][3] = {{255, 255, 255}, {255, 255, 255}, {255, 255, 255}};
        const std::size_t first = x > 0 ? x - 1 : 0;
        const std::size_t count = std::min(x + 2, width) - first;
        for (std::size_t i = 0; i < 3; ++i) {
            std::copy_n(from[i].pixels.data() + first * 3, count * 3, pixels[i] + (first + 1 - x) * 3);
            std::copy_n(from[i].mask.data() + first, count, masks[i] + (first + 1 - x));
        }
        ConvolveRow3x3Plain(weights, bias, {{{pixels[0], masks[0]}, {pixels[1], masks[1]}, {pixels[2], masks[2]}}},
                            Part(to, x, 1));
    }
}

}  // namespace

HWY_EXPORT(ConvolveOpaqueRows);
void ConvolveRows3x3(const double weights[3][3], int bias, std::span<const ConstMaskedRow> from,
                     std::span<const MaskedRow> to) {
    constexpr std::size_t kMaxRows = 32;  // at once, so that their lines stay in the nearest cache
    const std::size_t width = to.empty() ? 0 : to[0].mask.size();
    const bool fits = width > 2 && bias == 0 && IsTame(weights);
    for (std::size_t y = 0; y < to.size();) {
        std::size_t whole = 0;  // rows from `y` on
        while (fits && y + whole < from.size() && whole < kMaxRows + 2 && IsWhole(from[y + whole])) ++whole;
        if (whole < 3) {
            ConvolveMiddle(weights, bias, Around(from, y), to[y]);
            ConvolveEnds(weights, bias, Around(from, y), to[y]);
            ++y;
            continue;
        }
        const std::uint8_t* bytes[kMaxRows + 2];
        std::uint8_t* out[kMaxRows];
        for (std::size_t row = 0; row < whole; ++row) bytes[row] = from[y + row].pixels.data();
        for (std::size_t row = 0; row < whole - 2; ++row) out[row] = to[y + row].pixels.data() + 3;
        HWY_DYNAMIC_DISPATCH(ConvolveOpaqueRows)(weights, bytes, out, whole - 2, (width - 2) * 3);
        for (std::size_t row = 0; row < whole - 2; ++row) {
            std::ranges::copy(from[y + row + 1].mask, to[y + row].mask.data());
            ConvolveEnds(weights, bias, Around(from, y + row), to[y + row]);
        }
        y += whole - 2;
    }
}

}  // namespace kestrel::kernels
#endif
