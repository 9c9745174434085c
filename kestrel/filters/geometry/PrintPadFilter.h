#pragma once
#include <optional>

#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct PrintPadRecord {
    std::int32_t m_nAspectRatioX = 1;  ///< proportions of the print, 1..1000000
    std::int32_t m_nAspectRatioY = 1;
    bool m_bForceRatio = false;           ///< pads to the proportions
    bool m_bToggle = false;               ///< takes them the other way round
    bool m_bLandscape = false;            ///< the print lies; follows the picture when the ratio is forced
    std::int32_t m_nPadColor = 0xffffff;  ///< 0..0xffffff, blue in the low byte
    std::int32_t m_nCopy = 1;             ///< number of prints, 1..1000, the host's; no pixel depends on it
    /// Copies count for nothing.
    bool operator==(const PrintPadRecord& other) const;
};

/// The keys are those of the record.
inline constexpr ParameterTable<PrintPadRecord, 0> kPrintPadText{
    .keys = {},
    .written = "",
    .leastBuffer = 100,
    .standard = "AspectRatioX=1, AspectRatioY=1, ForceRatio=0, Toggle=0, Landscape=0, PadColor=ffffff"};

inline constexpr Description kPrintPad{.progId = "TMFilter.PrintPad.1",
                                       .clsid = MakeGuid("{28EE372F-A400-4CC7-A7EB-FBEA8C944BC2}"),
                                       .id = 3,
                                       .nameKey = "PrintPad",
                                       .name = "PrintPad",
                                       .icon = "icons_passpartout",
                                       .help = "HLP_PRINTPAD",
                                       .summary = "Pads the picture to a print's proportions and makes it opaque."};

/// Cached whole.
class CPrintPadFilter final : public TwinFilter<PrintPadRecord, kPrintPadText, kPrintPad> {
public:
    static ParameterInfo Parameters();

    CPrintPadFilter() : TwinFilter(PrintPadRecord{}) {}

    bool HasChanged() override { return committed_ != Pending(); }
    HRESULT CommitChanges() override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    /// Makes the padded, opaque picture in the cache.
    HRESULT Pad();
    /// Fetches the input into the middle of the cleared cache.
    HRESULT FetchPadded();

    /// What the active record was made of; its orientation may have been decided since.
    std::optional<PrintPadRecord> committed_;
};

}  // namespace kestrel
