#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HslRows.h"

namespace kestrel {

struct DuoColorParameters {
    std::int32_t intensity = 100;  ///< percent, 0..100
    std::uint8_t colorRed = 0;     ///< colour for dark areas
    std::uint8_t colorGreen = 0;
    std::uint8_t colorBlue = 0;
    std::uint8_t red2 = 255;  ///< colour for bright areas
    std::uint8_t green2 = 255;
    std::uint8_t blue2 = 255;
};

inline constexpr ParameterTable<DuoColorParameters, 7> kDuoColorText{
    .keys = {Percent("Intensity", &DuoColorParameters::intensity, "IDS_DUOCOLOR_INTENSITY",
                     "share of the coloured picture")
                 .ResetAt(1),
             ColorPart(Channel::Red, "ColorRed", &DuoColorParameters::colorRed, "IDS_DUOCOLOR_COLOR",
                       "colour for dark areas"),
             ColorPart(Channel::Green, "ColorGreen", &DuoColorParameters::colorGreen, "IDS_DUOCOLOR_COLOR",
                       "colour for dark areas"),
             ColorPart(Channel::Blue, "ColorBlue", &DuoColorParameters::colorBlue, "IDS_DUOCOLOR_COLOR",
                       "colour for dark areas"),
             ColorPart(Channel::Red, "Red2", &DuoColorParameters::red2, "IDS_DUOCOLOR_COLOR2",
                       "colour for bright areas"),
             ColorPart(Channel::Green, "Green2", &DuoColorParameters::green2, "IDS_DUOCOLOR_COLOR2",
                       "colour for bright areas"),
             ColorPart(Channel::Blue, "Blue2", &DuoColorParameters::blue2, "IDS_DUOCOLOR_COLOR2",
                       "colour for bright areas")},
    .minimumBuffer = 201};

inline constexpr Description kDuoColor{.progId = "TMFilter.DuoColor.1",
                                       .clsid = MakeGuid("{E27FA90D-EE65-493C-B136-78ECC9643DB1}"),
                                       .id = 28,
                                       .nameKey = "IDS_DUOCOLOR_NAME",
                                       .name = "Bicolor",
                                       .icon = "icons_bicolor",
                                       .help = "HLP_DUOCOLORIZE",
                                       .summary = "Paints dark areas in one colour and bright areas in another.",
                                       .inPlace = true,
                                       .reach = 0};

class CDuoColorFilter final : public TwinFilter<DuoColorParameters, kDuoColorText, kDuoColor> {
public:
    CDuoColorFilter();

    void RebuildTables() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::TwoColourTable table_;
};

}  // namespace kestrel
