#pragma once
#include <array>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/MixerRow.h"

namespace kestrel {

struct RgbMixerParameters {
    bool bypass = false;                                         ///< the filter does nothing
    std::array<bool, 4> on = {false, true, true, true};          ///< of four rows: grey, red, green, blue
    std::array<bool, 4> relative = {true, false, false, false};  ///< the weights of a row are lowered to a sum of 100
    std::array<bool, 4> gamma{};                                 ///< the constant of a row is a gamma
    /// A row's percent of red, green and blue, -200..200, and its constant, -100..100.
    std::array<std::array<std::int32_t, 4>, 4> weights = {
        {{0, 0, 0, 0}, {100, 0, 0, 0}, {0, 100, 0, 0}, {0, 0, 100, 0}}};
};

/// The default text has all weights at 0, which makes a black picture; a fresh filter leaves it alone.
inline constexpr auto kRgbMixerText = [] {
    using Record = RgbMixerParameters;
    struct Row {
        const char* on;
        const char* number;
        const char* weights;
        const char* name;
        const char* caption;
    };
    constexpr std::array<Row, 4> rows = {{{"K", "0", "k", "grey", "IDS_RGBMIXER_SLIDER_GRAY"},
                                          {"R", "1", "r", "red", "IDS_RGBMIXER_SLIDER_RED"},
                                          {"G", "2", "g", "green", "IDS_RGBMIXER_SLIDER_GREEN"},
                                          {"B", "3", "b", "blue", "IDS_RGBMIXER_SLIDER_BLUE"}}};
    struct Weight {
        const char* letter;
        double limit;
        const char* label;
        const char* flag;        ///< while it is set for the row
        const char* otherLabel;  ///< this is the label
        const char* meaning;
    };
    constexpr std::array<Weight, 4> weights = {
        {{"R", 200, "IDS_RGBMIXER_SLIDER_RED", "BRgb", "IDS_RGBMIXER_SLIDER_RED_REL", "share of red"},
         {"G", 200, "IDS_RGBMIXER_SLIDER_GREEN", "BRgb", "IDS_RGBMIXER_SLIDER_GREEN_REL", "share of green"},
         {"B", 200, "IDS_RGBMIXER_SLIDER_BLUE", "BRgb", "IDS_RGBMIXER_SLIDER_BLUE_REL", "share of blue"},
         {"C", 100, "IDS_RGBMIXER_SLIDER_CONST", "BCon", "IDS_RGBMIXER_SLIDER_CONST_REL", "brightness or gamma"}}};
    constexpr int kWeightsPlace = 5;  // in the default text, after the flags of the four rows
    ParameterTable<Record, 29> table{.keys = {}, .minimumBuffer = 501};
    std::size_t n = 0;
    const auto flag = [&](KeyName key, Element<Record, bool> field, const char* label, const char* meaning,
                          std::size_t i, int place) {
        table.keys[n++] = {.key = key,
                           .field = field,
                           .range = {0, 1},
                           .label = label,
                           .meaning = meaning,
                           .group = rows[i].name,
                           .caption = rows[i].caption,
                           .index = i,
                           .before = i == 0 && place > 0 ? "," : nullptr,
                           .reset = {.place = place}};
    };
    for (std::size_t i = 0; i < rows.size(); ++i)
        flag(
            {"BOn", rows[i].on}, [](Record& r, std::size_t at) -> bool& { return r.on[at]; },
            "IDS_RGBMIXER_RADIOCHANNEL", "the row is used", i, 0);
    table.keys[n++] =
        Flag("BBypass", &Record::bypass, "IDS_RGBMIXER_BTN_BYPASS", "the filter does nothing").ActiveAt(0);
    for (std::size_t i = 0; i < rows.size(); ++i)
        flag(
            {"BRgb", rows[i].number}, [](Record& r, std::size_t at) -> bool& { return r.relative[at]; },
            "IDS_RGBMIXER_RELATIVE", "the shares are brought to a sum of 100", i, 1 + static_cast<int>(i));
    for (std::size_t i = 0; i < rows.size(); ++i)
        flag(
            {"BCon", rows[i].number}, [](Record& r, std::size_t at) -> bool& { return r.gamma[at]; },
            "IDS_RGBMIXER_SLIDER_CONST_REL", "the brightness is a gamma", i, 1 + static_cast<int>(i));
    for (std::size_t i = 0; i < rows.size() * weights.size(); ++i) {
        const Weight& weight = weights[i % 4];
        table.keys[n++] = {
            .key = {rows[i / 4].weights, weight.letter},
            .field = [](Record& r, std::size_t at) -> std::int32_t& { return r.weights[at / 4][at % 4]; },
            .range = {-weight.limit, weight.limit},
            .label = weight.label,
            .meaning = weight.meaning,
            .group = rows[i / 4].name,
            .caption = rows[i / 4].caption,
            .relabeled = {.flag = {weight.flag, rows[i / 4].number}, .label = weight.otherLabel},
            .unit = i % 4 < 3 ? Unit::Percent : Unit::None,
            .index = i,
            .before = i % 4 == 0 ? "," : nullptr,
            .reset = {.place = kWeightsPlace + (i % 4 < 3 ? 0 : 1), .value = 0}};
    }
    return table;
}();

inline constexpr Description kRgbMixer{
    .progId = "TMFilter.RgbMixer.1",
    .clsid = MakeGuid("{562A5A61-F071-4F91-A037-2126043093DD}"),
    .id = 29,
    .nameKey = "IDS_RGBMIXER_NAME",
    .name = "RGB Mixer",
    .icon = "icons_colormixer",
    .help = "HLP_RGBMIXER",
    .summary = "Makes each channel from a weighted sum of all three, with an optional grey channel.",
    .inPlace = true,
    .reach = 0};

class CRgbMixerFilter final : public TwinFilter<RgbMixerParameters, kRgbMixerText, kRgbMixer> {
protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::Mixer MakeMixer() const;
};

}  // namespace kestrel
