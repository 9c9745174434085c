// Runners that own the loop over a row and its tail; a kernel gives the step.
#if defined(KESTREL_KERNELS_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_ROWS_INL_H
#undef KESTREL_KERNELS_ROWS_INL_H
#else
#define KESTREL_KERNELS_ROWS_INL_H
#endif
#include <hwy/highway.h>

#include <cstring>

#include "kestrel/foundation/Prefetch.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Row.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// The integer luminance, 0..255, of bytes in 32-bit lanes.
template <class D, class V>
HWY_INLINE V LuminanceLanes(D d, V blue, V green, V red) {
    return hn::ShiftRight<8>(
        hn::Add(hn::Add(hn::Mul(red, hn::Set(d, 77)), hn::Mul(green, hn::Set(d, 151))), hn::Mul(blue, hn::Set(d, 28))));
}

#if HWY_TARGET != HWY_SCALAR
/// Byte `kByte` of each lane, 0..255. Bytes are taken from wide lanes and put back without crossing them, which is
/// cheaper than to promote and demote.
template <int kByte, class D, class V8>
HWY_INLINE hn::Vec<D> ByteOfLanes(D d, V8 bytes) {
    const hn::RebindToUnsigned<D> du;
    const auto shifted = hn::ShiftRight<8 * kByte>(hn::BitCast(du, bytes));
    return hn::BitCast(d, hn::And(shifted, hn::Set(du, 255)));
}
/// Lanes of 0..255 as byte `kByte` of otherwise empty lanes, as a vector of bytes.
template <int kByte, class D, class V>
HWY_INLINE auto LanesToByte(D /*d*/, V lanes) {
    return hn::BitCast(hn::Repartition<std::uint8_t, D>(), hn::ShiftLeft<8 * kByte>(lanes));
}

/// Changes byte `kByte` and the following ones of the lanes of three planes.
template <int kByte = 0, class D, class V8, class Wide>
HWY_INLINE void MapBytesOfLanes(D d, V8 blue8, V8 green8, V8 red8, V8& blueOut, V8& greenOut, V8& redOut,
                                const Wide& wide) {
    auto blue = ByteOfLanes<kByte>(d, blue8);
    auto green = ByteOfLanes<kByte>(d, green8);
    auto red = ByteOfLanes<kByte>(d, red8);
    wide(d, blue, green, red);
    blueOut = kByte ? hn::Or(blueOut, LanesToByte<kByte>(d, blue)) : LanesToByte<kByte>(d, blue);
    greenOut = kByte ? hn::Or(greenOut, LanesToByte<kByte>(d, green)) : LanesToByte<kByte>(d, green);
    redOut = kByte ? hn::Or(redOut, LanesToByte<kByte>(d, red)) : LanesToByte<kByte>(d, red);
    if constexpr (kByte + 1 < static_cast<int>(sizeof(hn::TFromD<D>)))
        MapBytesOfLanes<kByte + 1>(d, blue8, green8, red8, blueOut, greenOut, redOut, wide);
}
#endif

#if HWY_TARGET != HWY_SCALAR
/// How a step of `EachGroup` writes.
struct Put {
    template <class V, class D>
    HWY_INLINE void operator()(V v, D d, std::uint8_t* to) const {
        hn::StoreU(v, d, to);
    }
    /// Three planes as pixels.
    template <class V, class D>
    HWY_INLINE void Planes(V blue, V green, V red, D d, std::uint8_t* to) const {
        hn::StoreInterleaved3(blue, green, red, d, to);
    }
};
/// The same past the caches; `to` is the begin of a vector in memory.
struct PutPastCaches {
    template <class V, class D>
    HWY_INLINE void operator()(V v, D d, std::uint8_t* to) const {
        hn::Stream(v, d, to);
    }
    template <class V, class D>
    HWY_INLINE void Planes(V blue, V green, V red, D d, std::uint8_t* to) const {
        HWY_ALIGN std::uint8_t pixels[3 * HWY_MAX_BYTES];
        hn::StoreInterleaved3(blue, green, red, d, pixels);
        for (std::size_t i = 0; i < 3 * hn::Lanes(d); i += hn::Lanes(d)) hn::Stream(hn::Load(d, pixels + i), d, to + i);
    }
};

/// Bytes of three vectors, which hold whole pixels.
inline std::size_t GroupSize() { return 3 * hn::Lanes(hn::ScalableTag<std::uint8_t>()); }

/// How far ahead of a group that is written past the caches the source is prefetched, bytes, also beyond the end of the
/// row, where the next one begins.
inline constexpr std::size_t kAhead = 4096;

/// Does a row in groups of `GroupSize`: `step(from, to, put)` reads a group and writes it, three vectors by `put`. The
/// last bytes of the row go through a buffer.
template <class Step>
void EachGroup(const RowPair& row, const Step& step) {
    const std::size_t group = GroupSize(), size = row.size();
    const std::uint8_t* const from = row.from.data();
    std::uint8_t* const to = row.to.data();
    std::size_t i = 0;
    if (row.streams && size >= 2 * group) {
        step(from, to, Put());
        // From the first pixel on that lies at a whole vector, a part of the group above a second time.
        const std::size_t vector = group / 3;
        i = (vector - reinterpret_cast<std::uintptr_t>(to) % vector) % vector;
        while (i % 3 != 0) i += vector;
        for (; i + group <= size; i += group) {
            PrefetchToRead({from + i + kAhead, group});
            step(from + i, to + i, PutPastCaches());
        }
    } else {
        for (; i + group <= size; i += group) step(from + i, to + i, Put());
    }
    if (i == size) return;
    HWY_ALIGN std::uint8_t rest[3 * HWY_MAX_BYTES] = {};
    std::memcpy(rest, from + i, size - i);
    step(rest, rest, Put());
    std::memcpy(to + i, rest, size - i);
}
#endif

/// Bytes that are all mapped alike, as 16-bit lanes: `wide(d, bytes)` does a vector, `plain(byte)` one byte where a
/// vector holds no more.
template <class Wide, class Plain>
void MapBytes(const RowPair& row, [[maybe_unused]] Wide wide, [[maybe_unused]] Plain plain) {
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::RepartitionToWide<decltype(d8)> d16;
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t i = 0; i < GroupSize(); i += hn::Lanes(d8)) {
            const auto both = hn::LoadU(d8, from + i);
            const auto even = wide(d16, ByteOfLanes<0>(d16, both));
            const auto odd = wide(d16, ByteOfLanes<1>(d16, both));
            put(hn::Or(LanesToByte<0>(d16, even), LanesToByte<1>(d16, odd)), d8, to + i);
        }
    });
#else
    for (std::size_t i = 0; i < row.size(); ++i) row.to[i] = plain(row.from[i]);
#endif
}

/// Pixels as three planes of lanes of a number, 16 or 32 bits: `wide(d, blue, green, red)` changes three vectors in
/// place and leaves 0..255 in each lane, `plain(Bgr)` does one pixel where a vector holds no more.
template <class Number, class Wide, class Plain>
void MapPlanes(const RowPair& row, [[maybe_unused]] Wide wide, [[maybe_unused]] Plain plain) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<Number, decltype(d8)> d;
    EachGroup(row, [&](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        hn::Vec<decltype(d8)> blue, green, red, newBlue, newGreen, newRed;
        hn::LoadInterleaved3(d8, from, blue, green, red);
        MapBytesOfLanes(d, blue, green, red, newBlue, newGreen, newRed, wide);
        put.Planes(newBlue, newGreen, newRed, d8, to);
    });
#else
    MapPixels(row, plain);
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
