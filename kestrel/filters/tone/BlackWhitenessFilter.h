#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct BlackWhitenessParameters {
    std::int32_t blackWhiteness = 100;  ///< percent of the grey, 0..100
};

inline constexpr ParameterTable<BlackWhitenessParameters, 1> kBlackWhitenessText{
    .keys = {Percent("BlackWhiteNess", &BlackWhitenessParameters::blackWhiteness, "IDS_BLACKWHITE_HEADER",
                     "share of the grey picture")},
    .minimumBuffer = 31};

inline constexpr Description kBlackWhiteness{.progId = "TMFilter.BlackWhiteness.1",
                                             .clsid = MakeGuid("{04E4A0E0-7DA4-4831-98F2-2EE1E44504EC}"),
                                             .id = 30,
                                             .nameKey = "IDS_BLACKWHITE_NAME",
                                             .name = "Black & White",
                                             .icon = "icons_blackwhite",
                                             .help = "HLP_BLACKWHITE",
                                             .summary = "Turns the picture to black and white, in part or whole.",
                                             .inPlace = true,
                                             .reach = 0};

class CBlackWhitenessFilter final : public TwinFilter<BlackWhitenessParameters, kBlackWhitenessText, kBlackWhiteness> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
