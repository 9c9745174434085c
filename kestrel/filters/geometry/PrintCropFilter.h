#pragma once
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

/// A crop and the measures of the print that it is made for. The measures are the host's; they are kept and told.
struct PrintCropRecord {
    double m_dMarginL = 0.0;  ///< edges of the cut as fractions of the picture, 0..1
    double m_dMarginR = 1.0;
    double m_dMarginB = 0.0;
    double m_dMarginT = 1.0;
    double m_dWidth = 15.0;  ///< of the print, in the unit of `m_nMeasur`, 0.1..1000
    double m_dHeight = 10.0;
    std::int32_t m_nMeasur = 1;  ///< 0 or 1
    double m_dPPI = 100.0;       ///< pixels per inch, 0.1..10000
    bool m_bFixedPPI = false;
};

inline constexpr ParameterTable<PrintCropRecord, 9> kPrintCropText{
    .keys = {Number("MarginL", &PrintCropRecord::m_dMarginL, {0, 1}, "IDS_PRINTCROP_LEFT", "left edge of the cut",
                    Unit::Fraction)
                 .HeldOr(0),
             Number("MarginR", &PrintCropRecord::m_dMarginR, {0, 1}, "IDS_PRINTCROP_RIGHT", "right edge of the cut",
                    Unit::Fraction)
                 .HeldOr(1),
             Number("MarginB", &PrintCropRecord::m_dMarginB, {0, 1}, "IDS_PRINTCROP_BOTTOM", "bottom edge of the cut",
                    Unit::Fraction)
                 .HeldOr(0),
             Number("MarginT", &PrintCropRecord::m_dMarginT, {0, 1}, "IDS_PRINTCROP_TOP", "top edge of the cut",
                    Unit::Fraction)
                 .HeldOr(1),
             Number("Width", &PrintCropRecord::m_dWidth, {0.1, 1000}, "IDS_PRINTCROP_WIDTH", "width of the print")
                 .HeldOr(15),
             Number("Height", &PrintCropRecord::m_dHeight, {0.1, 1000}, "IDS_PRINTCROP_HEIGHT", "height of the print")
                 .HeldOr(10),
             Number("Measur", &PrintCropRecord::m_nMeasur, {0, 1}, "IDS_PRINTCROP_MEASURE",
                    "unit of width and height, the host's")
                 .HeldOr(1),
             Number("PPI", &PrintCropRecord::m_dPPI, {0.1, 10000}, "IDS_PRINTCROP_PPI",
                    "resolution of the print, pixels", Unit::PerInch)
                 .HeldOr(100),
             Flag("FixedPPI", &PrintCropRecord::m_bFixedPPI, "IDS_PRINTCROP_FIXEDPPI", "the resolution is kept")
                 .Equals()
                 .Or(0)},
    .minimumBuffer = 250,
    .digits = 1,
    .resetSeparator = nullptr};

inline constexpr Description kPrintCrop{.progId = "TMFilter.PrintCrop.1",
                                        .clsid = MakeGuid("{6E88B389-934A-4D67-AE82-F1D199B6E786}"),
                                        .id = 1,
                                        .cost = 9500,
                                        .nameKey = "PrintCrop",
                                        .name = "PrintCrop",
                                        .icon = "icons_crop",
                                        .help = "HLP_PRINTCROP",
                                        .summary = "Cuts the picture for a print and keeps the print's measures."};

class CPrintCropFilter final : public WrapperFilter<PrintCropRecord, kPrintCropText, kPrintCrop> {
public:
    CPrintCropFilter();

    /// Gives the pixels per inch of the active record, a double; null is left alone.
    HRESULT PassAlong15(void* value) override;

protected:
    void DriveLine() override;
};

}  // namespace kestrel
