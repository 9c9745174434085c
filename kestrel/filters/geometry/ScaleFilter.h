#pragma once
#include "kestrel/filters/geometry/Resampler.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// The box that the picture is fitted into.
struct ScaleParameters {
    bool m_bKeepProportions = true;     ///< both axes take the smaller factor
    bool m_bAllowEnlarge = false;       ///< factors above 1 are permitted
    bool m_bFollowOrientation = false;  ///< the box turns to match the picture; written as 2 for `KeepProportions`
    std::int32_t m_nMaxWidth = 100;     ///< pixels, 1..10000 in the dialog
    std::int32_t m_nMaxHeight = 100;
    /// The render scale goes on downstream. Acts at once, a change needs no new pixels.
    bool m_bScaleThrough = false;

    bool operator==(const ScaleParameters& other) const;
};

inline constexpr ParameterTable<ScaleParameters, 5> kScaleText{
    .keys = {{{"KeepProportions", &ScaleParameters::m_bKeepProportions, {0, 2}, "IDS_SCALE_PROP", Reading::Equals},
              {"AllowEnlarge", &ScaleParameters::m_bAllowEnlarge, {0, 1}, "IDS_SCALE_ENLARGE", Reading::Equals},
              {"MaximumHorizontalSize", &ScaleParameters::m_nMaxWidth, {1, 10000}, "IDS_SCALE_H", Reading::Equals},
              {"MaximumVerticalSize", &ScaleParameters::m_nMaxHeight, {1, 10000}, "IDS_SCALE_V", Reading::Equals},
              {"ScaleThrough", &ScaleParameters::m_bScaleThrough, {0, 1}, "", Reading::Equals}}},
    // behind "KeepProportions=", whose number says two things
    .written = ", AllowEnlarge=%.1d, MaximumHorizontalSize=%.3d, MaximumVerticalSize=%.3d, ExtraParam=|SCALE|",
    .leastBuffer = 101,
    .standard = "MaximumHorizontalSize=100,MaximumVerticalSize=100,KeepProportions=1,AllowEnlarge=0"};

inline constexpr Description kScale{.progId = "TMFilter.Scale.1",
                                    .clsid = MakeGuid("{CD684F34-CA4F-420A-AC43-EF6A70BB9976}"),
                                    .id = 6,
                                    .cost = 500,
                                    .nameKey = "IDS_SCALE_NAME",
                                    .name = "Scale (Absolute)",
                                    .icon = "icons_scale",
                                    .help = "HLP_SCALE",
                                    .summary = "Fits the picture into a box given in pixels."};

class CScaleFilter final : public TwinFilter<ScaleParameters, kScaleText, kScale> {
public:
    static ParameterInfo Parameters();

    CScaleFilter();

    bool HasChanged() override;
    HRESULT CommitChanges() override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    HRESULT SetRenderScale(double scale) override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    struct Factors {
        double x;
        double y;
    };
    /// Factors from a size to the active box, both above 0; an axis that is capped is not enlarged.
    Factors FactorsFor(int width, int height, bool capX, bool capY) const;
    void RecalcGeometry();
    HRESULT Resample();

    ScaleParameters committed_;  ///< what the active parameters were made of; the box may have been turned since
    Resampler resampler_;
};

}  // namespace kestrel
