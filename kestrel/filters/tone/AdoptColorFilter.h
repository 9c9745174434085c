#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/Hsl.h"

namespace kestrel {

struct AdoptColorParameters {
    std::int32_t intensity = 100;  ///< percent, 0..100
    std::uint8_t colorRed = 0;
    std::uint8_t colorGreen = 0;
    std::uint8_t colorBlue = 0;
};

inline constexpr ParameterTable<AdoptColorParameters, 4> kAdoptColorText{
    .keys = {Percent("Intensity", &AdoptColorParameters::intensity, "IDS_ADOPTCOLOR_INTENSITY",
                     "share of the coloured picture")
                 .ResetAt(1),
             ColorPart(Channel::Red, "ColorRed", &AdoptColorParameters::colorRed, "IDS_ADOPTCOLOR_COLOR", "the colour"),
             ColorPart(Channel::Green, "ColorGreen", &AdoptColorParameters::colorGreen, "IDS_ADOPTCOLOR_COLOR",
                       "the colour"),
             ColorPart(Channel::Blue, "ColorBlue", &AdoptColorParameters::colorBlue, "IDS_ADOPTCOLOR_COLOR",
                       "the colour")},
    .minimumBuffer = 201};

inline constexpr Description kAdoptColor{
    .progId = "TMFilter.AdoptColor.1",
    .clsid = MakeGuid("{58B0722B-50DD-4AFF-8251-F6C73F4732DB}"),
    .id = 27,
    .nameKey = "IDS_ADOPTCOLOR_NAME",
    .name = "Colorize",
    .icon = "icons_adoptcolor",
    .help = "HLP_COLORIZE",
    .summary = "Gives the whole picture one colour and keeps its lights and darks."};

class CAdoptColorFilter final : public TwinFilter<AdoptColorParameters, kAdoptColorText, kAdoptColor> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    FilterResult Analyse();

    kernels::Hsl color_{};  ///< the colour that was asked for
    double Scale = 1.0;     ///< lightness of a pixel becomes l * Scale + Offset
    double Offset = 0.0;
    double MeanLightness = 0.0;
    double MaxLightness = 0.0;
    double MinLightness = 1.0;
};

}  // namespace kestrel
