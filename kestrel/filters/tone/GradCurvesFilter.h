#pragma once
#include <array>

#include "kestrel/filters/tone/GradCurve.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Maps tones through a master curve and a curve for each channel.
struct GradCurvesParameters {
    std::array<CGradCurve, 4> curves;  ///< all channels, red, green, blue
    bool linear = false;               ///< straight segments in place of the spline
    bool yiqOn = false;                ///< the master curve works on the luminance only
    bool filterOn = false;             ///< the filter acts at all
    bool operator==(const GradCurvesParameters&) const = default;
};

/// The keys that can be listed; counts and nodes are read and written by the filter.
inline constexpr ParameterTable<GradCurvesParameters, 3> kGradCurvesText{
    .keys = {{{"Linear", &GradCurvesParameters::linear, {0, 1}, "IDS_GRADCURVES_VIEW_SPLINE"},
              {"YIQOn", &GradCurvesParameters::yiqOn, {0, 1}, "IDS_GRADCURVES_VIEW_YIQ"},
              {"FilterOn", &GradCurvesParameters::filterOn, {0, 1}}}},
    .written = "Linear=%.1d, YIQOn=%.1d, FilterOn=%.1d",
    .leastBuffer = 1001,
    .standard = ""};

inline constexpr Description kGradCurves{
    .progId = "TMFilter.GradCurves.1",
    .clsid = MakeGuid("{832E598C-A960-46BC-865D-EB527BADDF70}"),
    .id = 11,
    .nameKey = "IDS_GRADCURVES_NAME",
    .name = "Gradation",
    .icon = "icons_gradat",
    .help = "HLP_GRADATION",
    .summary = "Maps tones through a master curve and a curve for each channel, drawn through up to twelve nodes.",
    .inPlace = true};

class CGradCurvesFilter final : public TwinFilter<GradCurvesParameters, kGradCurvesText, kGradCurves> {
public:
    static ParameterInfo Parameters();

    CGradCurvesFilter();

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    HRESULT WorkCurves(const Window& window) const;
};

}  // namespace kestrel
