#include "kestrel/kernels/Dust.h"

#include <algorithm>
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

void FindSpecks(const DustWindow& window, DustRule rule, Row specks) {
#if HWY_TARGET == HWY_SCALAR
    FindSpecksPlain(window, rule, specks);
#else
    const hn::CappedTag<std::int16_t, kDustSlack> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const int lanes = static_cast<int>(hn::Lanes(d));
    // Brightness t is near s where -tolerance < t - s < tolerance. With tolerance - 1 added, and half the range of 16
    // bits taken off, that is one comparison.
    constexpr int kHalf = 0x8000;
    const auto shift = hn::Set(d, static_cast<std::int16_t>(kHalf + 1 - rule.tolerance));
    const auto limit = hn::Set(d, static_cast<std::int16_t>(std::max(2 * rule.tolerance - 1, 0) - kHalf));
    const auto most = hn::Set(d, static_cast<std::int16_t>(rule.maxRegion));
    const std::int16_t* rows[kDustWindow];  // not read again after each store of a byte
    for (int i = 0; i < kDustWindow; ++i) rows[i] = window[static_cast<std::size_t>(i)].data();
    std::uint8_t* const out = specks.data();
    const int width = PixelsOf(specks);
    for (int x = 0; x < width; x += lanes) {
        const auto base = hn::Add(hn::LoadU(d, rows[kDustReach] + x + kDustReach), shift);
        auto count = hn::Zero(d);
        for (const std::size_t row : kDustOrder) {
            for (int dx = 0; dx < kDustWindow; ++dx) {
                const auto near = hn::Lt(hn::Sub(hn::LoadU(d, rows[row] + x + dx), base), limit);
                count = hn::Sub(count, hn::VecFromMask(d, near));  // a true lane is -1
            }
            if (hn::AllTrue(d, hn::Gt(count, most))) break;
        }
        const auto few = hn::IfThenElse(hn::Gt(count, most), hn::Zero(d), hn::Set(d, 1));
        hn::StoreU(hn::DemoteTo(d8, few), d8, out + x);
    }
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

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(SumPixels);
void MeasureBrightness(ConstRow row, std::span<std::int16_t> out) {
    const std::size_t width = row.size() / 3;
    std::fill_n(out.begin(), kDustReach, kDustOutside);
    HWY_DYNAMIC_DISPATCH(SumPixels)(row, out.data() + kDustReach);
    std::ranges::fill(out.subspan(kDustReach + width, kDustReach + kDustSlack), kDustOutside);
}

void FindSpecksPlain(const DustWindow& rows, DustRule rule, Row specks) {
    rule = Narrowed(rule);
    const auto width = static_cast<std::size_t>(PixelsOf(specks));
    for (std::size_t x = 0; x < width; ++x) {
        const int own = rows[kDustReach][x + kDustReach];
        int count = 0;
        for (std::size_t i = 0; i < kDustWindow && count <= rule.maxRegion; ++i)
            for (std::size_t dx = 0; dx < kDustWindow && count <= rule.maxRegion; ++dx)
                if (std::abs(rows[kDustOrder[i]][x + dx] - own) < rule.tolerance) ++count;
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
