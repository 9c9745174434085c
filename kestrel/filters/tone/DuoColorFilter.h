#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Paints dark areas in one colour and bright areas in another.
struct DuoColorParameters {
    std::int32_t intensity = 100;  ///< percent, 0..100
    std::uint8_t colorRed = 0;     ///< colour for dark areas
    std::uint8_t colorGreen = 0;
    std::uint8_t colorBlue = 0;
    std::uint8_t red2 = 255;  ///< colour for bright areas
    std::uint8_t green2 = 255;
    std::uint8_t blue2 = 255;
    bool operator==(const DuoColorParameters&) const = default;
};

inline constexpr ParameterTable<DuoColorParameters, 7> kDuoColorText{
    .keys = {{{"Intensity", &DuoColorParameters::intensity, {0, 100}, "IDS_DUOCOLOR_HEADER"},
              {"ColorRed", &DuoColorParameters::colorRed, {0, 255}, "IDS_DUOCOLOR_COLOR"},
              {"ColorGreen", &DuoColorParameters::colorGreen, {0, 255}, "IDS_DUOCOLOR_COLOR"},
              {"ColorBlue", &DuoColorParameters::colorBlue, {0, 255}, "IDS_DUOCOLOR_COLOR"},
              {"Red2", &DuoColorParameters::red2, {0, 255}, "IDS_DUOCOLOR_COLOR2"},
              {"Green2", &DuoColorParameters::green2, {0, 255}, "IDS_DUOCOLOR_COLOR2"},
              {"Blue2", &DuoColorParameters::blue2, {0, 255}, "IDS_DUOCOLOR_COLOR2"}}},
    .written = "Intensity=%.3d, ColorRed=%.3d, ColorGreen=%.3d, ColorBlue=%.3d, Red2=%.3d, Green2=%.3d, Blue2=%.3d",
    .leastBuffer = 201,
    .standard = "ColorRed=000,ColorGreen=000,ColorBlue=000,Red2=255,Green2=255,Blue2=255,Intensity=100"};

inline constexpr Description kDuoColor{.progId = "TMFilter.DuoColor.1",
                                       .clsid = MakeGuid("{E27FA90D-EE65-493C-B136-78ECC9643DB1}"),
                                       .id = 28,
                                       .nameKey = "IDS_DUOCOLOR_NAME",
                                       .name = "Bicolor",
                                       .icon = "icons_bicolor",
                                       .help = "HLP_DUOCOLORIZE",
                                       .summary = "Paints dark areas in one colour and bright areas in another.",
                                       .inPlace = true};

class CDuoColorFilter final : public TwinFilter<DuoColorParameters, kDuoColorText, kDuoColor> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    HRESULT TransformWindow(const Window& window) override;
};

}  // namespace kestrel
