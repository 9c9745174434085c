#pragma once
#include "kestrel/filters/tone/ColorRanges.h"
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRows.h"

namespace kestrel {

struct HsbParameters {
    /// For all colours and each range: hue in degrees, -180..180, saturation and brightness in percent, -100..100.
    std::array<std::array<std::int32_t, 3>, 1 + kColorRanges.size()> changes{};
};

inline constexpr auto kHsbText = [] {
    using Record = HsbParameters;
    struct Slider {
        const char* key;
        double limit;
        const char* label;
        const char* meaning;
        Unit unit;
    };
    constexpr std::array<Slider, 3> sliders = {{{"Hue", 180, "IDS_HSB_HUE", "turn of the hue", Unit::Degrees},
                                                {"Sat", 100, "IDS_HSB_SAT", "saturation", Unit::Percent},
                                                {"Bright", 100, "IDS_HSB_BRIGHT", "brightness", Unit::Percent}}};
    constexpr std::array captions = {"IDS_HSB_ALLCOLORS", "IDS_HSB_RED",  "IDS_HSB_YELLOW", "IDS_HSB_GREEN",
                                     "IDS_HSB_CYAN",      "IDS_HSB_BLUE", "IDS_HSB_MAGENTA"};
    ParameterTable<Record, 21> table{.keys = {}, .minimumBuffer = 246, .resetDigits = 1};
    for (std::size_t i = 0; i < table.keys.size(); ++i) {
        const Slider& slider = sliders[i % 3];
        const ColorRange range = i < 3 ? ColorRange{"", kAllColors} : kColorRanges[i / 3 - 1];
        table.keys[i] = {.key = {slider.key, range.letter},
                         .field = [](Record& r, std::size_t at) -> std::int32_t& { return r.changes[at / 3][at % 3]; },
                         .range = {-slider.limit, slider.limit},
                         .label = slider.label,
                         .meaning = slider.meaning,
                         .group = range.name,
                         .caption = captions[i / 3],
                         .unit = slider.unit,
                         .index = i,
                         .before = i % 3 == 0 ? "," : nullptr};
    }
    return table;
}();

inline constexpr Description kHsb{
    .progId = "TMFilter.HSB.1",
    .clsid = MakeGuid("{AF139E4C-1A42-44A3-B2A4-612E0EF209D1}"),
    .id = 15,
    .nameKey = "IDS_HSB_NAME",
    .name = "Hue, Saturation,\nBrightness",
    .icon = "icons_hsb",
    .help = "HLP_HSB",
    .summary = "Changes hue, saturation and brightness of all colours and of six ranges of colours.",
    .inPlace = true,
    .reach = 0};

class CHSBFilter final : public TwinFilter<HsbParameters, kHsbText, kHsb> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::Hsb HsbShift{kernels::HsbChanges{}};
};

}  // namespace kestrel
