#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct RGBColorParameters {
    std::int32_t red = 0;  ///< percent of the full range, -100..100
    std::int32_t green = 0;
    std::int32_t blue = 0;
};

inline constexpr ParameterTable<RGBColorParameters, 3> kRGBColorText{
    .keys = {Number("Red", &RGBColorParameters::red, {-100, 100}, "IDS_COLOR_RED",
                    "added to red, percent of its range"),
             Number("Green", &RGBColorParameters::green, {-100, 100}, "IDS_COLOR_GREEN",
                    "added to green, percent of its range"),
             Number("Blue", &RGBColorParameters::blue, {-100, 100}, "IDS_COLOR_BLUE",
                    "added to blue, percent of its range")},
    .minimumBuffer = 31};

inline constexpr Description kRGBColor{.progId = "TMFilter.RGBColor.1",
                                       .clsid = MakeGuid("{576ED016-D447-451C-B847-000D6CF9D815}"),
                                       .id = 21,
                                       .nameKey = "IDS_COLOR_NAME",
                                       .name = "Color",
                                       .icon = "icons_color",
                                       .help = "HLP_COLOR",
                                       .summary = "Adds to or takes from each colour channel.",
                                       .inPlace = true,
                                       .reach = 0};

class CRGBColorFilter final : public TwinFilter<RGBColorParameters, kRGBColorText, kRGBColor> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
