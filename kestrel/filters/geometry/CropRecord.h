#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/parameters/ParameterTable.h"

namespace kestrel {

/// What is cut off a picture, as fractions of it, so that it holds at any render scale.
struct CropRecord {
    double left = 0.0;  ///< left edge as a fraction of the width
    double right = 1.0;
    double bottom = 0.0;  ///< bottom edge as a fraction of the height
    double top = 1.0;
    bool shrinkAlpha = false;       ///< no limit is known to the size that is wanted upstream
    bool fixRatioOn = true;         ///< the cut keeps the proportions `fixRatio`
    double fixRatio = kOwnRatio;    ///< width / height, 0.0001..10000
    std::int32_t orientation = -1;  ///< orientation adjustment of the dialog
    bool landscape = false;
    std::int32_t dialogWidth = 100;  ///< picture size in the dialog; sets the proportions when neither is 0
    std::int32_t dialogHeight = 100;

    static constexpr double kOwnRatio = -1.0;  ///< the picture's own proportions

    bool HasDialogSize() const { return dialogWidth != 0 && dialogHeight != 0; }
};

/// The keys of a crop, for its own record or one that extends it.
template <class Record>
constexpr std::array<ParameterRow<Record>, 11> CropKeys() {
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
    const auto ratioIsFixed = [](const Record& r) { return r.fixRatioOn; };
    const auto dialog = [](KeyName key, std::int32_t CropRecord::*field, const char* label, const char* meaning) {
        return Number<Record>(key, field, {0, 100000}, label, meaning, Unit::Pixels)
            .Under("IDS_CROP_PICTURESIZE")
            .HeldOr(0)
            .When([](const Record& r) { return r.HasDialogSize(); })
            .NotReset();
    };
    return {edge("LeftMargin", &CropRecord::left, 0, "IDS_CROP_LEFT", "left edge of the cut"),
            edge("RightMargin", &CropRecord::right, 1, "IDS_CROP_RIGHT", "right edge of the cut"),
            edge("BottomMargin", &CropRecord::bottom, 0, "IDS_CROP_BOTTOM", "bottom edge of the cut"),
            edge("TopMargin", &CropRecord::top, 1, "IDS_CROP_TOP", "top edge of the cut"),
            flag("ShrinkAlpha", &CropRecord::shrinkAlpha, 0, "IDS_CROP_SHRINKALPHA",
                 "no limit is known to the size wanted upstream"),
            flag("FixRatioOn", &CropRecord::fixRatioOn, 1, "IDS_CROP_FIXRATIO", "the cut keeps its proportions"),
            Number<Record>("FixRatio", &CropRecord::fixRatio, {0.0001, 10000}, "IDS_CROP_RATIO",
                           "width to height of the cut; -1: that of the picture")
                .HeldOr(CropRecord::kOwnRatio)
                .Special(CropRecord::kOwnRatio)
                .Within(kSameFraction)
                .When(ratioIsFixed),
            flag("Landscape", &CropRecord::landscape, 0, "IDS_CROP_LANDSCAPE", "the cut lies").When(ratioIsFixed),
            Number<Record>("AdjustOri", &CropRecord::orientation, {}, "IDS_CROP_ORIENTATION",
                           "orientation that the dialog adjusted; -1: none")
                .Equals()
                .Or(-1)
                .When([](const Record& r) { return r.orientation != -1; })
                .NotReset(),
            dialog("DlgSizeX", &CropRecord::dialogWidth, "IDS_CROP_WIDTH", "width of the picture in the dialog"),
            dialog("DlgSizeY", &CropRecord::dialogHeight, "IDS_CROP_HEIGHT", "height of the picture in the dialog")};
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
