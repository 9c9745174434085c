#include "kestrel/filters/tone/GradCurvesFilter.h"

namespace kestrel {
namespace {

/// Unlike a fresh record in every count and flag, so that the first update is a change.
GradCurvesParameters Unlike() {
    GradCurvesParameters parameters{.linear = true, .yiqOn = true, .filterOn = true};
    for (CurveSlots& curve : parameters.curves) curve.SetCount(3);
    return parameters;
}

}  // namespace

CGradCurvesFilter::CGradCurvesFilter() : TwinFilter(Unlike()) { RebuildTables(); }

void CGradCurvesFilter::RebuildTables() {
    const auto make = [this](std::size_t curve) {
        return kernels::CurveTable(Active().curves[curve].Nodes(), Active().linear);
    };
    const kernels::ByteTable master = make(0);
    channels_ = {.blue = make(3), .green = make(2), .red = make(1)};
    if (Active().yiqOn)
        luminance_ = kernels::LuminanceCurve(master, kernels::LuminancePixel);
    else
        channels_ = {kernels::Composed(master, channels_.blue), kernels::Composed(master, channels_.green),
                     kernels::Composed(master, channels_.red)};
}

FilterResult CGradCurvesFilter::MakePixels(const PixelRequest& request) {
    if (!Active().filterOn) return InPlace(request, [](const kernels::RowPair& row) { kernels::CopyRow(row); });
    if (!Active().yiqOn)
        return InPlace(request, [this](const kernels::RowPair& row) { kernels::ChannelTablesRow(row, channels_); });
    return InPlace(request, [this](std::span<std::uint8_t> pixels) {
        kernels::LuminanceRow(pixels, luminance_);
        kernels::ChannelTablesRow(pixels, channels_);
    });
}

}  // namespace kestrel
