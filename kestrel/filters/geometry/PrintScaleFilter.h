#pragma once
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

struct PrintScaleRecord {
    std::int32_t m_nPrintWidth = 100;  ///< pixels of the print, 1..1000000
    std::int32_t m_nPrintHeight = 100;
    std::int32_t m_nPrintTurn = 0;  ///< quarter turns counterclockwise, made before the size is fitted
    bool operator==(const PrintScaleRecord&) const = default;
};

/// The keys are those of the record.
inline constexpr ParameterTable<PrintScaleRecord, 0> kPrintScaleText{
    .keys = {}, .written = "", .leastBuffer = 50, .standard = "PrintWidth=100, PrintHeight=100, PrintTurn=0"};

inline constexpr Description kPrintScale{.progId = "TMFilter.PrintScale.1",
                                         .clsid = MakeGuid("{13D8AB9C-C1C1-4C84-826D-84F879A55A2E}"),
                                         .id = 2,
                                         .cost = 9500,
                                         .nameKey = "PrintScale",
                                         .name = "PrintScale",
                                         .icon = "icons_scale",
                                         .help = "HLP_PRINTSCALE",
                                         .summary = "Turns the picture by quarters and fits it to a print's pixels."};

class CPrintScaleFilter final : public WrapperFilter<PrintScaleRecord, kPrintScaleText, kPrintScale> {
public:
    static ParameterInfo Parameters();

    CPrintScaleFilter();

protected:
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    /// What the inner filters work with, as a record of this filter.
    std::string ActiveText() const override;

private:
    void DriveLine();
};

}  // namespace kestrel
