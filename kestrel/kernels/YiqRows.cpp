#include "kestrel/kernels/YiqRows.h"  // plain headers first: nothing shared may be compiled for one target

#include <algorithm>
#include <array>

#include "kestrel/kernels/Histogram.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/YiqRows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kestrel/kernels/Hsl-inl.h"
#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void LuminanceCurveRow(Row row, const ByteTable& luminance) {
    const auto plain = [&luminance](Bgr p) { return LuminancePixel(p, luminance); };
#if HWY_TARGET == HWY_SCALAR
    MapPixels(row, plain);
#else
    constexpr std::size_t kPart = 960;
    std::array<std::uint8_t, kPart> tones;  // the new luminance of each pixel
    const auto wide = [&tones](auto d, auto p, std::size_t at) HWY_ATTR {
        const auto y = WidenLanes(d, tones.data() + at);
        const auto weigh = [&](const std::array<double, 3>& m, auto a, auto b, auto c) HWY_ATTR {
            return hn::Add(hn::Add(hn::Mul(hn::Set(d, m[0]), a), hn::Mul(hn::Set(d, m[1]), b)),
                           hn::Mul(hn::Set(d, m[2]), c));
        };
        const auto i = weigh(kRgbToYiq[1], p.red, p.green, p.blue);
        const auto q = weigh(kRgbToYiq[2], p.red, p.green, p.blue);
        const auto channel = [&](std::size_t line) HWY_ATTR {
            return hn::Min(hn::Max(weigh(kYiqToRgb[line], y, i, q), hn::Zero(d)), hn::Set(d, 255.0));
        };
        return BgrLanes<decltype(i)>{channel(2), channel(1), channel(0)};
    };
    for (std::size_t i = 0; i < row.size(); i += 3 * kPart) {
        const Row part = row.subspan(i, std::min(3 * kPart, row.size() - i));
        MeasureLuminance(part, tones);
        TableRow(Row(tones).first(part.size() / 3), luminance);
        MapDoubles(part, wide, plain);
    }
#endif
}

void OptimizeRow(Row row, const ByteTable& luminance) {
    std::array<std::int32_t, 256> tones;
    std::copy(luminance.begin(), luminance.end(), tones.begin());
    const auto wide = [&tones](auto d, auto& blue, auto& green, auto& red) HWY_ATTR {
        const hn::RebindToFloat<decltype(d)> df;
        const auto y = hn::ConvertTo(df, hn::GatherIndex(d, tones.data(), LuminanceLanes(d, blue, green, red)));
        const auto r = hn::ConvertTo(df, red);
        const auto g = hn::ConvertTo(df, green);
        const auto b = hn::ConvertTo(df, blue);
        const auto times = [df](float factor, auto value) HWY_ATTR { return hn::Mul(hn::Set(df, factor), value); };
        const auto i = hn::Sub(hn::Sub(times(0.596f, r), times(0.275f, g)), times(0.321f, b));
        const auto q = hn::Add(hn::Sub(times(0.212f, r), times(0.523f, g)), times(0.311f, b));
        const auto byte = [&](auto value) HWY_ATTR {
            return hn::ConvertTo(d, hn::Min(hn::Max(value, hn::Zero(df)), hn::Set(df, 255.0f)));
        };
        blue = byte(hn::Add(hn::Sub(y, times(1.108177f, i)), times(1.705065f, q)));
        green = byte(hn::Sub(hn::Sub(y, times(0.271582f, i)), times(0.646874f, q)));
        red = byte(hn::Add(hn::Add(y, times(0.955688f, i)), times(0.619858f, q)));
    };
    MapPlanes<std::int32_t>(row, wide, [&](Bgr p) { return OptimizePixel(p, luminance); });
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(LuminanceCurveRow);
void LuminanceCurveRow(Row row, const ByteTable& luminance, const ChannelTables& channels) {
    HWY_DYNAMIC_DISPATCH(LuminanceCurveRow)(row, luminance);
    ChannelTablesRow(row, channels);
}

HWY_EXPORT(OptimizeRow);
void OptimizeRow(Row row, const ByteTable& luminance) { HWY_DYNAMIC_DISPATCH(OptimizeRow)(row, luminance); }

}  // namespace kestrel::kernels
#endif
