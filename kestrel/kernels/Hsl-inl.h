// The colour model of Hsl.h on vectors of doubles: the same operations in the same order, so the same bits.
#if defined(KESTREL_KERNELS_HSL_INL_H) == defined(HWY_TARGET_TOGGLE)  // once for each instruction set
#ifdef KESTREL_KERNELS_HSL_INL_H
#undef KESTREL_KERNELS_HSL_INL_H
#else
#define KESTREL_KERNELS_HSL_INL_H
#endif
#include "kestrel/kernels/Parts-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Three vectors of one kind.
template <class V>
struct HslLanes {
    V hue;
    V lightness;
    V saturation;
};

/// Bytes divided by 255.
template <class D, class V>
HWY_INLINE V ShareLanes(D d, V byte) {
    return hn::Add(hn::Mul(byte, hn::Set(d, kShareHigh)), hn::Mul(byte, hn::Set(d, kShareLow)));
}

/// The lightness alone: of two channels, since a share grows with its byte.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V LightnessLanes(D d, BgrLanes<V> p) {
    const V max = ShareLanes(d, hn::Max(hn::Max(p.red, p.green), p.blue));
    const V min = ShareLanes(d, hn::Min(hn::Min(p.red, p.green), p.blue));
    return hn::Mul(hn::Add(max, min), hn::Set(d, 0.5));
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE HslLanes<V> RgbToHslLanes(D d, BgrLanes<V> p) {
    const V r = ShareLanes(d, p.red);
    const V g = ShareLanes(d, p.green);
    const V b = ShareLanes(d, p.blue);
    const V max = hn::Max(hn::Max(r, g), b);
    const V min = hn::Min(hn::Min(r, g), b);
    const V sum = hn::Add(max, min);
    const V spread = hn::Sub(max, min);
    const V two = hn::Set(d, 2.0);
    const V lightness = hn::Mul(sum, hn::Set(d, 0.5));
    const auto grey = hn::Eq(max, min);
    const V base = hn::IfThenElse(hn::Le(lightness, hn::Set(d, 0.5)), sum, hn::Sub(two, sum));
    const auto redMax = hn::Eq(r, max);
    const auto greenMax = hn::Eq(g, max);
    const V difference = hn::IfThenElse(redMax, hn::Sub(g, b), hn::IfThenElse(greenMax, hn::Sub(b, r), hn::Sub(r, g)));
    const V start = hn::IfThenElseZero(hn::Not(redMax), hn::IfThenElse(greenMax, two, hn::Set(d, 4.0)));
    V hue = hn::Mul(hn::Add(start, hn::Div(difference, spread)), hn::Set(d, 60.0));
    hue = hn::IfThenElse(hn::Lt(hue, hn::Zero(d)), hn::Add(hue, hn::Set(d, 360.0)), hue);
    return {hn::IfThenZeroElse(grey, hue), lightness, hn::IfThenZeroElse(grey, hn::Div(spread, base))};
}

/// The lower and the upper of the values that channels of a lightness and a saturation lie between.
template <class V>
struct ChannelRange {
    V lower;
    V upper;
};
template <class D, class V>
HWY_INLINE ChannelRange<V> ChannelRangeLanes(D d, V lightness, V saturation) {
    const V one = hn::Set(d, 1.0);
    const V lower = hn::IfThenElse(hn::Le(lightness, hn::Set(d, 0.5)), hn::Mul(hn::Sub(one, saturation), lightness),
                                   hn::Sub(lightness, hn::Mul(hn::Sub(one, lightness), saturation)));
    return {lower, hn::Sub(hn::Mul(hn::Set(d, 2.0), lightness), lower)};
}

/// Colours of one hue and saturation, of which only the lightness varies from pixel to pixel.
class OneHue {
public:
    OneHue(double hue, double saturation) : saturation_(saturation), grey_(saturation <= 0.000001) {
        const double h = (hue >= 360 ? 0.0 : hue) / 60;
        const int sextant = h < 1 ? 0 : h < 2 ? 1 : h < 3 ? 2 : h < 4 ? 3 : h < 5 ? 4 : 5;
        const int even = (sextant + 1) / 2 * 2;
        distance_ = sextant % 2 == 0 ? h - even : even - h;
        // Which of the lower, the upper and the one between blue, green and red are.
        constexpr int kParts[6][3] = {{0, 2, 1}, {0, 1, 2}, {2, 1, 0}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}};
        for (int i = 0; i < 3; ++i) parts_[i] = kParts[sextant][i];
    }
    /// Channels scaled to 255, as doubles that are still to be truncated.
    template <class D, class V>
    HWY_INLINE BgrLanes<V> operator()(D d, V lightness) const {
        const V full = hn::Set(d, 255.0);
        if (grey_) {
            const V all = hn::Mul(lightness, full);
            return {all, all, all};
        }
        const auto range = ChannelRangeLanes(d, lightness, V{hn::Set(d, saturation_)});
        const V between = hn::Add(hn::Mul(hn::Sub(range.upper, range.lower), hn::Set(d, distance_)), range.lower);
        const V values[3] = {hn::Mul(range.lower, full), hn::Mul(range.upper, full), hn::Mul(between, full)};
        return {values[parts_[0]], values[parts_[1]], values[parts_[2]]};
    }

private:
    double saturation_;
    double distance_;
    int parts_[3];
    bool grey_;
};

/// Back to channels scaled to 255, as doubles that are still to be truncated, for hues of 0 and more.
template <class D, class V = hn::Vec<D>>
HWY_INLINE BgrLanes<V> HslToRgbLanes(D d, HslLanes<V> c) {
    const V one = hn::Set(d, 1.0);
    const V full = hn::Set(d, 255.0);
    const V two = hn::Set(d, 2.0);
    const auto range = ChannelRangeLanes(d, c.lightness, c.saturation);
    const auto grey = hn::Le(c.saturation, hn::Set(d, 0.000001));
    const V m1 = hn::IfThenElse(grey, c.lightness, range.lower);
    const V m2 = hn::IfThenElse(grey, c.lightness, range.upper);
    const V hue = hn::IfThenZeroElse(hn::Ge(c.hue, hn::Set(d, 360.0)), c.hue);
    const V h = hn::Div(hue, hn::Set(d, 60.0));
    const auto below1 = hn::Lt(h, one);
    const auto below2 = hn::Lt(h, two);
    const auto below3 = hn::Lt(h, hn::Set(d, 3.0));
    const auto below4 = hn::Lt(h, hn::Set(d, 4.0));
    const auto below5 = hn::Lt(h, hn::Set(d, 5.0));
    // The one channel that lies between m1 and m2 goes by the distance to the nearest of 0, 2, 4, 6. Doubles of this
    // size are even; half way between two both are as far.
    const V even = hn::Set(d, 0x1.8p53);
    const V distance = hn::Abs(hn::Sub(h, hn::Sub(hn::Add(h, even), even)));
    const V between = hn::Add(hn::Mul(hn::Sub(m2, m1), distance), m1);
    const V red = hn::IfThenElse(
        below1, m2, hn::IfThenElse(below2, between, hn::IfThenElse(below4, m1, hn::IfThenElse(below5, between, m2))));
    const V green = hn::IfThenElse(below1, between, hn::IfThenElse(below3, m2, hn::IfThenElse(below4, between, m1)));
    const V blue = hn::IfThenElse(below2, m1, hn::IfThenElse(below3, between, hn::IfThenElse(below5, m2, between)));
    return {hn::Mul(blue, full), hn::Mul(green, full), hn::Mul(red, full)};
}

#if HWY_TARGET != HWY_SCALAR
/// The pixels of a part by their hue, lightness and saturation: `change(d, HslLanes&)` changes them. Each of the three
/// loops has chains short enough that several vectors are under way at once. With `keepsGreys` pixels without
/// saturation stay as they are.
template <class Change>
HWY_INLINE void ChangeHsl(PartPlanes& planes, std::size_t pixels, bool keepsGreys, const Change& change) {
    const hn::ScalableTag<double> d;
    using V = hn::Vec<decltype(d)>;
    HWY_ALIGN double hue[kChunk];
    HWY_ALIGN double lightness[kChunk];
    HWY_ALIGN double saturation[kChunk];
    for (std::size_t first = 0; first < pixels; first += kChunk) {
        const std::size_t count = pixels - first < kChunk ? pixels - first : kChunk;
        for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
            const auto hsl = RgbToHslLanes(d, WidenLanes(d, planes.from, first + k));
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        for (std::size_t k = 0; k < count; k += hn::Lanes(d)) {
            HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            const auto grey = hn::Eq(hsl.saturation, hn::Zero(d));
            change(d, hsl);
            if (keepsGreys) hsl.saturation = hn::IfThenElse(grey, hn::Set(d, -1.0), hsl.saturation);
            hn::Store(hsl.hue, d, hue + k);
            hn::Store(hsl.lightness, d, lightness + k);
            hn::Store(hsl.saturation, d, saturation + k);
        }
        NarrowPlanes(d, planes, first, first + count, [&](std::size_t at) HWY_ATTR {
            const std::size_t k = at - first;
            const HslLanes<V> hsl{hn::Load(d, hue + k), hn::Load(d, lightness + k), hn::Load(d, saturation + k)};
            auto out = HslToRgbLanes(d, hsl);
            if (keepsGreys) {
                const auto kept = hn::Lt(hsl.saturation, hn::Zero(d));
                const auto old = WidenLanes(d, planes.from, at);
                out.blue = hn::IfThenElse(kept, old.blue, out.blue);
                out.green = hn::IfThenElse(kept, old.green, out.green);
                out.red = hn::IfThenElse(kept, old.red, out.red);
            }
            return out;
        });
    }
}

/// The extremes of the channels of pixels, as floats.
template <class V>
struct ExtremeLanes {
    V max, sum, spread;
};

template <class D, class V>
HWY_INLINE ExtremeLanes<V> Extremes(D /*d*/, const BgrLanes<V>& p) {
    const V max = hn::Max(hn::Max(p.red, p.green), p.blue);
    const V min = hn::Min(hn::Min(p.red, p.green), p.blue);
    return {max, hn::Add(max, min), hn::Sub(max, min)};
}

/// The parts of a row by an estimate: `units(d, ExtremeLanes, BgrLanes, at)` returns what `CutEstimates` takes of
/// the pixels from `at` on.
template <class Units>
HWY_INLINE void EstimateHsl(PartPlanes& planes, std::size_t pixels, bool keepsGreys, const Units& units,
                            OpenPixels& open) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    for (std::size_t k = 0; k < pixels; k += hn::Lanes(d)) {
        const auto p = FloatLanes(d, planes.from, k);
        const auto extremes = Extremes(d, p);
        auto unsure = CutEstimates(d, units(d, extremes, p, k), planes, k);
        if (keepsGreys) unsure = hn::And(unsure, hn::RebindMask(di, hn::Gt(extremes.spread, hn::Zero(d))));
        open.Set(di, unsure, k);
    }
}

/// Twice the distance of a lightness of 0..255 from black or white, whichever is nearer.
template <class D, class V>
HWY_INLINE V BaseLanes(D d, V sum) {
    return hn::Min(sum, hn::Sub(hn::Set(d, 510.0f), sum));
}

/// Saturation times a factor of 0 to 256, above 1 taken as 1. Without rounding a channel c of a pixel whose extremes
/// have the mean m becomes m + f (c - m), with a factor f that takes the saturation to 1 at most. In floats that is
/// wrong by less than 1e-4; where the saturation is so small that the exact form takes the colour for a grey, by 3e-4.
template <class D, class V>
HWY_INLINE BgrLanes<V> SaturatedUnits(D d, const ExtremeLanes<V>& extremes, const BgrLanes<V>& p, V factor) {
    // Greys come out as they are.
    const V largest = hn::Div(BaseLanes(d, extremes.sum), hn::Max(extremes.spread, hn::Set(d, 1.0f)));
    const V times = hn::Mul(hn::Min(factor, largest), hn::Set(d, kUnits));
    const V mean = hn::Mul(extremes.sum, hn::Set(d, 0.5f));
    const V middle = hn::Add(hn::Mul(mean, hn::Set(d, kUnits)), hn::Set(d, kWholeFloats));
    const auto channel = [&](V c) HWY_ATTR { return hn::Add(hn::Mul(hn::Sub(c, mean), times), middle); };
    return {channel(p.blue), channel(p.green), channel(p.red)};
}
#endif

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
