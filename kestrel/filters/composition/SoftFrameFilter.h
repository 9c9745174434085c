#pragma once
#include <vector>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/FadeRow.h"

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
};

inline constexpr Choice kFadeUnits[] = {{0, "IDS_SOFTFRAME_PERCENT", "percent"}, {1, "IDS_SOFTFRAME_PIXEL", "pixels"}};

inline constexpr ParameterTable<SoftFrameParameters, 8> kSoftFrameText{
    .keys = {Number("FrameWidth", &SoftFrameParameters::frameWidth, {0, 100}, "IDS_SOFTFRAME_WIDTH",
                    "width of the fade, pixels or percent of half the longer side")
                 .ResetAt(1),
             Flag("SoftCorner", &SoftFrameParameters::softCorner, "IDS_SOFTFRAME_SOFTCORNER", "rounded corners"),
             Flag("Oben", &SoftFrameParameters::top, "IDS_SOFTFRAME_TOP", "the top edge fades")
                 .Under("IDS_SOFTFRAME_CHOOSEEDGES")
                 .ResetAt(3),
             Flag("Unten", &SoftFrameParameters::bottom, "IDS_SOFTFRAME_BOTTOM", "the bottom edge fades")
                 .Under("IDS_SOFTFRAME_CHOOSEEDGES")
                 .ResetAt(5),
             Flag("Rechts", &SoftFrameParameters::right, "IDS_SOFTFRAME_RIGHT", "the right edge fades")
                 .Under("IDS_SOFTFRAME_CHOOSEEDGES")
                 .ResetAt(4),
             Flag("Links", &SoftFrameParameters::left, "IDS_SOFTFRAME_LEFT", "the left edge fades")
                 .Under("IDS_SOFTFRAME_CHOOSEEDGES")
                 .ResetAt(2),
             Flag("CalcPix", &SoftFrameParameters::calcPix, "IDS_SOFTFRAME_UNIT", "unit of the width")
                 .Under("IDS_SOFTFRAME_WIDTH")
                 .OneOf(kFadeUnits)
                 .NotReset(),
             Number("Ver", &SoftFrameParameters::version, {}, "", "version of the text; below 1 the width is in pixels")
                 .Digits(1)
                 .NotCompared()
                 .NotReset()},
    .minimumBuffer = 151,
    .resetDigits = 1};

inline constexpr Description kSoftFrame{.progId = "TMFilter.SoftFrame.1",
                                        .clsid = MakeGuid("{71F728AA-5B83-48DF-AEA3-7480EDFA2625}"),
                                        .id = 33,
                                        .nameKey = "IDS_SOFTFRAME_NAME",
                                        .name = "Soft Edge",
                                        .icon = "icons_softframe",
                                        .help = "HLP_SOFTFRAME",
                                        .summary = "Fades the picture out towards chosen edges.",
                                        .inPlace = true,
                                        .reach = 0,
                                        .hides = true,
                                        .lengths = Lengths::Stay};

/// Works on the mask rows of the caller and touches only what is fading.
class CSoftFrameFilter final : public TwinFilter<SoftFrameParameters, kSoftFrameText, kSoftFrame> {
public:
    CSoftFrameFilter();

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
    /// The version takes effect without a commit.
    SoftFrameParameters Shown() const override;

private:
    /// How a row fades towards the left and the right edge; the same for all rows of a picture.
    struct ColumnFade {
        bool left = false;
        bool right = false;
        std::int64_t width = 0;                ///< of the fade, pixels
        std::vector<kernels::FadeStep> steps;  ///< one for each column; those that do not fade have any
    };
    /// Brings the steps up to date for a fade of this width.
    void SetColumnFade(const SoftFrameParameters& frame, std::int64_t width);
    /// Fades the part of row `y` that begins at column `x`.
    void FadePart(const SoftFrameParameters& frame, std::int64_t y, std::int64_t x, std::span<std::uint8_t> mask) const;

    ColumnFade columns_;
};

}  // namespace kestrel
