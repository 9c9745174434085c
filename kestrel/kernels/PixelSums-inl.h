// Weighted sums of the three bytes of 64 pixels at once, without taking them apart into planes: for the AVX-512 that
// has permutes of bytes over two vectors.
#if defined(KESTREL_KERNELS_PIXEL_SUMS_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_PIXEL_SUMS_INL_H
#undef KESTREL_KERNELS_PIXEL_SUMS_INL_H
#else
#define KESTREL_KERNELS_PIXEL_SUMS_INL_H
#endif
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_AVX3_DL
using Bytes64 = hn::Vec<hn::ScalableTag<std::uint8_t>>;
using Words32 = hn::Vec<hn::ScalableTag<std::uint16_t>>;
using Sums16 = hn::Vec<hn::ScalableTag<std::int32_t>>;

/// Bytes in a row that 64 pixels take.
constexpr std::size_t kBytes64 = 192;

/// Where the bytes of permutes come from: 0..63 of the first vector, 64..127 of the second.
struct PixelPermutes {
    alignas(64) std::uint8_t gather[4][64];       ///< blue, green, red, green of 16 pixels of a row
    alignas(64) std::uint8_t spread[3][64];       ///< the second byte of a pixel's sum for each byte of the row
    alignas(64) std::uint8_t narrowWords[64];     ///< the first byte of words packed from sums for each pixel
    alignas(64) std::uint8_t spreadWords[3][64];  ///< the same of the first byte of words packed from sums
};
inline constexpr PixelPermutes kPixelPermutes = [] {
    PixelPermutes permutes{};
    constexpr unsigned kChannels[4] = {0, 1, 2, 1};
    for (unsigned part = 0; part < 4; ++part)  // of the first two vectors, then of the last two
        for (unsigned i = 0; i < 64; ++i)
            permutes.gather[part][i] =
                static_cast<std::uint8_t>((16 * part + i / 4) * 3 + kChannels[i % 4] - part / 2 * 64);
    // Packing takes four sums of the one vector and four of the other in turn.
    for (unsigned i = 0; i < 64; ++i)
        permutes.narrowWords[i] =
            static_cast<std::uint8_t>(2 * (i / 32 * 32 + i % 16 / 4 * 8 + i / 16 % 2 * 4 + i % 4));
    for (unsigned vector = 0; vector < 3; ++vector)
        for (unsigned i = 0; i < 64; ++i) {
            const unsigned pixel = (64 * vector + i) / 3;
            permutes.spread[vector][i] = static_cast<std::uint8_t>((pixel - 16 * vector) * 4 + 1);
            permutes.spreadWords[vector][i] = permutes.narrowWords[pixel];
        }
    return permutes;
}();

HWY_INLINE Bytes64 Permute(Bytes64 first, Bytes64 second, const std::uint8_t (&from)[64]) {
    return Bytes64{_mm512_permutex2var_epi8(first.raw, _mm512_load_si512(from), second.raw)};
}

/// Bytes with half of their range taken off, as the signed factors of sums of products.
HWY_INLINE Bytes64 Signed(Bytes64 bytes) { return hn::Xor(bytes, hn::Set(hn::ScalableTag<std::uint8_t>(), 0x80)); }

/// Weights of the two pairs of bytes that a pixel stands as: blue and green, red and green. The first pair counts once,
/// the second `times` times. No pair may weigh more than 256.
struct PairWeights {
    std::uint8_t blue, green, red, otherGreen;
    std::uint8_t times;
};

/// 64 pixels of a row.
struct Pixels64 {
    Bytes64 bytes[3];

    HWY_INLINE explicit Pixels64(const std::uint8_t* from) {
        for (std::size_t i = 0; i < 3; ++i) bytes[i] = hn::LoadU(hn::ScalableTag<std::uint8_t>(), from + 64 * i);
    }

    /// The weighted sums, 16 to a vector, of which 128 times all weights are missing.
    HWY_INLINE void Sum(PairWeights weights, Sums16 (&sums)[4]) const {
        const __m512i pairs = _mm512_set1_epi32(weights.blue | weights.green << 8 | weights.red << 16 |
                                                static_cast<int>(unsigned{weights.otherGreen} << 24));
        const __m512i times = _mm512_set1_epi32(1 | weights.times << 16);
        const Bytes64 own[3] = {Signed(bytes[0]), Signed(bytes[1]), Signed(bytes[2])};
        for (std::size_t part = 0; part < 4; ++part) {
            const auto pixels = Permute(own[part / 2], own[part / 2 + 1], kPixelPermutes.gather[part]);
            sums[part] = Sums16{_mm512_madd_epi16(_mm512_maddubs_epi16(pairs, pixels.raw), times)};
        }
    }
};

/// Sums whose second bytes are luminances without 128.
constexpr PairWeights kLuminanceWeights{28, 151, 77, 0, 1};

/// Vector `i` of a row whose bytes are the second bytes of the sums of their pixels.
HWY_INLINE Bytes64 SpreadSecondBytes(const Sums16 (&sums)[4], std::size_t i) {
    const hn::ScalableTag<std::uint8_t> d;
    return Permute(hn::BitCast(d, sums[i]), hn::BitCast(d, sums[i + 1]), kPixelPermutes.spread[i]);
}
/// Sums that fit words, as the functions below take them.
HWY_INLINE Words32 Pack(Sums16 first, Sums16 second) { return Words32{_mm512_packs_epi32(first.raw, second.raw)}; }
/// The words as a byte for each pixel.
HWY_INLINE Bytes64 NarrowWords(Words32 first, Words32 second) {
    const hn::ScalableTag<std::uint8_t> d;
    return Permute(hn::BitCast(d, first), hn::BitCast(d, second), kPixelPermutes.narrowWords);
}
/// Vector `i` of a row whose bytes are the words of their pixels.
HWY_INLINE Bytes64 SpreadWords(Words32 first, Words32 second, std::size_t i) {
    const hn::ScalableTag<std::uint8_t> d;
    return Permute(hn::BitCast(d, first), hn::BitCast(d, second), kPixelPermutes.spreadWords[i]);
}

/// Bytes of two vectors in pairs as words, changed by `change(words, half)`, half 0 or 1, and cut to bytes again, above
/// 255 to 255: each lane of 16 bytes has its first eight in half 0.
template <class Change>
HWY_INLINE Bytes64 MapPairs(Bytes64 even, Bytes64 odd, const Change& change) {
    const __m512i low = change(_mm512_unpacklo_epi8(even.raw, odd.raw), 0);
    const __m512i high = change(_mm512_unpackhi_epi8(even.raw, odd.raw), 1);
    return Bytes64{_mm512_packus_epi16(low, high)};
}
#endif

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
