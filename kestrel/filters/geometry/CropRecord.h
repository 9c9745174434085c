#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/framework/ParameterTable.h"

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
    /// Fractions and ratio may differ by a ten-thousandth.
    bool operator==(const CropRecord& other) const;
};

inline constexpr int kCropLeastBuffer = 201;

/// A missing or unreadable key sets its default; values are brought into their ranges.
void ReadCrop(std::string_view text, CropRecord& record);
std::string WriteCrop(const CropRecord& record);
void AddCropKeys(ParameterInfo* info);

/// Brings a cut to proportions: the larger side of the fraction rectangle stays as far as the picture allows, the
/// centre moves only to keep the cut inside. Nothing happens unless `ratio` is above 0.
void FitRatio(double ratio, int inW, int inH, double* left, double* bottom, double* right, double* top);
/// The same for a record and its own ratio; its pending text shows the fitted margins from then on.
void FitRatio(CropRecord& record, int inW, int inH);

}  // namespace kestrel
