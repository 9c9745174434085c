#pragma once
#include <optional>

#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

inline constexpr std::int32_t kWhitePad = 0xffffff;

struct PrintPadRecord {
    std::int32_t aspectRatioX = 1;  ///< proportions of the print, 1..1000000
    std::int32_t aspectRatioY = 1;
    bool forceRatio = false;            ///< pads to the proportions
    bool toggle = false;                ///< takes them the other way round
    bool landscape = false;             ///< the print lies; follows the picture when the ratio is forced
    std::int32_t padColor = kWhitePad;  ///< 0..0xffffff, blue in the low byte
    std::int32_t copies = 1;            ///< number of prints, 1..1000, the host's; no pixel depends on it
};

inline constexpr ParameterTable<PrintPadRecord, 7> kPrintPadText{
    .keys = {Number("AspectRatioX", &PrintPadRecord::aspectRatioX, {1, 1000000}, "IDS_PRINTPAD_RATIOX",
                    "width of the proportions")
                 .HeldOr(3),
             Number("AspectRatioY", &PrintPadRecord::aspectRatioY, {1, 1000000}, "IDS_PRINTPAD_RATIOY",
                    "height of the proportions")
                 .HeldOr(2),
             Flag("ForceRatio", &PrintPadRecord::forceRatio, "IDS_PRINTPAD_FORCERATIO", "pads to the proportions")
                 .Equals()
                 .Or(0),
             Flag("Toggle", &PrintPadRecord::toggle, "IDS_PRINTPAD_TOGGLE", "takes the proportions the other way round")
                 .Equals()
                 .Or(0),
             Flag("Landscape", &PrintPadRecord::landscape, "IDS_PRINTPAD_LANDSCAPE", "the print lies").Equals().Or(0),
             Number("PadColor", &PrintPadRecord::padColor, {0, kWhitePad}, "IDS_PRINTPAD_COLOR",
                    "colour of the pad, hexadecimal, blue last")
                 .Equals()
                 .Or(kWhitePad)
                 .Hexadecimal(6),
             Number("Copy", &PrintPadRecord::copies, {1, 1000}, "IDS_PRINTPAD_COPIES", "number of prints")
                 .HeldOr(1)
                 .When([](const PrintPadRecord& r) { return r.copies != 1; })
                 .NotCompared()
                 .NotReset()},
    .minimumBuffer = 100,
    .digits = 1,
    .resetSeparator = nullptr};

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
    CPrintPadFilter() : TwinFilter(PrintPadRecord{}) {}

    bool HasChanged() override { return !committed_ || !Same(*committed_, Pending()); }
    HRESULT CommitChanges() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// Makes the padded, opaque picture in the cache.
    FilterResult Pad();
    /// Fetches the input into the middle of the cleared cache.
    FilterResult FetchPadded();

    /// What the active record was made of; its orientation may have been decided since.
    std::optional<PrintPadRecord> committed_;
};

}  // namespace kestrel
