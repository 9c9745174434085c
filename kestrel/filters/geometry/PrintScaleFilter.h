#pragma once
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

struct PrintScaleRecord {
    std::int32_t printWidth = 100;  ///< pixels of the print, 1..1000000
    std::int32_t printHeight = 100;
    std::int32_t printTurn = 0;  ///< quarter turns counterclockwise, made before the size is fitted
};

inline constexpr ParameterTable<PrintScaleRecord, 3> kPrintScaleText{
    .keys = {Number("PrintWidth", &PrintScaleRecord::printWidth, {1, 1000000}, "IDS_PRINTSCALE_WIDTH",
                    "width of the print", Unit::Pixels)
                 .HeldOr(100),
             Number("PrintHeight", &PrintScaleRecord::printHeight, {1, 1000000}, "IDS_PRINTSCALE_HEIGHT",
                    "height of the print", Unit::Pixels)
                 .HeldOr(100),
             Number("PrintTurn", &PrintScaleRecord::printTurn, {}, "IDS_PRINTSCALE_TURN",
                    "counterclockwise quarter turns")
                 .Equals()
                 .Or(0)},
    .minimumBuffer = 50,
    .digits = 1,
    .resetSeparator = nullptr};

inline constexpr Description kPrintScale{.progId = "TMFilter.PrintScale.1",
                                         .clsid = MakeGuid("{13D8AB9C-C1C1-4C84-826D-84F879A55A2E}"),
                                         .id = 2,
                                         .cost = 9500,
                                         .nameKey = "PrintScale",
                                         .name = "PrintScale",
                                         .icon = "icons_scale",
                                         .help = "HLP_PRINTSCALE",
                                         .summary = "Turns the picture by quarters and fits it to a print's pixels.",
                                         .lengths = Lengths::Stay};

class CPrintScaleFilter final : public WrapperFilter<PrintScaleRecord, kPrintScaleText, kPrintScale> {
public:
    CPrintScaleFilter();

protected:
    void DriveLine() override;
    /// What the inner filters work with, as a record of this filter.
    PrintScaleRecord Shown() const override;
};

}  // namespace kestrel
