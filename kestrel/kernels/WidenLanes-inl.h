// Bytes as vectors of doubles.
#if defined(KESTREL_KERNELS_WIDEN_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_WIDEN_LANES_INL_H
#undef KESTREL_KERNELS_WIDEN_LANES_INL_H
#else
#define KESTREL_KERNELS_WIDEN_LANES_INL_H
#endif
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
/// As many bytes as a vector has doubles.
template <class D>
HWY_INLINE hn::Vec<D> WidenLanes(D d, const std::uint8_t* bytes) {
#if HWY_TARGET <= HWY_AVX3
    if constexpr (hn::MaxLanes(D()) == 8) {  // 64 bits to 64 bits: no lane has to move once more
        const __m128i all = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
        return hn::Vec<D>{_mm512_cvtepi64_pd(_mm512_cvtepu8_epi64(all))};
    }
#endif
    const hn::Rebind<std::int32_t, D> d32;
    return hn::PromoteTo(d, hn::PromoteTo(d32, hn::LoadU(hn::Rebind<std::uint8_t, D>(), bytes)));
}
#endif

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
