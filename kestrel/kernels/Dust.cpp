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

/// x * kNinth >> 16 is x / 9 for sums of nine bytes.
constexpr std::uint16_t kNinth = 7282;
static_assert([] {
    for (unsigned x = 0; x <= 9 * 255; ++x)
        if ((x * kNinth) >> 16 != x / 9) return false;
    return true;
}());

/// A rule with the same answers whose numbers fit 16 bits: no difference of two sums is above 765, no count above 121.
constexpr DustRule Narrowed(DustRule rule) {
    return {std::clamp(rule.maxRegion, -1, kDustWindow * kDustWindow), std::clamp(rule.tolerance, 0, 766)};
}

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
/// Adds to `count` those of the places of a row of the window, the first at `row`, that are below `limit` once `base`
/// is taken off.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V CountRow(D d, const hn::TFromD<D>* row, V base, V limit, V count) {
    const auto add = [=](V sum, int dx) HWY_ATTR {
        const auto near = hn::Lt(hn::Sub(hn::LoadU(d, row + dx), base), limit);
#if HWY_TARGET <= HWY_AVX3
        return hn::IfThenElse(near, hn::Add(sum, hn::Set(d, 1)), sum);  // one instruction
#else
        return hn::Sub(sum, hn::VecFromMask(d, near));  // a true lane is -1
#endif
    };
    // Four sums wait less for each other. They are no array, which GCC would copy from step to step.
    const V a = add(add(add(count, 0), 4), 8);
    const V b = add(add(add(hn::Zero(d), 1), 5), 9);
    const V c = add(add(add(hn::Zero(d), 2), 6), 10);
    const V e = add(add(hn::Zero(d), 3), 7);
    static_assert(kDustWindow == 11);
    return hn::Add(hn::Add(a, b), hn::Add(c, e));
}

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

    /// A bit for each of the pixels from `x` on, the lowest for the first: is it a speck?
    HWY_INLINE std::uint64_t Specks(int x) const {
        const auto base = hn::Add(hn::LoadU(d_, rows_[kDustReach] + x + kDustReach), shift_);
        auto count = hn::Zero(d_);
        for (const std::size_t row : kDustOrder) {
            count = CountRow(d_, rows_[row] + x, base, limit_, count);
            if (hn::AllTrue(d_, hn::Gt(count, maxRegion_))) return 0;
        }
        std::uint64_t few = 0;
        hn::StoreMaskBits(d_, hn::Not(hn::Gt(count, maxRegion_)), reinterpret_cast<std::uint8_t*>(&few));
        return few;
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
        for (std::size_t i = 0; i < kDustWindow; ++i)
            rows_[i] = reinterpret_cast<const std::int8_t*>(window[i]->quarters.data());
    }

    /// Adds to the counts of the pixels from `x` on those of the rows `from` to `end` - 1 of `kDustOrder`, and returns
    /// a bit for each pixel, the lowest for the first: may it be a speck?
    HWY_INLINE std::uint64_t Add(int x, std::size_t from, std::size_t end, std::int8_t* HWY_RESTRICT counts) const {
        const auto base = hn::Add(hn::LoadU(d_, rows_[kDustReach] + x + kDustReach), shift_);
        auto count = hn::Load(d_, counts);
        for (std::size_t i = from; i < end; ++i) {
            count = CountRow(d_, rows_[kDustOrder[i]] + x, base, limit_, count);
        }
        hn::Store(count, d_, counts);
        std::uint64_t few = 0;
        hn::StoreMaskBits(d_, hn::Not(hn::Gt(count, maxRegion_)), reinterpret_cast<std::uint8_t*>(&few));
        return few;
    }

private:
    using D = hn::CappedTag<std::int8_t, kDustSlack>;
    static int Apart(DustRule rule) { return (rule.tolerance - 4) / 4; }

    static constexpr int kHalf = 0x80;
    /// So that differences of quarters that wrap around 256 do not bring together what is far apart: the darkest and
    /// what is outside, which is 32 from either end of the range, 33 from the brightest.
    static constexpr int kMaxTolerance = 4 * 31 + 7;
    static_assert(kDustOutsideQuarter - 765 / 4 > 31 && 256 - kDustOutsideQuarter > 31);
    const D d_;
    const hn::Vec<D> shift_, limit_, maxRegion_;
    const std::int8_t* rows_[kDustWindow];  // quarters as signed bytes: differences wrap around anyhow
};
#endif

#if HWY_TARGET != HWY_SCALAR
/// The bits of the first `pixels` pixels.
inline std::uint64_t Below(std::uint64_t bits, int pixels) {
    return pixels < 64 ? bits & ((std::uint64_t{1} << pixels) - 1) : bits;
}

/// Appends the places of bits, the lowest of which stands for `x`.
template <class Place>
HWY_INLINE void AppendBits(std::uint64_t bits, int x, Place* places, std::size_t& count) {
    for (; bits != 0; bits &= bits - 1) places[count++] = static_cast<Place>(x + std::countr_zero(bits));
}

/// Appends the specks of the pixels `begin` to `end` - 1, counted exactly.
void FindExactly(const ExactCount& exact, int begin, int end, std::int32_t* specks, std::size_t& count) {
    for (int x = begin; x < end; x += ExactCount::Lanes())
        AppendBits(Below(exact.Specks(x), end - x), x, specks, count);
}

/// Appends the specks of up to `kDustBlock` pixels. All vectors take a step before any takes the next one: to branch on
/// what each vector is like costs more than a row of the window, since nobody can foresee it.
void FindInBlock(const CertainCount& certain, const ExactCount& exact, DustRule rule, int begin, int end,
                 std::int32_t* specks, std::size_t& count) {
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
    std::size_t unsure = 0;
    for (int v = 0; v < vectors; ++v) {
        places[unsure] = static_cast<std::uint16_t>(v);
        unsure += std::popcount(few[v]) > many;
    }
    for (std::size_t i = 0; i < unsure; ++i) add(places[i], flat + 1, kDustWindow);
    few[vectors - 1] = Below(few[vectors - 1], end - begin - (vectors - 1) * step);

    unsure = 0;
    for (int v = 0; v < vectors; ++v) {
        const int x = begin + v * step;
        if (std::popcount(few[v]) > many)
            FindExactly(exact, x, std::min(x + step, end), specks, count);
        else
            AppendBits(few[v], v * step, places, unsure);
    }
    for (std::size_t i = 0; i < unsure; ++i) {
        specks[count] = begin + places[i];
        count += exact.Count(begin + places[i]) <= rule.maxRegion;
    }
}
#endif

SpeckPlaces FindSpecks(const DustWindow& window, DustRule rule, std::span<std::int32_t> room) {
#if HWY_TARGET == HWY_SCALAR
    return FindSpecksPlain(window, rule, room);
#else
    const ExactCount exact(window, rule);
    const int width = window[kDustReach]->Width();
    std::size_t count = 0;
    if (!CertainCount::Applies(rule)) {
        FindExactly(exact, 0, width, room.data(), count);
    } else {
        const CertainCount certain(window, rule);
        for (int x = 0; x < width; x += kDustBlock)
            FindInBlock(certain, exact, rule, x, std::min(x + kDustBlock, width), room.data(), count);
    }
    return room.first(count);
#endif
}

void MeanAroundSpecks(const std::array<ConstRow, 3>& rows, SpeckPlaces specks, std::uint8_t* HWY_RESTRICT means) {
    const auto last = static_cast<std::int32_t>(rows[1].size() / 3) - 1;
    for (const std::int32_t x : specks) {
        const std::ptrdiff_t at = std::ptrdiff_t{x} * 3;
#if HWY_TARGET != HWY_SCALAR
        if (x > 0 && x < last - 1) {  // a vector reads two bytes more than three pixels
            const hn::FixedTag<std::uint8_t, 8> d8;
            const hn::FixedTag<std::uint16_t, 8> d16;
            const auto sum = [&](std::ptrdiff_t first) HWY_ATTR {
                const auto row = [&](ConstRow bytes)
                                     HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(d8, bytes.data() + first)); };
                return hn::Add(hn::Add(row(rows[0]), row(rows[1])), row(rows[2]));
            };
            const auto here = sum(at);
            const auto all = hn::Add(hn::Add(sum(at - 3), here), hn::ShiftRightLanes<3>(d16, here));
            const auto mean = hn::MulHigh(all, hn::Set(d16, kNinth));
            hn::StoreU(hn::DemoteTo(d8, hn::BitCast(hn::RebindToSigned<decltype(d16)>(), mean)), d8, means);
            means += 3;
            continue;
        }
#endif
        for (std::ptrdiff_t b = at; b < at + 3; ++b) {
            int sum = 0;
            if (x > 0 && x < last)
                for (const ConstRow row : rows) sum += row.data()[b - 3] + row.data()[b] + row.data()[b + 3];
            else
                sum = 9 * rows[1].data()[b];
            *means++ = static_cast<std::uint8_t>(sum / 9);
        }
    }
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

SpeckPlaces FindSpecksPlain(const DustWindow& rows, DustRule rule, std::span<std::int32_t> room) {
    rule = Narrowed(rule);
    std::size_t specks = 0;
    for (int x = 0; x < rows[kDustReach]->Width(); ++x) {
        const auto left = static_cast<std::size_t>(x);
        const int own = rows[kDustReach]->sums[left + kDustReach];
        int count = 0;
        for (std::size_t i = 0; i < kDustWindow && count <= rule.maxRegion; ++i)
            for (std::size_t dx = 0; dx < kDustWindow && count <= rule.maxRegion; ++dx)
                if (std::abs(rows[kDustOrder[i]]->sums[left + dx] - own) < rule.tolerance) ++count;
        if (count <= rule.maxRegion) room[specks++] = x;
    }
    return room.first(specks);
}

HWY_EXPORT(FindSpecks);
SpeckPlaces FindSpecks(const DustWindow& rows, DustRule rule, std::span<std::int32_t> room) {
    return HWY_DYNAMIC_DISPATCH(FindSpecks)(rows, Narrowed(rule), room);
}

HWY_EXPORT(MeanAroundSpecks);
void MeanAroundSpecks(const std::array<ConstRow, 3>& rows, SpeckPlaces specks, Row means) {
    HWY_DYNAMIC_DISPATCH(MeanAroundSpecks)(rows, specks, means.data());
}

void ReplaceSpecks(SpeckPlaces specks, ConstRow means, Row out) {
    const std::uint8_t* mean = means.data();
    for (const std::int32_t x : specks) {
        std::copy_n(mean, 3, out.data() + std::ptrdiff_t{x} * 3);
        mean += 3;
    }
}

}  // namespace kestrel::kernels
#endif
