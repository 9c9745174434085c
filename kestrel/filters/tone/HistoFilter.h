#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Spreads the brightness of a region evenly.
struct HistoParameters {
    std::int32_t intensity = 0;  ///< percent, 0..100: weight of how often a tone occurs; 0 spreads the tones in use
};

inline constexpr ParameterTable<HistoParameters, 1> kHistoText{
    .keys = {Percent("Intensity", &HistoParameters::intensity, "IDS_HISTO_INTENSITY",
                     "how much the frequency of a tone counts; 0 spreads the tones in use evenly")},
    .minimumBuffer = 31};

inline constexpr Description kHisto{
    .progId = "TMFilter.Histo.1",
    .clsid = MakeGuid("{E429A054-4E0B-41EB-AF5A-7ED64C0C1E5E}"),
    .id = 20,
    .nameKey = "IDS_HISTO_NAME",
    .name = "Equalize\nBrightness",
    .icon = "icons_tonaladj",
    .help = "HLP_HISTO",
    .summary =
        "Equalises the brightness histogram of the region that is asked for; 0 is not neutral, it spreads the "
        "tones in use evenly.",
    .inPlace = true,
    .measuresRequest = true};

class CHistoFilter final : public TwinFilter<HistoParameters, kHistoText, kHisto> {
protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
