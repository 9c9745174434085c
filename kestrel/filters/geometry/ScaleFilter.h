#pragma once
#include "kestrel/filters/geometry/ScalingFilter.h"

namespace kestrel {

/// The box that the picture is fitted into.
struct ScaleParameters {
    std::int32_t proportions = 1;     ///< 0 free; 1 both axes take the smaller factor; 2 the box also turns to match
    bool allowEnlarge = false;        ///< factors above 1 are permitted
    std::int32_t maximumWidth = 100;  ///< pixels, 1..10000 in the dialog
    std::int32_t maximumHeight = 100;
    /// The render scale goes on downstream. Acts at once, a change needs no new pixels.
    bool scaleThrough = false;
};

inline constexpr Choice kProportions[] = {{0, "IDS_SCALE_PROP_FREE", "free"},
                                          {1, "IDS_SCALE_PROP", "Maintain proportions"},
                                          {2, "IDS_SCALE_PROP_TURN", "kept, and the box turns with the picture"}};

inline constexpr ParameterTable<ScaleParameters, 6> kScaleText{
    .keys = {Number("KeepProportions", &ScaleParameters::proportions, {0, 2}, "IDS_SCALE_PROP", "proportions")
                 .OneOf(kProportions)
                 .Equals()
                 .Digits(1)
                 .ResetAt(1),
             Flag("AllowEnlarge", &ScaleParameters::allowEnlarge, "IDS_SCALE_ENLARGE", "factors above 1 are permitted")
                 .Equals()
                 .ResetAt(1),
             Number("MaximumHorizontalSize", &ScaleParameters::maximumWidth, {1, 10000}, "IDS_SCALE_H",
                    "width of the box", Unit::Pixels)
                 .Under("IDS_SCALE_MAXSIZE")
                 .Equals(),
             Number("MaximumVerticalSize", &ScaleParameters::maximumHeight, {1, 10000}, "IDS_SCALE_V",
                    "height of the box", Unit::Pixels)
                 .Under("IDS_SCALE_MAXSIZE")
                 .Equals(),
             Tag<ScaleParameters>("ExtraParam", "|SCALE|").NotReset(),
             Flag("ScaleThrough", &ScaleParameters::scaleThrough, "", "the render scale goes on downstream")
                 .Equals()
                 .Or(0)
                 .After(",")
                 .When([](const ScaleParameters& p) { return p.scaleThrough; })
                 .NotCompared()
                 .NotReset()},
    .minimumBuffer = 101,
    .resetDigits = 1};

inline constexpr Description kScale{.progId = "TMFilter.Scale.1",
                                    .clsid = MakeGuid("{CD684F34-CA4F-420A-AC43-EF6A70BB9976}"),
                                    .id = 6,
                                    .cost = 500,
                                    .nameKey = "IDS_SCALE_NAME",
                                    .name = "Scale (Absolute)",
                                    .icon = "icons_scale",
                                    .help = "HLP_SCALE",
                                    .summary = "Fits the picture into a box given in pixels.",
                                    .reach = kScaledRows,
                                    .lengths = Lengths::Stay};

class CScaleFilter final : public ScalingFilter<ScaleParameters, kScaleText, kScale> {
public:
    CScaleFilter();

    std::optional<RowSpan> InputRows(RowSpan output) const override;
    bool IsOpaque() const override;
    bool HasChanged() override;
    HRESULT CommitChanges() override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    HRESULT SetRenderScale(double scale) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
    void ReadText(std::string_view text) override;
    ScaleParameters Shown() const override;

private:
    /// Factors from a size to the active box, both above 0; an axis that is capped is not enlarged.
    ScaleFactors FactorsFor(int width, int height, bool capX, bool capY) const;
    void RecalcGeometry();
    bool KeepsSize() const { return m_Out.Width == m_InActive.Width && m_Out.Height == m_InActive.Height; }

    ScaleParameters committed_;  ///< what the active parameters were made of; the box may have been turned since
};

}  // namespace kestrel
