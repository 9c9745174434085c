#pragma once
#include <array>
#include <memory>

#include "kestrel/filters/tone/ColorRanges.h"
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRangeRow.h"

namespace kestrel {

/// Corrects colour by a power curve for each channel, for all colours and softly within six ranges of colours. Of each
/// five values the first is the scope (all colours: below 0 the highlights are spared, above 0 the shadows; a range:
/// degrees that its centre is moved), the next three are cyan to red, magenta to green, yellow to blue, and the last is
/// the brightness, -100..100.
struct GammaParameters {
    static constexpr std::size_t kRanges = 1 + kColorRanges.size();  ///< all colours, then the ranges
    static constexpr std::size_t kSliders = 5;
    std::array<std::array<std::int32_t, kSliders>, kRanges> sliders{};
};

/// Older texts have three keys, for all colours.
inline constexpr auto kGammaText = [] {
    using Record = GammaParameters;
    struct Slider {
        const char* number;
        const char* label;
        const char* farLabel;
        const char* meaning;
        const char* oldKey;  ///< for all colours, in older texts
    };
    constexpr std::array<Slider, Record::kSliders> sliders = {
        {{"1", "IDS_CCEX_SLIDER1", "", "turn of the hue that is the centre", nullptr},
         {"2", "IDS_CCEX_SLIDER2", "IDS_CCEX_SLIDER2_R", "from cyan to red", "Red"},
         {"3", "IDS_CCEX_SLIDER3", "IDS_CCEX_SLIDER3_R", "from magenta to green", "Green"},
         {"4", "IDS_CCEX_SLIDER4", "IDS_CCEX_SLIDER4_R", "from yellow to blue", "Blue"},
         {"5", "IDS_CCEX_SLIDER5", "", "brightness", nullptr}}};
    constexpr std::array<const char*, Record::kRanges> captions = {
        "IDS_CCEX_ALLCOLORS", "IDS_CCEX_RED",  "IDS_CCEX_YELLOW", "IDS_CCEX_GREEN",
        "IDS_CCEX_CYAN",      "IDS_CCEX_BLUE", "IDS_CCEX_MAGENTA"};
    constexpr std::size_t kOld = 3;
    ParameterTable<Record, kOld + Record::kRanges * Record::kSliders> table{
        .keys = {}, .minimumBuffer = 501, .separator = ",", .resetDigits = 1};
    const auto at = [](Record& record, std::size_t i) -> std::int32_t& {
        return record.sliders[i / Record::kSliders][i % Record::kSliders];
    };
    for (std::size_t i = 0; i < kOld; ++i)
        table.keys[i] = {.key = sliders[i + 1].oldKey, .field = at, .index = i + 1, .role = Role::Old};
    for (std::size_t i = 0; i < Record::kRanges * Record::kSliders; ++i) {
        const Slider& slider = sliders[i % Record::kSliders];
        const std::size_t range = i / Record::kSliders;
        const char name[] = {slider.number[0], static_cast<char>('0' + range), '\0'};
        const bool isScope = i == 0;
        const bool isCentre = !isScope && i % Record::kSliders == 0;
        table.keys[kOld + i] = {.key = {"S", name},
                                .field = at,
                                .range = isScope || isCentre ? Range{-45, 45} : Range{-100, 100},
                                .label = isScope ? "IDS_CCEX_SLIDER1_ALL" : slider.label,
                                .meaning = isScope ? "scope, from shadows to highlights" : slider.meaning,
                                .group = range == 0 ? kAllColors : kColorRanges[range - 1].name,
                                .caption = captions[range],
                                .farLabel = isScope ? "IDS_CCEX_SLIDER1_ALL_R" : slider.farLabel,
                                .unit = isCentre ? Unit::Degrees : Unit::None,
                                .index = i};
    }
    return table;
}();

inline constexpr Description kGamma{
    .progId = "TMFilter.Gamma.1",
    .clsid = MakeGuid("{0D60B8DC-0929-4465-9BDB-CAC201D3C92E}"),
    .id = 17,
    .nameKey = "IDS_CCEX_NAME",
    .name = "Color Balance",
    .icon = "icons_colorbalance",
    .help = "HLP_CCEX",
    .summary = "Balances colours by a curve for each channel, for all colours and within six ranges of colours.",
    .inPlace = true,
    .reach = 0};

class CGammaFilter final : public TwinFilter<GammaParameters, kGammaText, kGamma> {
public:
    HRESULT CommitChanges() override;
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    static constexpr std::size_t kRanges = GammaParameters::kRanges;

    void BuildRange(std::size_t k);
    /// Goes over the request once for each range in use.
    FilterResult WorkRanges(const PixelRequest& request) const;

    std::array<bool, kRanges> ChangedRange{};
    /// Tables of the ranges in use: what a tone becomes for all colours, what is added to it in the others.
    std::array<std::unique_ptr<kernels::RangeTables>, kRanges> tables_;
};

}  // namespace kestrel
