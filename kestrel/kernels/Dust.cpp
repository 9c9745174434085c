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
constexpr int kDustOrder[kDustWindow] = {5, 4, 6, 3, 7, 2, 8, 1, 9, 0, 10};

/// A rule with the same answers whose numbers fit 16 bits: no difference of two sums is above 765, no count above 121.
constexpr DustRule Narrowed(DustRule rule) {
    return {std::clamp(rule.maxRegion, -1, kDustWindow * kDustWindow), std::clamp(rule.tolerance, 0, 766)};
}

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void FindSpecks(const std::int16_t* const rows[kDustWindow], int width, DustRule rule, std::uint8_t* specks) {
#if HWY_TARGET == HWY_SCALAR
    FindSpecksPlain(rows, width, rule, specks);
#else
    const hn::CappedTag<std::int16_t, kDustSlack> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto tolerance = hn::Set(d, static_cast<std::int16_t>(rule.tolerance));
    const auto most = hn::Set(d, static_cast<std::int16_t>(rule.maxRegion));
    for (int x = 0; x < width; x += lanes) {
        const auto own = hn::LoadU(d, rows[kDustReach] + x + kDustReach);
        auto count = hn::Zero(d);
        for (const int row : kDustOrder) {
            for (int dx = 0; dx < kDustWindow; ++dx) {
                const auto apart = hn::Abs(hn::Sub(hn::LoadU(d, rows[row] + x + dx), own));
                count = hn::Sub(count, hn::VecFromMask(d, hn::Lt(apart, tolerance)));  // a true lane is -1
            }
            if (hn::AllTrue(d, hn::Gt(count, most))) break;
        }
        const auto few = hn::IfThenElse(hn::Gt(count, most), hn::Zero(d), hn::Set(d, 1));
        hn::StoreU(hn::DemoteTo(d8, few), d8, specks + x);
    }
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

void MeasureBrightness(const std::uint8_t* row, int width, std::int16_t* out) {
    std::fill_n(out, kDustReach, kDustOutside);
    out += kDustReach;
    for (int x = 0; x < width; ++x) out[x] = static_cast<std::int16_t>(row[x * 3] + row[x * 3 + 1] + row[x * 3 + 2]);
    std::fill_n(out + width, kDustReach + kDustSlack, kDustOutside);
}

void FindSpecksPlain(const std::int16_t* const rows[kDustWindow], int width, DustRule rule, std::uint8_t* specks) {
    rule = Narrowed(rule);
    for (int x = 0; x < width; ++x) {
        const int own = rows[kDustReach][x + kDustReach];
        int count = 0;
        for (int i = 0; i < kDustWindow && count <= rule.maxRegion; ++i)
            for (int dx = 0; dx < kDustWindow && count <= rule.maxRegion; ++dx)
                if (std::abs(rows[kDustOrder[i]][x + dx] - own) < rule.tolerance) ++count;
        specks[x] = count <= rule.maxRegion;
    }
}

HWY_EXPORT(FindSpecks);
void FindSpecks(const std::int16_t* const rows[kDustWindow], int width, DustRule rule, std::uint8_t* specks) {
    HWY_DYNAMIC_DISPATCH(FindSpecks)(rows, width, Narrowed(rule), specks);
}

void RepairSpecks(const std::uint8_t* const rows[3], const std::uint8_t* specks, int width, std::uint8_t* out) {
    const std::uint8_t* const end = specks + width - 1;
    const std::uint8_t* speck = specks + 1;
    while (speck < end) {
        speck = static_cast<const std::uint8_t*>(std::memchr(speck, 1, static_cast<std::size_t>(end - speck)));
        if (!speck) return;
        const std::ptrdiff_t left = (speck - specks - 1) * 3;
        for (std::ptrdiff_t channel = left; channel < left + 3; ++channel) {
            int sum = 0;
            for (int i = 0; i < 3; ++i) sum += rows[i][channel] + rows[i][channel + 3] + rows[i][channel + 6];
            out[channel + 3] = static_cast<std::uint8_t>(sum / 9);
        }
        ++speck;
    }
}

}  // namespace kestrel::kernels
#endif
