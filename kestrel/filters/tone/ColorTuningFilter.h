#pragma once
#include "kestrel/filters/tone/ColorRanges.h"
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRows.h"

namespace kestrel {

struct ColorTuningParameters {
    std::array<std::int32_t, kColorRanges.size()> saturation{};  ///< -100..100
};

inline constexpr auto kColorTuningText = [] {
    using Record = ColorTuningParameters;
    constexpr std::array<const char*, kColorRanges.size()> labels = {
        "IDS_FARBEQUALIZER_RED",  "IDS_FARBEQUALIZER_YELLOW", "IDS_FARBEQUALIZER_GREEN",
        "IDS_FARBEQUALIZER_CYAN", "IDS_FARBEQUALIZER_BLUE",   "IDS_FARBEQUALIZER_MAGENTA"};
    ParameterTable<Record, kColorRanges.size()> table{.keys = {}, .minimumBuffer = 101, .separator = ","};
    for (std::size_t i = 0; i < table.keys.size(); ++i)
        table.keys[i] = {.key = {"Sat", kColorRanges[i].letter},
                         .field = [](Record& record, std::size_t at) -> std::int32_t& { return record.saturation[at]; },
                         .range = {-100, 100},
                         .label = labels[i],
                         .meaning = "saturation",
                         .group = kColorRanges[i].name,
                         .index = i};
    return table;
}();

inline constexpr Description kColorTuning{.progId = "TMFilter.ColorTuning.1",
                                          .clsid = MakeGuid("{76F7DC5C-0A5F-45E9-B5C0-1D078E0A4251}"),
                                          .id = 16,
                                          .nameKey = "IDS_FARBEQUALIZER_NAME",
                                          .name = "Color Tuning",
                                          .icon = "icons_colorequalizer",
                                          .help = "HLP_FARBEQUALIZER",
                                          .summary = "Changes the saturation of six ranges of colours.",
                                          .inPlace = true,
                                          .reach = 0};

class CColorTuningFilter final : public TwinFilter<ColorTuningParameters, kColorTuningText, kColorTuning> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::Tuning TuningFactor{kernels::NoTuning()};
};

}  // namespace kestrel
