// Runners that own the lane loop and the tail of a row; a kernel gives the vector step and the plain step. The tail is
// done by the plain step: rows are rewritten in place, so no lane may be done twice.
#if defined(KESTREL_KERNELS_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_ROWS_INL_H
#undef KESTREL_KERNELS_ROWS_INL_H
#else
#define KESTREL_KERNELS_ROWS_INL_H
#endif
#include <hwy/highway.h>

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

/// Bytes that are all mapped alike, as 16-bit lanes: `wide(d, bytes)` does a vector, `plain(byte)` one byte.
template <class Wide, class Plain>
void MapBytes(Row row, [[maybe_unused]] Wide wide, Plain plain) {
    std::uint8_t* const bytes = row.data();
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::RepartitionToWide<decltype(d8)> d16;
    for (; i + hn::Lanes(d8) <= row.size(); i += hn::Lanes(d8)) {
        const auto both = hn::LoadU(d8, bytes + i);
        const auto even = wide(d16, ByteOfLanes<0>(d16, both));
        const auto odd = wide(d16, ByteOfLanes<1>(d16, both));
        hn::StoreU(hn::Or(LanesToByte<0>(d16, even), LanesToByte<1>(d16, odd)), d8, bytes + i);
    }
#endif
    for (; i < row.size(); ++i) bytes[i] = plain(bytes[i]);
}

/// Pixels as three planes of lanes of a number, 16 or 32 bits: `wide(d, blue, green, red)` changes three vectors in
/// place and leaves 0..255 in each lane, `plain(Bgr)` does one pixel.
template <class Number, class Wide, class Plain>
void MapPlanes(Row row, [[maybe_unused]] Wide wide, Plain plain) {
    std::uint8_t* const bytes = row.data();
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<Number, decltype(d8)> d;
    const std::size_t step = hn::Lanes(d8) * 3;
    for (; i + step <= row.size(); i += step) {
        hn::Vec<decltype(d8)> blue, green, red, newBlue, newGreen, newRed;
        hn::LoadInterleaved3(d8, bytes + i, blue, green, red);
        MapBytesOfLanes(d, blue, green, red, newBlue, newGreen, newRed, wide);
        hn::StoreInterleaved3(newBlue, newGreen, newRed, d8, bytes + i);
    }
#endif
    for (; i + 2 < row.size(); i += 3) Store(bytes + i, plain(Load(bytes + i)));
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
