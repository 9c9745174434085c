#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/parameters/ParameterTable.h"

namespace kestrel {

/// What is cut off a picture, as fractions of it, so that it holds at any render scale.
struct CropRecord {
    double m_dLeft = 0.0;  ///< left edge as a fraction of the width
    double m_dRight = 1.0;
    double m_dBottom = 0.0;  ///< bottom edge as a fraction of the height
    double m_dTop = 1.0;
    bool m_bShrinkAlpha = false;     ///< no limit is known to the size that is wanted upstream
    bool m_bFixRatioOn = true;       ///< the cut keeps the proportions `m_dFixRatio`
    double m_dFixRatio = kOwnRatio;  ///< width / height, 0.0001..10000
    std::int32_t m_nAdjustOri = -1;  ///< orientation adjustment of the dialog
    bool m_bLandscape = false;
    std::int32_t m_nDlgSizeX = 100;  ///< picture size in the dialog; gives the proportions when both are not 0
    std::int32_t m_nDlgSizeY = 100;

    static constexpr double kOwnRatio = -1.0;  ///< the picture's own proportions

    bool HasDialogSize() const { return m_nDlgSizeX != 0 && m_nDlgSizeY != 0; }
};

/// The keys of a crop, for its own record or one that extends it.
template <class Record>
constexpr std::array<Parameter<Record>, 11> CropKeys() {
    constexpr double kSameFraction = 0.0001;
    const auto edge = [](KeyName key, double CropRecord::*field, double fallback, const char* label,
                         const char* meaning) {
        return Number<Record>(key, field, {0, 1}, label, meaning, Unit::Fraction)
            .HeldOr(fallback)
            .Within(kSameFraction);
    };
    const auto flag = [](KeyName key, bool CropRecord::*field, double fallback, const char* label,
                         const char* meaning) {
        return Flag<Record>(key, field, label, meaning).Equals().Or(fallback);
    };
    const auto ratioIsFixed = [](const Record& r) { return r.m_bFixRatioOn; };
    const auto dialog = [](KeyName key, std::int32_t CropRecord::*field, const char* label, const char* meaning) {
        return Number<Record>(key, field, {0, 100000}, label, meaning, Unit::Pixels)
            .Under("IDS_CROP_PICTURESIZE")
            .HeldOr(0)
            .When([](const Record& r) { return r.HasDialogSize(); })
            .NotReset();
    };
    return {edge("LeftMargin", &CropRecord::m_dLeft, 0, "IDS_CROP_LEFT", "left edge of the cut"),
            edge("RightMargin", &CropRecord::m_dRight, 1, "IDS_CROP_RIGHT", "right edge of the cut"),
            edge("BottomMargin", &CropRecord::m_dBottom, 0, "IDS_CROP_BOTTOM", "bottom edge of the cut"),
            edge("TopMargin", &CropRecord::m_dTop, 1, "IDS_CROP_TOP", "top edge of the cut"),
            flag("ShrinkAlpha", &CropRecord::m_bShrinkAlpha, 0, "IDS_CROP_SHRINKALPHA",
                 "no limit is known to the size wanted upstream"),
            flag("FixRatioOn", &CropRecord::m_bFixRatioOn, 1, "IDS_CROP_FIXRATIO", "the cut keeps its proportions"),
            Number<Record>("FixRatio", &CropRecord::m_dFixRatio, {0.0001, 10000}, "IDS_CROP_RATIO",
                           "width to height of the cut; -1: that of the picture")
                .HeldOr(CropRecord::kOwnRatio)
                .Special(CropRecord::kOwnRatio)
                .Within(kSameFraction)
                .When(ratioIsFixed),
            flag("Landscape", &CropRecord::m_bLandscape, 0, "IDS_CROP_LANDSCAPE", "the cut lies").When(ratioIsFixed),
            Number<Record>("AdjustOri", &CropRecord::m_nAdjustOri, {}, "IDS_CROP_ORIENTATION",
                           "orientation that the dialog adjusted; -1: none")
                .Equals()
                .Or(-1)
                .When([](const Record& r) { return r.m_nAdjustOri != -1; })
                .NotReset(),
            dialog("DlgSizeX", &CropRecord::m_nDlgSizeX, "IDS_CROP_WIDTH", "width of the picture in the dialog"),
            dialog("DlgSizeY", &CropRecord::m_nDlgSizeY, "IDS_CROP_HEIGHT", "height of the picture in the dialog")};
}

/// A missing or unreadable key sets its default; values are brought into their ranges.
inline constexpr ParameterTable<CropRecord, 11> kCropText{
    .keys = CropKeys<CropRecord>(), .minimumBuffer = 201, .digits = 1, .resetSeparator = nullptr};

/// Brings a cut to proportions: the larger side of the fraction rectangle stays as far as the picture allows, the
/// centre moves only to keep the cut inside. Nothing happens unless `ratio` is above 0.
void FitRatio(double ratio, int inW, int inH, double* left, double* bottom, double* right, double* top);
/// The same for a record and its own ratio; its pending text shows the fitted margins from then on.
void FitRatio(CropRecord& record, int inW, int inH);

}  // namespace kestrel
