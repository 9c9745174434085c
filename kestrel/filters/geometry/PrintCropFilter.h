#pragma once
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

/// A crop and the measures of the print that it is made for. The measures are the host's; the filter only keeps them.
struct PrintCropRecord {
    double marginL = 0.0;  ///< edges of the cut as fractions of the picture, 0..1
    double marginR = 1.0;
    double marginB = 0.0;
    double marginT = 1.0;
    double width = 15.0;  ///< of the print, in the unit of `measure`, 0.1..1000
    double height = 10.0;
    std::int32_t measure = 1;  ///< 0 or 1
    double ppi = 100.0;        ///< pixels per inch, 0.1..10000
    bool fixedPpi = false;
};

inline constexpr Choice kPrintUnits[] = {{0, "IDS_PRINTCROP_INCH", "inches"}, {1, "IDS_PRINTCROP_CM", "centimetres"}};

inline constexpr ParameterTable<PrintCropRecord, 9> kPrintCropText{
    .keys =
        {Number("MarginL", &PrintCropRecord::marginL, {0, 1}, "IDS_PRINTCROP_LEFT", "left edge of the cut",
                Unit::Fraction)
             .HeldOr(0),
         Number("MarginR", &PrintCropRecord::marginR, {0, 1}, "IDS_PRINTCROP_RIGHT", "right edge of the cut",
                Unit::Fraction)
             .HeldOr(1),
         Number("MarginB", &PrintCropRecord::marginB, {0, 1}, "IDS_PRINTCROP_BOTTOM", "bottom edge of the cut",
                Unit::Fraction)
             .HeldOr(0),
         Number("MarginT", &PrintCropRecord::marginT, {0, 1}, "IDS_PRINTCROP_TOP", "top edge of the cut",
                Unit::Fraction)
             .HeldOr(1),
         Number("Width", &PrintCropRecord::width, {0.1, 1000}, "IDS_PRINTCROP_WIDTH", "width of the print").HeldOr(15),
         Number("Height", &PrintCropRecord::height, {0.1, 1000}, "IDS_PRINTCROP_HEIGHT", "height of the print")
             .HeldOr(10),
         Number("Measur", &PrintCropRecord::measure, {0, 1}, "IDS_PRINTCROP_MEASURE",
                "unit of width and height, the host's")
             .OneOf(kPrintUnits)
             .HeldOr(1),
         Number("PPI", &PrintCropRecord::ppi, {0.1, 10000}, "IDS_PRINTCROP_PPI", "resolution of the print, pixels",
                Unit::PerInch)
             .HeldOr(100),
         Flag("FixedPPI", &PrintCropRecord::fixedPpi, "IDS_PRINTCROP_FIXEDPPI", "the resolution is kept")
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

    /// Returns the pixels per inch of the active record, a double; null is left alone.
    HRESULT PassAlong15(void* value) override;

protected:
    void DriveLine() override;
};

}  // namespace kestrel
