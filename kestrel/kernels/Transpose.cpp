#include "kestrel/kernels/Transpose.h"  // plain headers first: nothing shared may be compiled for one target

#include <array>
#include <cstring>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Transpose.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <std::size_t kSize>
void TransposePlain(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to) {
    for (std::size_t i = 0; i < to.size(); ++i)
        for (std::size_t j = 0; j < from.size(); ++j) std::memcpy(to[i] + j * kSize, from[j] + i * kSize, kSize);
}

#if HWY_TARGET == HWY_SCALAR  // no shuffles

void TransposePixelBlock(const std::uint8_t* const* from, std::uint8_t* const* to) {
    TransposePlain<3>({from, kTransposedBlock}, {to, kTransposedBlock});
}
void TransposeByteBlock(const std::uint8_t* const* from, std::uint8_t* const* to) {
    TransposePlain<1>({from, kTransposedBlock}, {to, kTransposedBlock});
}

#else

/// Interleaves the lanes of each of the first half of the rows with those of the row that stands half of them further
/// on. As often as the number of a lane has bits, this transposes as many rows as each has lanes.
template <class D, class Rows, std::size_t... i>
HWY_INLINE Rows Interleaved(D d, const Rows& rows, std::index_sequence<i...>) {
    constexpr std::size_t kHalf = sizeof...(i) / 2;
    return {(i % 2 == 0 ? hn::InterleaveLower(d, rows[i / 2], rows[i / 2 + kHalf])
                        : hn::InterleaveUpper(d, rows[i / 2], rows[i / 2 + kHalf]))...};
}

void TransposeByteBlock(const std::uint8_t* const* from, std::uint8_t* const* to) {
    const hn::FixedTag<std::uint8_t, 16> d;
    constexpr auto kAll = std::make_index_sequence<kTransposedBlock>();
    std::array<hn::Vec<decltype(d)>, kTransposedBlock> rows;
    for (std::size_t j = 0; j < kTransposedBlock; ++j) rows[j] = hn::LoadU(d, from[j]);
    rows = Interleaved(d, Interleaved(d, rows, kAll), kAll);
    rows = Interleaved(d, Interleaved(d, rows, kAll), kAll);
    for (std::size_t i = 0; i < kTransposedBlock; ++i) hn::StoreU(rows[i], d, to[i]);
}

// Four pixels of three bytes at either end of a vector, and of four bytes.
alignas(16) constexpr std::uint8_t kWidenLower[16] = {0, 1, 2, 128, 3, 4, 5, 128, 6, 7, 8, 128, 9, 10, 11, 128};
alignas(16) constexpr std::uint8_t kWidenUpper[16] = {4, 5, 6, 128, 7, 8, 9, 128, 10, 11, 12, 128, 13, 14, 15, 128};
alignas(16) constexpr std::uint8_t kPack[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 128, 128, 128, 128};

/// Transposes four rows of four pixels, found at byte `at` of each by `widen`, to 12 bytes each.
template <class D>
HWY_INLINE std::array<hn::Vec<D>, 4> TransposeFour(D d, const std::uint8_t* const* from, std::size_t at,
                                                   hn::Vec<D> widen) {
    const hn::Repartition<std::uint32_t, D> d32;
    constexpr auto kAll = std::make_index_sequence<4>();
    std::array<hn::Vec<decltype(d32)>, 4> rows;
    for (std::size_t k = 0; k < 4; ++k)
        rows[k] = hn::BitCast(d32, hn::TableLookupBytesOr0(hn::LoadU(d, from[k] + at), widen));
    rows = Interleaved(d32, Interleaved(d32, rows, kAll), kAll);
    std::array<hn::Vec<D>, 4> packed;
    for (std::size_t k = 0; k < 4; ++k)
        packed[k] = hn::TableLookupBytesOr0(hn::BitCast(d, rows[k]), hn::Load(d, kPack));
    return packed;
}

void TransposePixelBlock(const std::uint8_t* const* from, std::uint8_t* const* to) {
    const hn::FixedTag<std::uint8_t, 16> d;
    const hn::FixedTag<std::uint8_t, 8> d8;
    const hn::FixedTag<std::uint32_t, 4> d32;
    for (std::size_t i = 0; i < kTransposedBlock; i += 4) {
        // The last four pixels are read as the upper part of a vector that ends with the block, and written in two.
        const bool lastColumns = i + 4 == kTransposedBlock;
        const auto widen = hn::Load(d, lastColumns ? kWidenUpper : kWidenLower);
        for (std::size_t j = 0; j < kTransposedBlock; j += 4) {
            const auto packed = TransposeFour(d, from + j, lastColumns ? i * 3 - 4 : i * 3, widen);
            for (std::size_t k = 0; k < 4; ++k) {
                std::uint8_t* const out = to[i + k] + j * 3;
                if (j + 4 < kTransposedBlock) {
                    hn::StoreU(packed[k], d, out);  // the next four are written over what is too much
                } else {
                    hn::StoreU(hn::LowerHalf(d8, packed[k]), d8, out);
                    const std::uint32_t rest = hn::ExtractLane(hn::BitCast(d32, packed[k]), 2);
                    std::memcpy(out + 8, &rest, 4);
                }
            }
        }
    }
}

#endif

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

bool IsBlock(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to) {
    return from.size() == kTransposedBlock && to.size() == kTransposedBlock;
}

}  // namespace

HWY_EXPORT(TransposePixelBlock);
void TransposePixels(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to) {
    if (IsBlock(from, to)) return HWY_DYNAMIC_DISPATCH(TransposePixelBlock)(from.data(), to.data());
    HWY_STATIC_DISPATCH(TransposePlain<3>)(from, to);
}

HWY_EXPORT(TransposeByteBlock);
void TransposeBytes(std::span<const std::uint8_t* const> from, std::span<std::uint8_t* const> to) {
    if (IsBlock(from, to)) return HWY_DYNAMIC_DISPATCH(TransposeByteBlock)(from.data(), to.data());
    HWY_STATIC_DISPATCH(TransposePlain<1>)(from, to);
}

}  // namespace kestrel::kernels
#endif
