#include "kestrel/kernels/HueRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/HueRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

/// Whole degrees of hues of 0..360, as indices of doubles.
template <class D, class V>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> DegreeLanes(D /*d*/, V hue) {
    return hn::PromoteTo(hn::RebindToSigned<D>(), hn::DemoteTo(hn::Rebind<std::int32_t, D>(), hue));
}

template <class D, class V>
HWY_INLINE V UnitLanes(D d, V value) {
    return hn::Min(hn::Max(value, hn::Zero(d)), hn::Set(d, 1.0));
}

#if HWY_TARGET != HWY_SCALAR
/// The hues of a part and the changes of their degrees.
struct PartHues {
    HWY_ALIGN float hue[kPart];
    HWY_ALIGN std::int32_t record[kPart];
    HWY_ALIGN HueFloats::Record change[kPart];
};

/// The quotient of a difference and the spread is rounded, but never to or over a whole degree. In the exact form the
/// channels are rounded before, which can take a whole degree to the one below unless it is a multiple of 60, where two
/// channels are equal.
void MeasureHues(const PartPlanes& planes, std::size_t pixels, const HueFloats& floats, PartHues& found) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const auto zero = hn::Zero(d);
    const auto set = [d](float value) HWY_ATTR { return hn::Set(d, value); };
    for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
        const auto p = FloatLanes(d, planes.from, k);
        const auto extremes = Extremes(d, p);
        const auto redMax = hn::Eq(p.red, extremes.max);
        const auto greenMax = hn::Eq(p.green, extremes.max);
        const auto difference =
            hn::IfThenElse(redMax, hn::Sub(p.green, p.blue),
                           hn::IfThenElse(greenMax, hn::Sub(p.blue, p.red), hn::Sub(p.red, p.green)));
        const auto start = hn::IfThenElseZero(hn::Not(redMax), hn::IfThenElse(greenMax, set(120.0f), set(240.0f)));
        auto hue = hn::Add(hn::Div(hn::Mul(difference, set(60.0f)), hn::Max(extremes.spread, set(1.0f))), start);
        hue = hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, set(360.0f)), hue);
        // Fractions of a degree are 1/255 to 254/255, so that this rounds down; the lowest bits are the number. A
        // little more than the first whole floats, since below them there are halves.
        constexpr int kDegrees = 512;
        const auto base = set(kWholeFloats + kDegrees);
        const auto rounded = hn::Add(hn::Sub(hue, set(0.498f)), base);
        const auto degree = hn::And(hn::BitCast(di, rounded), hn::Set(di, kDegrees - 1));
        const auto whole = hn::Eq(hn::Sub(rounded, base), hue);
        const auto less =
            hn::And(whole, hn::And(hn::Ne(difference, zero), hn::Ne(hn::Abs(difference), extremes.spread)));
        const auto record =
            hn::Add(degree, hn::IfThenElseZero(hn::RebindMask(di, less), hn::Set(di, HueFloats::kLess)));
        const auto grey = hn::RebindMask(di, hn::Eq(extremes.spread, zero));
        hn::Store(hue, d, found.hue + k);
        hn::Store(hn::IfThenElse(grey, hn::Set(di, HueFloats::kGrey), record), di, found.record + k);
    }
    // A loop of its own: gathered lane by lane they took half of the time.
    const hn::FixedTag<float, 4> one;
    for (std::size_t k = 0; k < pixels; ++k) {
        const auto& record = floats.records[static_cast<std::size_t>(found.record[k])];
        hn::Store(hn::Load(one, &record.hue), one, &found.change[k].hue);
    }
}

/// Estimates of changes by hue, saturation and lightness. Rounding takes less than 4e-4 from a channel.
template <class D, class V>
HWY_INLINE BgrLanes<V> MovedUnits(D d, const ExtremeLanes<V>& extremes, V hue, V factor, V brightness) {
    const V turn = hn::Set(d, 360.0f);
    hue = hn::IfThenElse(hn::Lt(hue, hn::Zero(d)), hn::Add(hue, turn),
                         hn::IfThenElse(hn::Ge(hue, turn), hn::Sub(hue, turn), hue));
    const auto held = [d](V value, float most)
                          HWY_ATTR { return hn::Min(hn::Max(value, hn::Zero(d)), hn::Set(d, most)); };
    const V moved = hn::Add(hn::Mul(extremes.sum, hn::Set(d, 0.5f)), brightness);
    const V lightness = held(moved, 255.0f);
    const V base = hn::Max(BaseLanes(d, extremes.sum), hn::Set(d, 1.0f));
    const V saturation = held(hn::Div(hn::Mul(extremes.spread, factor), base), 1.0f);
    const V half = hn::Mul(saturation, hn::Min(lightness, hn::Sub(hn::Set(d, 255.0f), lightness)));
    // What comes to lie clearly beyond black or white is surely that.
    const auto beyond = hn::Gt(hn::Abs(hn::Sub(moved, lightness)), hn::Set(d, 0.01f));
    const V sure = hn::Add(hn::Set(d, kWholeFloats), hn::IfThenElseZero(beyond, hn::Set(d, 0.5f * kUnits)));
    const V lower = hn::Mul(hn::Sub(lightness, half), hn::Set(d, kUnits));
    const V step = hn::Mul(half, hn::Set(d, 2 * kUnits / 60));
    // A channel falls from the degree of its colour at 60 to 120 degrees from it.
    const auto channel = [&](V away)
                             HWY_ATTR { return hn::Add(hn::Add(hn::Mul(held(away, 60.0f), step), lower), sure); };
    const auto from = [&](float degree) HWY_ATTR { return hn::Abs(hn::Sub(hue, hn::Set(d, degree))); };
    const V near = hn::Set(d, 120.0f);
    return {channel(hn::Sub(near, from(240.0f))), channel(hn::Sub(near, from(120.0f))),
            channel(hn::Sub(from(180.0f), hn::Set(d, 60.0f)))};
}

/// Parts of a row by floats; the exact form is needed where rounding decides a byte or a degree.
void EstimateHues(PartPlanes& planes, std::size_t pixels, bool keepsGreys, const HueFloats& floats, OpenPixels& open) {
    if (floats.saturatesAlike) {
        const auto units = [&](auto d, const auto& extremes, const auto& p, std::size_t) HWY_ATTR {
            return SaturatedUnits(d, extremes, p, hn::Set(d, floats.records[0].saturation));
        };
        return EstimateHsl(planes, pixels, keepsGreys, units, open);
    }
    PartHues found;
    MeasureHues(planes, pixels, floats, found);
    const auto units = [&](auto d, const auto& extremes, const auto& p, std::size_t at) HWY_ATTR {
        hn::Vec<decltype(d)> turn, factor, brightness, differs;
        hn::LoadInterleaved4(d, &found.change[at].hue, turn, factor, brightness, differs);
        auto made = floats.moves
                        ? MovedUnits(d, extremes, hn::Add(hn::Load(d, found.hue + at), turn), factor, brightness)
                        : SaturatedUnits(d, extremes, p, factor);
        made.blue = UnlessOpen(d, differs, made.blue);
        return made;
    };
    EstimateHsl(planes, pixels, keepsGreys, units, open);
}
#endif

void TuningRow(Row row, const Tuning& tuning) {
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [&](Bgr p) { return TuningPixel(p, tuning.factors); });
#else
    const auto change = [&](auto d, auto& hsl) HWY_ATTR {
        const auto factor = hn::GatherIndex(d, tuning.factors.data(), DegreeLanes(d, hsl.hue));
        hsl.saturation = UnitLanes(d, hn::Mul(hsl.saturation, factor));
    };
    MapEstimated(
        row,
        [&](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateHues(planes, pixels, true, tuning.floats, open); },
        [&](PartPlanes& planes, std::size_t pixels) HWY_ATTR { ChangeHsl(planes, pixels, true, change); });
#endif
}

void HsbRow(Row row, const Hsb& hsb) {
    const HsbChanges& changes = hsb.changes;
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, [&](Bgr p) { return HsbPixel(p, changes); });
#else
    static_assert(sizeof(HsbChange) == 3 * sizeof(double));  // three doubles a record are gathered one by one
    const auto change = [&changes](auto d, auto& hsl) HWY_ATTR {
        const hn::RebindToSigned<decltype(d)> d64;
        const auto zero = hn::Zero(d);
        const auto turn = hn::Set(d, 360.0);
        const auto grey = hn::Eq(hsl.saturation, zero);
        const auto record = DegreeLanes(d, hn::IfThenElse(grey, turn, hsl.hue));  // record 360 is that of the greys
        const auto index = hn::Add(hn::Add(record, record), record);
        const double* const base = &changes[0].hue;
        const auto next = [&](int i) HWY_ATTR { return hn::Add(index, hn::Set(d64, i)); };
        auto hue = hn::Add(hsl.hue, hn::GatherIndex(d, base, index));
        hue = hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, turn),
                             hn::IfThenElse(hn::Ge(hue, turn), hn::Sub(hue, turn), hue));
        hsl.hue = hn::IfThenElse(grey, hsl.hue, hue);
        const auto saturation = UnitLanes(d, hn::Mul(hsl.saturation, hn::GatherIndex(d, base, next(1))));
        hsl.saturation = hn::IfThenElse(grey, hsl.saturation, saturation);
        hsl.lightness = UnitLanes(d, hn::Add(hsl.lightness, hn::GatherIndex(d, base, next(2))));
    };
    MapEstimated(
        row,
        [&](PartPlanes& planes, std::size_t pixels, OpenPixels& open)
            HWY_ATTR { EstimateHues(planes, pixels, false, hsb.floats, open); },
        [&](PartPlanes& planes, std::size_t pixels) HWY_ATTR { ChangeHsl(planes, pixels, false, change); });
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HueFloats::HueFloats(const HsbChanges& changes) : moves(false), saturatesAlike(true) {
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const auto number = [](double value) { return static_cast<float>(value); };
        const double brightness = std::clamp(changes[i].brightness, -1.0, 1.0) * 255.0;
        records[i] = {number(changes[i].hue), HeldFactor(changes[i].saturation), number(brightness), 0.0f};
        records[i + kLess] = records[i];
        records[i + kLess].differs = i > 0 && changes[i] != changes[i - 1] ? 1.0f : 0.0f;
        moves |= changes[i].hue != 0.0 || changes[i].brightness != 0.0;
        saturatesAlike &= i == kGrey || changes[i] == changes[0];
    }
    saturatesAlike &= !moves;
}

HWY_EXPORT(TuningRow);
void TuningRow(Row row, const Tuning& tuning) { HWY_DYNAMIC_DISPATCH(TuningRow)(row, tuning); }

HWY_EXPORT(HsbRow);
void HsbRow(Row row, const Hsb& hsb) { HWY_DYNAMIC_DISPATCH(HsbRow)(row, hsb); }

}  // namespace kestrel::kernels
#endif
