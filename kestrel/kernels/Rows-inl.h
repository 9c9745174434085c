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

/// Bytes that are all mapped alike, as 16-bit lanes: `wide(d, bytes)` does a vector, `plain(byte)` one byte.
template <class Wide, class Plain>
void MapBytes(Row row, [[maybe_unused]] const Wide& wide, const Plain& plain) {
    std::uint8_t* const bytes = row.data();
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::uint16_t> d16;
    const hn::Rebind<std::int16_t, decltype(d16)> di16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8;
    const std::size_t lanes = hn::Lanes(d16);
    for (; i + lanes <= row.size(); i += lanes) {
        const auto out = wide(d16, hn::PromoteTo(d16, hn::LoadU(d8, bytes + i)));
        hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di16, out)), d8, bytes + i);
    }
#endif
    for (; i < row.size(); ++i) bytes[i] = plain(bytes[i]);
}

/// Pixels as three planes of lanes of a number, 16 or 32 bits: `wide(d, blue, green, red)` changes three vectors in
/// place and leaves 0..255 in each lane, `plain(Bgr)` does one pixel.
template <class Number, class Wide, class Plain>
void MapPlanes(Row row, [[maybe_unused]] const Wide& wide, const Plain& plain) {
    std::uint8_t* const bytes = row.data();
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<Number> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const std::size_t step = hn::Lanes(d) * 3;
    for (; i + step <= row.size(); i += step) {
        hn::Vec<decltype(d8)> blue8, green8, red8;
        hn::LoadInterleaved3(d8, bytes + i, blue8, green8, red8);
        auto blue = hn::PromoteTo(d, blue8);
        auto green = hn::PromoteTo(d, green8);
        auto red = hn::PromoteTo(d, red8);
        wide(d, blue, green, red);
        hn::StoreInterleaved3(hn::DemoteTo(d8, hn::BitCast(di, blue)), hn::DemoteTo(d8, hn::BitCast(di, green)),
                              hn::DemoteTo(d8, hn::BitCast(di, red)), d8, bytes + i);
    }
#endif
    for (; i + 2 < row.size(); i += 3) Store(bytes + i, plain(Load(bytes + i)));
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
