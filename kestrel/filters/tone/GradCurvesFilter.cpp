#include "kestrel/filters/tone/GradCurvesFilter.h"

#include "kestrel/kernels/YiqRows.h"

namespace kestrel {
namespace {

/// Unlike a fresh record in every count and flag, so that the first update is a change.
GradCurvesParameters Unlike() {
    GradCurvesParameters parameters{.linear = true, .yiqOn = true, .filterOn = true};
    for (CurveSlots& curve : parameters.curves) curve.SetCount(3);
    return parameters;
}

}  // namespace

CGradCurvesFilter::CGradCurvesFilter() : TwinFilter(Unlike()) {}

FilterResult CGradCurvesFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] { return Active().filterOn ? WorkCurves(request) : kDone; });
}

FilterResult CGradCurvesFilter::WorkCurves(const PixelRequest& request) const {
    const auto make = [this](std::size_t curve) {
        return kernels::CurveTable(Active().curves[curve].Nodes(), Active().linear);
    };
    const kernels::ByteTable master = make(0);
    kernels::ChannelTables tables{.blue = make(3), .green = make(2), .red = make(1)};
    if (Active().yiqOn)
        return WalkRows(request,
                        [&](std::span<std::uint8_t> pixels) { kernels::LuminanceCurveRow(pixels, master, tables); });
    tables = {kernels::Composed(master, tables.blue), kernels::Composed(master, tables.green),
              kernels::Composed(master, tables.red)};
    return WalkRows(request, [&](std::span<std::uint8_t> pixels) { kernels::ChannelTablesRow(pixels, tables); });
}

}  // namespace kestrel
