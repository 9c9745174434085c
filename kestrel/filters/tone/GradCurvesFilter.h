#pragma once
#include <array>

#include "kestrel/filters/tone/CurveSlots.h"
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/YiqRows.h"

namespace kestrel {

/// Maps tones through a master curve and a curve for each channel.
struct GradCurvesParameters {
    std::array<CurveSlots, 4> curves{};  ///< all channels, red, green, blue
    bool linear = false;                 ///< straight segments in place of the spline
    bool yiqOn = false;                  ///< the master curve works on the luminance only
    bool filterOn = false;               ///< the filter acts at all
};

/// Counts, all x and all y of the four curves, then the flags.
inline constexpr auto kGradCurvesText = [] {
    using Record = GradCurvesParameters;
    struct Curve {
        const char* letter;
        const char* name;
        const char* in;   ///< label of the tones of the nodes
        const char* out;  ///< label of what they become
    };
    constexpr std::array<Curve, 4> curves = {
        {{"L", "all channels", "IDS_GRADCURVES_GRAY_IN", "IDS_GRADCURVES_GRAY_OUT"},
         {"R", "red", "IDS_GRADCURVES_RED_IN", "IDS_GRADCURVES_RED_OUT"},
         {"G", "green", "IDS_GRADCURVES_GREEN_IN", "IDS_GRADCURVES_GREEN_OUT"},
         {"B", "blue", "IDS_GRADCURVES_BLUE_IN", "IDS_GRADCURVES_BLUE_OUT"}}};
    ParameterTable<Record, 15> table{.keys = {}, .minimumBuffer = 1001, .resetSeparator = nullptr};
    for (std::size_t i = 0; i < curves.size(); ++i) {
        table.keys[i] = {.key = {"n", curves[i].letter},
                         .field = [](Record& r, std::size_t at) -> std::int32_t& { return r.curves[at].Count(); },
                         .range = {2, CurveSlots::kSlots},
                         .meaning = "number of nodes",
                         .group = curves[i].name,
                         .index = i,
                         .digits = 2};
        const auto node = [&](const char* axis, Element<Record, std::int32_t> field, const char* label,
                              const char* meaning) {
            return ParameterRow<Record>{.key = {axis, curves[i].letter, "#"},
                                        .field = field,
                                        .range = {0, CurveSlots::kLargest},
                                        .label = label,
                                        .meaning = meaning,
                                        .group = curves[i].name,
                                        .index = i * CurveSlots::kSlots,
                                        .count = CurveSlots::kSlots,
                                        .held = true};
        };
        table.keys[4 + i] = node(
            "x",
            [](Record& r, std::size_t at) -> std::int32_t& {
                return r.curves[at / CurveSlots::kSlots].Slot(at % CurveSlots::kSlots).x;
            },
            curves[i].in, "tone of a node");
        table.keys[8 + i] = node(
            "y",
            [](Record& r, std::size_t at) -> std::int32_t& {
                return r.curves[at / CurveSlots::kSlots].Slot(at % CurveSlots::kSlots).y;
            },
            curves[i].out, "what the tone becomes");
    }
    table.keys[12] = Flag("Linear", &Record::linear, "IDS_GRADCURVES_VIEW_SPLINE", "straight segments, no spline");
    table.keys[13] = Flag("YIQOn", &Record::yiqOn, "IDS_GRADCURVES_VIEW_YIQ", "the common curve maps the luminance");
    table.keys[14] = Flag("FilterOn", &Record::filterOn, "", "the filter acts at all").ActiveAt(1);
    return table;
}();

inline constexpr Description kGradCurves{
    .progId = "TMFilter.GradCurves.1",
    .clsid = MakeGuid("{832E598C-A960-46BC-865D-EB527BADDF70}"),
    .id = 11,
    .nameKey = "IDS_GRADCURVES_NAME",
    .name = "Gradation",
    .icon = "icons_gradat",
    .help = "HLP_GRADATION",
    .summary = "Maps tones through a master curve and a curve for each channel, drawn through up to twelve nodes.",
    .inPlace = true,
    .reach = 0};

class CGradCurvesFilter final : public TwinFilter<GradCurvesParameters, kGradCurvesText, kGradCurves> {
public:
    CGradCurvesFilter();

    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::ChannelTables channels_;  ///< with the master curve, unless that works on the luminance
    kernels::LuminanceCurve luminance_{kernels::kIdentityTable, kernels::LuminancePixel};
};

}  // namespace kestrel
