#include "kestrel/kernels/ResampleRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <cstring>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/ResampleRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Interpolates all bytes: `lanes(d16, i)` and `share(i)` are the shares from byte `i` on.
template <class Lanes, class Share>
HWY_INLINE void Interpolate(ConstRow previous, ConstRow bytes, [[maybe_unused]] const Lanes& lanes, const Share& share,
                            Row to) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane is slower than the plain form
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8;
    for (; i + hn::Lanes(d16) <= to.size(); i += hn::Lanes(d16)) {
        const auto before = hn::PromoteTo(d16, hn::LoadU(d8, previous.data() + i));
        const auto byte = hn::PromoteTo(d16, hn::LoadU(d8, bytes.data() + i));
        const auto product = hn::Add(hn::Mul(lanes(d16, i), hn::Sub(byte, before)), hn::Set(d16, 16));
        // A shift rounds down: 31 is added below zero, so that it cuts toward zero as the division does.
        const auto up = hn::And(hn::ShiftRight<15>(product), hn::Set(d16, 31));
        const auto moved = hn::ShiftRight<5>(hn::Add(product, up));
        hn::StoreU(hn::DemoteTo(d8, hn::Add(before, moved)), d8, to.data() + i);
    }
#endif
    for (; i < to.size(); ++i) to[i] = InterpolatedByte(previous[i], bytes[i], share(i));
}

void InterpolateRow(ConstRow previous, ConstRow bytes, std::span<const std::int16_t> shares, Row to) {
    Interpolate(
        previous, bytes, [shares](auto d, std::size_t i) HWY_ATTR { return hn::LoadU(d, shares.data() + i); },
        [shares](std::size_t i) { return shares[i]; }, to);
}

void InterpolateRowEvenly(ConstRow previous, ConstRow bytes, std::int16_t share, Row to) {
    Interpolate(
        previous, bytes, [share](auto d, std::size_t) HWY_ATTR { return hn::Set(d, share); },
        [share](std::size_t) { return share; }, to);
}

void CubicRow(const CubicTap& tap, const std::array<ConstRow, 4>& from, Row out) {
    std::uint8_t* const to = out.data();
    const std::size_t size = out.size();
    const OpaqueDivision divide(tap);
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int32_t> d32;
    const hn::Rebind<std::uint8_t, decltype(d32)> d8;
    const hn::Rebind<float, decltype(d32)> df;
    const std::size_t lanes = hn::Lanes(d32);
    const auto weighed = [&](std::size_t row) HWY_ATTR {
        return hn::Mul(hn::PromoteTo(d32, hn::LoadU(d8, from[row].data() + i)), hn::Set(d32, tap.weight[row]));
    };
    for (; i + lanes <= size; i += lanes) {
        const auto value = hn::Add(hn::Add(weighed(0), weighed(1)), hn::Add(weighed(2), weighed(3)));
        const auto numerator = hn::ConvertTo(df, hn::Add(hn::Add(value, value), hn::Set(d32, divide.sum)));
        const auto quotient = hn::Mul(hn::Add(numerator, hn::Set(df, 0.5F)), hn::Set(df, divide.reciprocal));
        const auto held = hn::Min(hn::Max(quotient, hn::Zero(df)), hn::Set(df, 255.0F));
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(d32, held)), d8, to + i);
    }
#endif
    for (; i < size; ++i) to[i] = divide(tap.Weigh(from[0][i], from[1][i], from[2][i], from[3][i]));
}

/// Weighs the pixels from number `first` on.
void CubicPixelsPlain(const CubicLine& line, const std::uint8_t* from, std::size_t first, Row to) {
    for (std::size_t j = first; j < line.taps.size(); ++j) {
        const CubicTap& tap = line.taps[j];
        const std::uint8_t* const p = from + std::ptrdiff_t{tap.base} * 3;
        for (std::size_t c = 0; c < 3; ++c)
            to[j * 3 + c] = line.divisions[j](tap.Weigh(p[c], p[c + 3], p[c + 6], p[c + 9]));
    }
}

#if HWY_TARGET == HWY_SCALAR

void CubicPixels(const CubicLine& line, const std::uint8_t* from, Row to) { CubicPixelsPlain(line, from, 0, to); }

#else

// Where the colours of each of four pixels stand, as 32-bit lanes, and what of four lanes is a pixel.
alignas(16) constexpr std::uint8_t kColors[4][16] = {
    {0, 128, 128, 128, 1, 128, 128, 128, 2, 128, 128, 128, 128, 128, 128, 128},
    {3, 128, 128, 128, 4, 128, 128, 128, 5, 128, 128, 128, 128, 128, 128, 128},
    {6, 128, 128, 128, 7, 128, 128, 128, 8, 128, 128, 128, 128, 128, 128, 128},
    {9, 128, 128, 128, 10, 128, 128, 128, 11, 128, 128, 128, 128, 128, 128, 128}};
alignas(16) constexpr std::uint8_t kPixels[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0};

/// Weighs as many pixels as a vector has blocks of four lanes. `from` holds 16 bytes for each.
template <class D>
HWY_INLINE hn::Vec<hn::Rebind<std::uint8_t, D> > WeighBlocks(D d, const std::uint8_t* from, const std::int32_t* weights,
                                                             const float* divisions) {
    const hn::Repartition<std::uint8_t, D> d8;
    const hn::Rebind<float, D> df;
    const hn::Rebind<std::uint8_t, D> out;
    const auto pixels = hn::LoadU(d8, from);
    const auto weight = hn::LoadU(d, weights);
    const auto colors = [&](std::size_t k) HWY_ATTR {
        return hn::BitCast(d, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, kColors[k])));
    };
    const auto value =
        hn::Add(hn::Add(hn::Mul(colors(0), hn::Broadcast<0>(weight)), hn::Mul(colors(1), hn::Broadcast<1>(weight))),
                hn::Add(hn::Mul(colors(2), hn::Broadcast<2>(weight)), hn::Mul(colors(3), hn::Broadcast<3>(weight))));
    const auto division = hn::LoadU(df, divisions);
    // Both are whole numbers that single precision holds, and so is their sum.
    const auto numerator = hn::Add(hn::ConvertTo(df, hn::Add(value, value)), hn::Broadcast<0>(division));
    const auto quotient = hn::Mul(hn::Add(numerator, hn::Set(df, 0.5F)), hn::Broadcast<1>(division));
    const auto held = hn::Min(hn::Max(quotient, hn::Zero(df)), hn::Set(df, 255.0F));
    return hn::TableLookupBytes(hn::DemoteTo(out, hn::ConvertTo(d, held)), hn::Load(out, kPixels));
}

void CubicPixels(const CubicLine& line, const std::uint8_t* from, Row to) {
    constexpr std::size_t kChunk = 64;  // pixels that stay in the nearest cache
    constexpr std::size_t kBlock = 16;  // bytes of four pixels, and what follows them
    const hn::ScalableTag<std::int32_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> out;
    const std::size_t together = hn::Lanes(d) / 4;
    std::uint8_t blocks[kChunk * kBlock];
    std::size_t done = 0;
    // A vector is stored whole; the next pixels are written over what is too much.
    const auto fits = [&](std::size_t j) { return j * 3 + hn::Lanes(out) <= to.size(); };
    while (fits(done)) {
        const std::size_t first = done;
        const std::size_t end = std::min(first + kChunk, line.taps.size());
        for (std::size_t j = first; j < end; ++j)
            std::memcpy(blocks + (j - first) * kBlock, from + std::ptrdiff_t{line.taps[j].base} * 3, kBlock);
        for (; done + together <= end && fits(done); done += together)
            hn::StoreU(WeighBlocks(d, blocks + (done - first) * kBlock, line.weights[done].data(),
                                   line.divisionsInLanes[done].data()),
                       out, to.data() + done * 3);
    }
    CubicPixelsPlain(line, from, done, to);
}

#endif

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(InterpolateRow);
void InterpolateRow(ConstRow previous, ConstRow bytes, std::span<const std::int16_t> shares, Row to) {
    HWY_DYNAMIC_DISPATCH(InterpolateRow)(previous, bytes, shares, to);
}

HWY_EXPORT(InterpolateRowEvenly);
void InterpolateRow(ConstRow previous, ConstRow bytes, std::int16_t share, Row to) {
    HWY_DYNAMIC_DISPATCH(InterpolateRowEvenly)(previous, bytes, share, to);
}

CubicLine::CubicLine(std::vector<CubicTap> ofPixels) : taps(std::move(ofPixels)) {
    for (const CubicTap& tap : taps) {
        const OpaqueDivision& division = divisions.emplace_back(tap);
        weights.push_back({tap.weight[0], tap.weight[1], tap.weight[2], tap.weight[3]});
        divisionsInLanes.push_back({static_cast<float>(division.sum), division.reciprocal, 0, 0});
    }
}

HWY_EXPORT(CubicPixels);
void CubicPixels(const CubicLine& line, const std::uint8_t* from, Row to) {
    HWY_DYNAMIC_DISPATCH(CubicPixels)(line, from, to);
}

HWY_EXPORT(CubicRow);
void CubicRow(const CubicTap& tap, const std::array<ConstRow, 4>& from, Row to) {
    HWY_DYNAMIC_DISPATCH(CubicRow)(tap, from, to);
}

}  // namespace kestrel::kernels
#endif
