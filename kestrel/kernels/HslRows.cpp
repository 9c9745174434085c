#include "kestrel/kernels/HslRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HslRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"

#ifndef KESTREL_KERNELS_HSL_ROWS_ONCE
#define KESTREL_KERNELS_HSL_ROWS_ONCE
namespace kestrel::kernels {

/// The power of two at or below a positive number.
constexpr double LowestOfBinade(double number) {
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(number) & std::uint64_t{0x7ff} << 52);
}

}  // namespace kestrel::kernels
#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void SaturateRow(Row row, double factor) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [factor](Bgr p) { return SaturatePixel(p, factor); });
#else
    const auto change = [factor](auto d, auto& hsl) HWY_ATTR {
        hsl.saturation = hn::Min(hn::Max(hn::Mul(hsl.saturation, hn::Set(d, factor)), hn::Zero(d)), hn::Set(d, 1.0));
    };
    const auto estimate = [held = HeldFactor(factor)](auto d, const auto& extremes, const auto& p, std::size_t)
                              HWY_ATTR { return SaturatedUnits(d, extremes, p, hn::Set(d, held)); };
    MapEstimated(
        row,
        [&estimate](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateHsl(planes, pixels, true, estimate, open); },
        [&change](PartPlanes& planes, std::size_t pixels) HWY_ATTR { ChangeHsl(planes, pixels, true, change); });
#endif
}

#if HWY_TARGET != HWY_SCALAR
/// For each pixel of a part the record of the sum of its extremes.
template <class Record>
HWY_INLINE void FetchBySum(const PartPlanes& planes, std::size_t pixels, const std::array<Record, 511>& records,
                           Record* found) {
    HWY_ALIGN std::uint8_t maxima[kPart];
    HWY_ALIGN std::uint8_t minima[kPart];
    ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
        const auto blue = hn::Load(d, planes.from[0] + k);
        const auto green = hn::Load(d, planes.from[1] + k);
        const auto red = hn::Load(d, planes.from[2] + k);
        hn::Store(hn::Max(hn::Max(red, green), blue), d, maxima + k);
        hn::Store(hn::Min(hn::Min(red, green), blue), d, minima + k);
    });
    for (std::size_t k = 0; k < pixels; ++k)
        std::memcpy(found + k, &records[std::size_t{maxima[k]} + minima[k]], sizeof(Record));
}

/// The exact form of the pixels of a part: `wide(d, BgrLanes, at)` returns channels as `NarrowLanes` takes them.
template <class Wide>
HWY_INLINE void MakePart(PartPlanes& planes, std::size_t pixels, const Wide& wide) {
    const hn::ScalableTag<double> d;
    NarrowPlanes(d, planes, 0, pixels,
                 [&](std::size_t k) HWY_ATTR { return wide(d, WidenLanes(d, planes.from, k), k); });
}
#endif

void ColourRow(Row row, const ColourTable& table) {
    const Colouring& c = table.colouring;
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [&c](Bgr p) { return ColourPixel(p, c); });
#else
    const auto mix = [&](auto d, auto a, auto b) HWY_ATTR {
        return hn::Add(hn::Mul(a, hn::Set(d, c.intensity)), hn::Mul(b, hn::Set(d, 1.0 - c.intensity)));
    };
    const auto estimate = [&](PartPlanes& planes, std::size_t pixels, OpenPixels& open) HWY_ATTR {
        HWY_ALIGN ColourTable::Over found[kPart];
        HWY_ALIGN std::uint8_t over[4][kPart];
        FetchBySum(planes, pixels, table.over, found);
        ForBytes(pixels, [&](auto d, std::size_t k) HWY_ATTR {
            hn::Vec<decltype(d)> parts[4];
            hn::LoadInterleaved4(d, &found[k].color.blue, parts[0], parts[1], parts[2], parts[3]);
            for (std::size_t i = 0; i < 4; ++i) hn::Store(parts[i], d, over[i] + k);
        });
        MakePart(planes, pixels, [&](auto d, const auto& p, std::size_t k) HWY_ATTR {
            using Lanes = BgrLanes<hn::Vec<decltype(d)> >;
            const Lanes colour{WidenLanes(d, over[0] + k), WidenLanes(d, over[1] + k), WidenLanes(d, over[2] + k)};
            return Lanes{mix(d, colour.blue, p.blue), mix(d, colour.green, p.green), mix(d, colour.red, p.red)};
        });
        const hn::ScalableTag<std::int32_t> di;
        for (std::size_t k = 0; k < pixels; k += hn::Lanes(di)) {
            const auto flags = hn::PromoteTo(di, hn::Load(hn::Rebind<std::uint8_t, decltype(di)>(), over[3] + k));
            open.Set(di, hn::Ne(flags, hn::Zero(di)), k);
        }
    };
    const auto exact = [&, colour = OneHue(c.colour.hue, c.colour.saturation)](PartPlanes& planes,
                                                                               std::size_t pixels) HWY_ATTR {
        MakePart(planes, pixels, [&](auto d, const auto& p, std::size_t) HWY_ATTR {
            const hn::Rebind<std::int32_t, decltype(d)> d32;
            auto l = hn::Add(hn::Mul(LightnessLanes(d, p), hn::Set(d, c.scale)), hn::Set(d, c.offset));
            l = hn::Max(hn::Min(l, hn::Set(d, 2.0)), hn::Zero(d));
            auto over = colour(d, l);
            // The low byte of the new channel, as it would be stored.
            const auto byte = [&](auto a) HWY_ATTR {
                return hn::PromoteTo(d, hn::And(hn::DemoteTo(d32, a), hn::Set(d32, 255)));
            };
            over.blue = mix(d, byte(over.blue), p.blue);
            over.green = mix(d, byte(over.green), p.green);
            over.red = mix(d, byte(over.red), p.red);
            return over;
        });
    };
    MapEstimated(row, estimate, exact);
#endif
}

void TwoColourRow(Row row, const TwoColourTable& table) {
    const TwoColours& duo = table.colours;
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [&duo](Bgr p) { return TwoColourPixel(p, duo); });
#else
    const auto estimate = [&](PartPlanes& planes, std::size_t pixels, OpenPixels& open) HWY_ATTR {
        HWY_ALIGN TwoColourTable::Part found[kPart];
        FetchBySum(planes, pixels, table.parts, found);
        const auto kept = static_cast<float>(1.0 - duo.intensity);
        const auto units = [&](auto d, const auto&, const auto& p, std::size_t at) HWY_ATTR {
            using V = hn::Vec<decltype(d)>;
            V blue, green, red, differs;
            hn::LoadInterleaved4(d, &found[at].blue, blue, green, red, differs);
            const auto channel = [&](V c, V part) HWY_ATTR {
                const V sum = hn::Add(hn::Mul(c, hn::Set(d, kept)), part);
                return hn::Add(hn::Mul(sum, hn::Set(d, kUnits)), hn::Set(d, kWholeFloats));
            };
            return BgrLanes<V>{UnlessOpen(d, differs, channel(p.blue, blue)), channel(p.green, green),
                               channel(p.red, red)};
        };
        EstimateHsl(planes, pixels, false, units, open);
    };
    const auto exact = [&, dark = OneHue(duo.dark.hue, duo.dark.saturation),
                        bright = OneHue(duo.bright.hue, duo.bright.saturation)](PartPlanes& planes,
                                                                                std::size_t pixels) HWY_ATTR {
        MakePart(planes, pixels, [&](auto d, const auto& p, std::size_t) HWY_ATTR {
            const auto zero = hn::Zero(d);
            const auto one = hn::Set(d, 1.0);
            const auto l = LightnessLanes(d, p);
            auto tone = hn::Add(hn::Mul(hn::Sub(one, l), hn::Add(l, hn::Set(d, duo.dark.lightness))),
                                hn::Mul(hn::Sub(l, hn::Set(d, duo.bright.lightness)), l));
            tone = hn::Min(hn::Max(tone, zero), one);
            const auto first = dark(d, tone);
            const auto second = bright(d, tone);
            const auto intensity = hn::Set(d, duo.intensity);
            const auto w1 = hn::Mul(hn::Sub(one, l), intensity);
            const auto w2 = hn::Mul(l, intensity);
            const auto w0 = hn::Set(d, 1.0 - duo.intensity);
            const auto mix = [&](auto a, auto b, auto old) HWY_ATTR {
                const auto sum =
                    hn::Add(hn::Add(hn::Mul(hn::Trunc(a), w1), hn::Mul(hn::Trunc(b), w2)), hn::Mul(old, w0));
                return hn::Min(hn::Max(sum, zero), hn::Set(d, 255.0));
            };
            return BgrLanes<hn::Vec<decltype(d)> >{mix(first.blue, second.blue, p.blue),
                                                   mix(first.green, second.green, p.green),
                                                   mix(first.red, second.red, p.red)};
        });
    };
    MapEstimated(row, estimate, exact);
#endif
}

#if HWY_TARGET != HWY_SCALAR
/// Adds numbers of 0 to 255, as one after the other would. A sum in [2^k, 2^(k + 1)) takes of each what is left of it
/// when it is rounded to the last bit of such a sum, and of that in any order; only halves of that bit, and a sum that
/// leaves the range, need the order.
void AddInOrder(const double* numbers, std::size_t count, double& sum) {
    const hn::ScalableTag<double> d;
    const double power = sum < 256.0 ? 0.0 : LowestOfBinade(sum);
    const auto base = hn::Set(d, power);
    const auto half = hn::Set(d, power * 0x1p-53);
    auto total = hn::Zero(d);
    auto worst = hn::Zero(d);
    for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
        const auto number = hn::Load(d, numbers + k);
        const auto rounded = hn::Sub(hn::Add(number, base), base);
        total = hn::Add(total, rounded);
        worst = hn::Max(worst, hn::Abs(hn::Sub(number, rounded)));
    }
    const double whole = sum + hn::GetLane(hn::SumOfLanes(d, total));
    if (power != 0.0 && whole < 2 * power && hn::AllTrue(d, hn::Lt(worst, half))) {
        sum = whole;
        return;
    }
    for (std::size_t k = 0; k < count; ++k) sum += numbers[k];
}
#endif

void MeasureLightness(ConstRow pixels, ConstRow mask, Lightnesses& found) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<double> d;
    HWY_ALIGN std::uint8_t maxima[kChunk];
    HWY_ALIGN std::uint8_t minima[kChunk];
    HWY_ALIGN double weighted[kChunk];
    auto maximum = hn::Set(d, found.maximum);
    auto minimum = hn::Set(d, found.minimum);
    const std::size_t end = mask.size() / kBlock * kBlock;
    while (i < end) {
        const std::size_t count = std::min(kChunk, end - i);
        ForBytes(count, [&](auto d8, std::size_t k) HWY_ATTR {
            hn::Vec<decltype(d8)> blue, green, red;
            hn::LoadInterleaved3(d8, pixels.data() + 3 * (i + k), blue, green, red);
            hn::Store(hn::Max(hn::Max(red, green), blue), d8, maxima + k);
            hn::Store(hn::Min(hn::Min(red, green), blue), d8, minima + k);
        });
        for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
            const auto sum =
                hn::Add(ShareLanes(d, WidenLanes(d, maxima + k)), ShareLanes(d, WidenLanes(d, minima + k)));
            const auto lightness = hn::Mul(sum, hn::Set(d, 0.5));
            maximum = hn::Max(maximum, lightness);
            minimum = hn::Min(minimum, lightness);
            const auto weight = hn::Sub(hn::Set(d, 255.0), WidenLanes(d, mask.data() + i + k));
            hn::Store(hn::Mul(weight, lightness), d, weighted + k);
        }
        AddInOrder(weighted, count, found.weighted);
        for (std::size_t k = i; k < i + count; ++k) found.weights += 255 - mask[k];
        i += count;
    }
    found.maximum = hn::GetLane(hn::MaxOfLanes(d, maximum));
    found.minimum = hn::GetLane(hn::MinOfLanes(d, minimum));
#endif
    for (; i < mask.size(); ++i) found.Add(Load(&pixels[3 * i]), mask[i]);
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(SaturateRow);
void SaturateRow(Row row, double factor) { HWY_DYNAMIC_DISPATCH(SaturateRow)(row, factor); }

namespace {

/// The smallest and the largest lightness of pixels, by the sum of their extremes: rounding leaves a few doubles.
struct LightnessRange {
    double least = 1.0;
    double greatest = 0.0;
};
const std::array<LightnessRange, 511>& LightnessRanges() {
    static const auto ranges = [] {
        std::array<LightnessRange, 511> made;
        for (std::size_t max = 0; max < 256; ++max)
            for (std::size_t min = 0; min <= max; ++min) {
                const double lightness = (static_cast<double>(max) / 255.0 + static_cast<double>(min) / 255.0) / 2.0;
                LightnessRange& range = made[max + min];
                range = {std::min(range.least, lightness), std::max(range.greatest, lightness)};
            }
        return made;
    }();
    return ranges;
}

/// Calls `use(lightness)` with every double that is a lightness of pixels of this sum of extremes.
template <class Use>
void ForLightnesses(std::size_t sum, const Use& use) {
    const LightnessRange range = LightnessRanges()[sum];
    for (double l = range.least; l <= range.greatest; l = std::nextafter(l, 2.0)) use(l);
}

}  // namespace

ColourTable::ColourTable(const Colouring& made) : colouring(made) {
    for (std::size_t sum = 0; sum < over.size(); ++sum) {
        over[sum] = {ColourOf(LightnessRanges()[sum].least, made), 0};
        ForLightnesses(sum, [&](double l) {
            if (ColourOf(l, made) != over[sum].color) over[sum].open = 1;
        });
    }
}

HWY_EXPORT(MeasureLightness);
void MeasureLightness(ConstRow pixels, ConstRow mask, Lightnesses& found) {
    HWY_DYNAMIC_DISPATCH(MeasureLightness)(pixels, mask, found);
}

HWY_EXPORT(ColourRow);
void ColourRow(Row row, const ColourTable& table) {
    // A scale that is no number, or an intensity outside 0..1, may leave 32 bits.
    const Colouring& c = table.colouring;
    const bool fits = std::isfinite(c.scale) && std::isfinite(c.offset) && c.intensity >= 0.0 && c.intensity <= 1.0;
    if (fits) return HWY_DYNAMIC_DISPATCH(ColourRow)(row, table);
    MapPixels(row, [&c](Bgr p) { return ColourPixel(p, c); });
}

TwoColourTable::TwoColourTable(const TwoColours& made) : colours(made) {
    for (std::size_t sum = 0; sum < parts.size(); ++sum) {
        const auto [first, second, w1, w2] = WeighColours(LightnessRanges()[sum].least, made);
        const auto add = [=, w1 = w1, w2 = w2](int a, int b) { return static_cast<float>(a * w1 + b * w2); };
        parts[sum] = {add(first.blue, second.blue), add(first.green, second.green), add(first.red, second.red), 0.0f};
        ForLightnesses(sum, [&, one = first, two = second](double l) {
            const WeighedColours other = WeighColours(l, made);
            if (other.first != one || other.second != two) parts[sum].open = 1.0f;
        });
    }
}

HWY_EXPORT(TwoColourRow);
void TwoColourRow(Row row, const TwoColourTable& table) {
    const TwoColours& duo = table.colours;
    if (duo.intensity >= 0.0 && duo.intensity <= 1.0) return HWY_DYNAMIC_DISPATCH(TwoColourRow)(row, table);
    MapPixels(row, [&duo](Bgr p) { return TwoColourPixel(p, duo); });  // sums that may leave 32 bits
}

}  // namespace kestrel::kernels
#endif
