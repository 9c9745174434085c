#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct SoftFrameParameters {
    std::int32_t frameWidth = 0;  ///< fade width in pixels, or in percent of half the longer side
    bool softCorner = true;       ///< the fades of two edges multiply; otherwise the nearer edge alone counts
    bool top = true;              ///< fade the edge at the high row numbers
    bool bottom = true;           ///< fade the edge at row 0
    bool right = true;
    bool left = true;
    bool calcPix = true;       ///< `frameWidth` is in pixels
    std::int32_t version = 0;  ///< texts of version 0 count in pixels, whatever `calcPix` says
    bool operator==(const SoftFrameParameters&) const = default;
};

inline constexpr ParameterTable<SoftFrameParameters, 8> kSoftFrameText{
    .keys = {{{"FrameWidth", &SoftFrameParameters::frameWidth, {0, 100}, "IDS_SOFTFRAME_NAME"},
              {"SoftCorner", &SoftFrameParameters::softCorner, {0, 1}, "IDS_SOFTFRAME_SOFTCORNER"},
              {"Oben", &SoftFrameParameters::top, {0, 1}, "IDS_SOFTFRAME_CHOOSEEDGES"},
              {"Unten", &SoftFrameParameters::bottom, {0, 1}, "IDS_SOFTFRAME_CHOOSEEDGES"},
              {"Rechts", &SoftFrameParameters::right, {0, 1}, "IDS_SOFTFRAME_CHOOSEEDGES"},
              {"Links", &SoftFrameParameters::left, {0, 1}, "IDS_SOFTFRAME_CHOOSEEDGES"},
              {"CalcPix", &SoftFrameParameters::calcPix, {0, 1}, "IDS_SOFTFRAME_PIXEL"},
              {"Ver", &SoftFrameParameters::version}}},
    .written = "FrameWidth=%.3d, SoftCorner=%.1d, Oben=%.1d, Unten=%.1d, Rechts=%.1d, Links=%.1d, CalcPix=%d, Ver=%d",
    .leastBuffer = 151,
    .standard = "SoftCorner=1,FrameWidth=0,Links=1,Oben=1,Rechts=1,Unten=1"};

inline constexpr Description kSoftFrame{.progId = "TMFilter.SoftFrame.1",
                                        .clsid = MakeGuid("{71F728AA-5B83-48DF-AEA3-7480EDFA2625}"),
                                        .id = 33,
                                        .nameKey = "IDS_SOFTFRAME_NAME",
                                        .name = "Soft Edge",
                                        .icon = "icons_softframe",
                                        .help = "HLP_SOFTFRAME",
                                        .summary = "Fades the picture out towards chosen edges.",
                                        .inPlace = true};

/// Fades the picture out towards chosen edges. Works on the mask rows of the caller and touches only what is fading.
class CSoftFrameFilter final : public TwinFilter<SoftFrameParameters, kSoftFrameText, kSoftFrame> {
public:
    CSoftFrameFilter();
    bool HasChanged() override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    std::string ActiveText() const override;

private:
    /// The active parameters; the version has no twin and counts as soon as a text has brought it.
    SoftFrameParameters ActiveWithVersion() const;
};

}  // namespace kestrel
