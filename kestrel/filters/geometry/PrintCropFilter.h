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
    bool operator==(const PrintCropRecord&) const = default;
};

/// The keys are those of the record.
inline constexpr ParameterTable<PrintCropRecord, 0> kPrintCropText{
    .keys = {},
    .written = "",
    .leastBuffer = 250,
    .standard =
        "MarginL=0.0000, MarginR=1.0000, MarginB=0.0000, MarginT=1.0000, Width=15.0000, Height=10.0000, "
        "Measur=1, PPI=100.0000, FixedPPI=0"};

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
    static ParameterInfo Parameters();

    CPrintCropFilter();

    /// Gives the pixels per inch of the active record, a double; null is left alone.
    HRESULT PassAlong15(void* value) override;

protected:
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    void DriveLine();
};

}  // namespace kestrel
