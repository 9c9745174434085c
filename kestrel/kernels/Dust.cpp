#include "kestrel/kernels/Dust.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Dust.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef KESTREL_KERNELS_DUST_ONCE
#define KESTREL_KERNELS_DUST_ONCE
namespace kestrel::kernels {

/// The rows of the window from the middle one outward: where they are alike, the first of them decides.
constexpr std::size_t kDustOrder[kDustWindow] = {5, 4, 6, 3, 7, 2, 8, 1, 9, 0, 10};

/// The places of a row of the window in a vector.
alignas(32) constexpr std::int16_t kInside[16] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

/// Pixels that are worked on at a time; whole vectors.
constexpr int kDustBlock = 1024;

/// A rule with the same answers whose numbers fit 16 bits: no difference of two sums is above 765, no count above 121.
constexpr DustRule Narrowed(DustRule rule) {
    return {std::clamp(rule.maxRegion, -1, kDustWindow * kDustWindow), std::clamp(rule.tolerance, 0, 766)};
}

inline int PixelsOf(ConstRow specks) { return static_cast<int>(specks.size()) - kDustSlack; }

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
/// Counts near pixels exactly, in 16 bits.
class ExactCount {
public:
    // Brightness t is near s where -tolerance < t - s < tolerance. With tolerance - 1 added, and half the range of 16
    // bits taken off, that is one comparison.
    ExactCount(const DustWindow& window, DustRule rule)
        : shift_(hn::Set(d_, static_cast<std::int16_t>(kHalf + 1 - rule.tolerance))),
          limit_(hn::Set(d_, static_cast<std::int16_t>(std::max(2 * rule.tolerance - 1, 0) - kHalf))),
          maxRegion_(hn::Set(d_, static_cast<std::int16_t>(rule.maxRegion))) {
        for (std::size_t i = 0; i < kDustWindow; ++i) rows_[i] = window[i]->sums.data();
    }
    static int Lanes() { return static_cast<int>(hn::Lanes(D())); }

    /// Tells which of the pixels from `x` on are specks.
    HWY_INLINE void Find(int x, std::uint8_t* specks) const {
        const auto base = hn::Add(hn::LoadU(d_, rows_[kDustReach] + x + kDustReach), shift_);
        auto count = hn::Zero(d_);
        for (const std::size_t row : kDustOrder) {
            for (int dx = 0; dx < kDustWindow; ++dx) {
                const auto near = hn::Lt(hn::Sub(hn::LoadU(d_, rows_[row] + x + dx), base), limit_);
                count = hn::Sub(count, hn::VecFromMask(d_, near));  // a true lane is -1
            }
            if (hn::AllTrue(d_, hn::Gt(count, maxRegion_))) break;
        }
        const auto few = hn::IfThenElse(hn::Gt(count, maxRegion_), hn::Zero(d_), hn::Set(d_, 1));
        hn::StoreU(hn::DemoteTo(hn::Rebind<std::uint8_t, D>(), few), hn::Rebind<std::uint8_t, D>(), specks + x);
    }

    /// The number of near pixels around one.
    HWY_INLINE int Count(int x) const {
        const hn::CappedTag<std::int16_t, 16> d;  // a row of the window
        const hn::Repartition<std::uint8_t, decltype(d)> d8;
        const hn::Repartition<std::uint64_t, decltype(d)> d64;
        const int lanes = static_cast<int>(hn::Lanes(d));
        const auto base =
            hn::Set(d, static_cast<std::int16_t>(rows_[kDustReach][x + kDustReach] + hn::GetLane(shift_)));
        const auto limit = hn::Set(d, hn::GetLane(limit_));
        auto sums = hn::Zero(d64);
        for (int dx = 0; dx < kDustWindow; dx += lanes) {
            auto count = hn::Zero(d);
            for (const std::int16_t* const row : rows_)
                count = hn::Sub(count, hn::VecFromMask(d, hn::Lt(hn::Sub(hn::LoadU(d, row + x + dx), base), limit)));
            const auto inside = hn::LoadU(d, kInside + dx);
            sums = hn::Add(sums, hn::SumsOf8(hn::BitCast(d8, hn::And(count, inside))));
        }
        return static_cast<int>(hn::GetLane(hn::SumOfLanes(d64, sums)));
    }

private:
    using D = hn::CappedTag<std::int16_t, kDustSlack / 2>;
    static constexpr int kHalf = 0x8000;
    const D d_;
    const hn::Vec<D> shift_, limit_, maxRegion_;
    const std::int16_t* rows_[kDustWindow];  // not read again after each store of a byte
};

/// Counts pixels that are certainly near, by the quarters of their brightness. Where these are too many for a speck, as
/// almost everywhere, nothing needs to be counted exactly.
class CertainCount {
public:
    static bool Applies(DustRule rule) { return rule.tolerance >= 4 && rule.tolerance <= kMaxTolerance; }
    static int Lanes() { return static_cast<int>(hn::Lanes(D())); }

    // Where quarters are n apart, the brightness is at most 4 n + 3 apart. One comparison tells it, as above.
    CertainCount(const DustWindow& window, DustRule rule)
        : shift_(hn::Set(d_, static_cast<std::int8_t>(kHalf - Apart(rule)))),
          limit_(hn::Set(d_, static_cast<std::int8_t>(2 * Apart(rule) + 1 - kHalf))),
          maxRegion_(hn::Set(d_, static_cast<std::int8_t>(rule.maxRegion))) {
        for (std::size_t i = 0; i < kDustWindow; ++i) rows_[i] = window[i]->quarters.data();
    }

    /// Adds to the counts of the pixels from `x` on those of the rows `from` to `end` - 1 of `kDustOrder`, and returns
    /// a bit for each pixel, the lowest for the first: may it be a speck?
    HWY_INLINE std::uint64_t Add(int x, std::size_t from, std::size_t end, std::int8_t* HWY_RESTRICT counts) const {
        const auto base = hn::Add(Load(kDustReach, x + kDustReach), shift_);
        auto count = hn::Load(d_, counts);
        for (std::size_t i = from; i < end; ++i) {
            auto other = hn::Zero(d_);  // two sums side by side wait less for each other
            for (int dx = 0; dx < kDustWindow; ++dx) {
                auto& sum = dx % 2 ? other : count;
                sum = CountIf(sum, hn::Lt(hn::Sub(Load(kDustOrder[i], x + dx), base), limit_));
            }
            count = hn::Add(count, other);
        }
        hn::Store(count, d_, counts);
        std::uint64_t few = 0;
        hn::StoreMaskBits(d_, hn::Not(hn::Gt(count, maxRegion_)), reinterpret_cast<std::uint8_t*>(&few));
        return few;
    }

private:
    using D = hn::CappedTag<std::int8_t, kDustSlack>;
    HWY_INLINE hn::Vec<D> CountIf(hn::Vec<D> count, hn::Mask<D> near) const {
#if HWY_TARGET <= HWY_AVX3
        return hn::IfThenElse(near, hn::Add(count, hn::Set(d_, 1)), count);  // one instruction
#else
        return hn::Sub(count, hn::VecFromMask(d_, near));
#endif
    }
    HWY_INLINE hn::Vec<D> Load(std::size_t row, int x) const {
        return hn::BitCast(d_, hn::LoadU(hn::RebindToUnsigned<D>(), rows_[row] + x));
    }
    static int Apart(DustRule rule) { return (rule.tolerance - 4) / 4; }

    static constexpr int kHalf = 0x80;
    /// So that differences of quarters that wrap around 256 do not bring together what is far apart: the darkest and
    /// what is outside, which is 32 from either end of the range, 33 from the brightest.
    static constexpr int kMaxTolerance = 4 * 31 + 7;
    static_assert(kDustOutsideQuarter - 765 / 4 > 31 && 256 - kDustOutsideQuarter > 31);
    const D d_;
    const hn::Vec<D> shift_, limit_, maxRegion_;
    const std::uint8_t* rows_[kDustWindow];
};
#endif

#if HWY_TARGET != HWY_SCALAR
/// Tells which of up to `kDustBlock` pixels are specks. All vectors take a step before any takes the next one: to
/// branch on what each vector is like costs more than a row of the window, since nobody can foresee it.
void FindInBlock(const CertainCount& certain, const ExactCount& exact, DustRule rule, int begin, int end,
                 std::uint8_t* specks) {
    HWY_ALIGN std::int8_t counts[kDustBlock] = {};
    std::uint64_t few[kDustBlock / 16];  // of a vector, which has 16 lanes or more: the pixels that may be specks
    std::uint16_t places[kDustBlock];    // first of vectors where many may be, then of single pixels
    const int step = CertainCount::Lanes();
    const int many = step / 4;  // from here on one more step for all pixels of a vector is faster than single ones
    const int vectors = (end - begin + step - 1) / step;
    const auto add = [&](int v, std::size_t from, std::size_t to)
                         HWY_ATTR { few[v] = certain.Add(begin + v * step, from, to, counts + v * step); };
    // As many rows as a pixel needs when all that is around it is near, and one more. Most have got enough then.
    const auto flat = static_cast<std::size_t>(std::clamp(rule.maxRegion / kDustWindow + 1, 1, kDustWindow - 1));
    for (int v = 0; v < vectors; ++v) {
        add(v, 0, flat);
        if (few[v] != 0) add(v, flat, flat + 1);
    }
    int count = 0;
    for (int v = 0; v < vectors; ++v) {
        places[count] = static_cast<std::uint16_t>(v);
        count += std::popcount(few[v]) > many;
    }
    for (int i = 0; i < count; ++i) add(places[i], flat + 1, kDustWindow);
    if (const int last = end - begin - (vectors - 1) * step; last < 64)
        few[vectors - 1] &= (std::uint64_t{1} << last) - 1;

    std::memset(specks + begin, 0, static_cast<std::size_t>(vectors * step));
    count = 0;
    for (int v = 0; v < vectors; ++v) {
        if (std::popcount(few[v]) > many)
            for (int x = v * step; x < (v + 1) * step; x += ExactCount::Lanes()) exact.Find(begin + x, specks);
        else
            for (std::uint64_t left = few[v]; left != 0; left &= left - 1)
                places[count++] = static_cast<std::uint16_t>(v * step + std::countr_zero(left));
    }
    for (int i = 0; i < count; ++i) {
        const int x = begin + places[i];
        specks[x] = exact.Count(x) <= rule.maxRegion;
    }
}
#endif

void FindSpecks(const DustWindow& window, DustRule rule, Row specks) {
#if HWY_TARGET == HWY_SCALAR
    FindSpecksPlain(window, rule, specks);
#else
    const ExactCount exact(window, rule);
    const int width = PixelsOf(specks);
    if (!CertainCount::Applies(rule)) {
        for (int x = 0; x < width; x += ExactCount::Lanes()) exact.Find(x, specks.data());
        return;
    }
    const CertainCount certain(window, rule);
    for (int x = 0; x < width; x += kDustBlock)
        FindInBlock(certain, exact, rule, x, std::min(x + kDustBlock, width), specks.data());
#endif
}

void SumPixels(ConstRow row, std::int16_t* HWY_RESTRICT out) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    for (; i + 3 * hn::Lanes(d) <= row.size(); i += 3 * hn::Lanes(d)) {
        hn::Vec<decltype(d8)> blue, green, red;
        hn::LoadInterleaved3(d8, row.data() + i, blue, green, red);
        const auto sum = hn::Add(hn::Add(hn::PromoteTo(d, blue), hn::PromoteTo(d, green)), hn::PromoteTo(d, red));
        hn::StoreU(sum, d, out + i / 3);
    }
#endif
    for (; i + 2 < row.size(); i += 3) out[i / 3] = static_cast<std::int16_t>(row[i] + row[i + 1] + row[i + 2]);
}

void QuarterSums(std::span<const std::int16_t> sums, std::uint8_t* HWY_RESTRICT out) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    for (; i + hn::Lanes(d) <= sums.size(); i += hn::Lanes(d))
        hn::StoreU(hn::Min(hn::DemoteTo(d8, hn::ShiftRight<2>(hn::LoadU(d, sums.data() + i))),
                           hn::Set(d8, kDustOutsideQuarter)),
                   d8, out + i);
#endif
    for (; i < sums.size(); ++i) out[i] = static_cast<std::uint8_t>(std::min(sums[i] / 4, int{kDustOutsideQuarter}));
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(SumPixels);
HWY_EXPORT(QuarterSums);
void DustRow::Measure(ConstRow row) {
    const std::span<std::int16_t> out(sums);
    const std::size_t width = row.size() / 3;
    std::ranges::fill(out.first(kDustReach), kDustOutside);
    HWY_DYNAMIC_DISPATCH(SumPixels)(row, out.data() + kDustReach);
    std::ranges::fill(out.subspan(kDustReach + width), kDustOutside);
    HWY_DYNAMIC_DISPATCH(QuarterSums)(out, quarters.data());
}

void FindSpecksPlain(const DustWindow& rows, DustRule rule, Row specks) {
    rule = Narrowed(rule);
    const auto width = static_cast<std::size_t>(PixelsOf(specks));
    for (std::size_t x = 0; x < width; ++x) {
        const int own = rows[kDustReach]->sums[x + kDustReach];
        int count = 0;
        for (std::size_t i = 0; i < kDustWindow && count <= rule.maxRegion; ++i)
            for (std::size_t dx = 0; dx < kDustWindow && count <= rule.maxRegion; ++dx)
                if (std::abs(rows[kDustOrder[i]]->sums[x + dx] - own) < rule.tolerance) ++count;
        specks[x] = count <= rule.maxRegion;
    }
}

HWY_EXPORT(FindSpecks);
void FindSpecks(const DustWindow& rows, DustRule rule, Row specks) {
    HWY_DYNAMIC_DISPATCH(FindSpecks)(rows, Narrowed(rule), specks);
}

void RepairSpecks(const std::array<ConstRow, 3>& rows, ConstRow specks, Row out) {
    if (out.size() < 9) return;  // no pixel has one on either side
    const std::uint8_t* const begin = specks.data();
    const std::uint8_t* const end = begin + out.size() / 3 - 1;
    const std::uint8_t* speck = begin + 1;
    while (speck < end) {
        speck = static_cast<const std::uint8_t*>(std::memchr(speck, 1, static_cast<std::size_t>(end - speck)));
        if (!speck) return;
        const auto left = static_cast<std::size_t>(speck - begin - 1) * 3;
        for (std::size_t channel = left; channel < left + 3; ++channel) {
            int sum = 0;
            for (const ConstRow row : rows) sum += row[channel] + row[channel + 3] + row[channel + 6];
            out[channel + 3] = static_cast<std::uint8_t>(sum / 9);
        }
        ++speck;
    }
}

}  // namespace kestrel::kernels
#endif
