#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct InvertParameters {
    std::int32_t inversity = 0;  ///< percent of the negative, 0..100
};

inline constexpr ParameterTable<InvertParameters, 1> kInvertText{
    .keys = {Percent("Inversity", &InvertParameters::inversity, "IDS_INVERT_HEADER", "share of the negative")},
    .minimumBuffer = 31};

inline constexpr Description kInvert{.progId = "TMFilter.Invert.1",
                                     .clsid = MakeGuid("{3A03D679-9270-4DB5-8602-6245481A9FC4}"),
                                     .id = 35,
                                     .nameKey = "IDS_INVERT_NAME",
                                     .name = "Invert Image",
                                     .icon = "icons_invert",
                                     .help = "HLP_INVERT",
                                     .summary = "Turns the picture into its negative, in part or whole.",
                                     .inPlace = true,
                                     .reach = 0};

class CInvertFilter final : public TwinFilter<InvertParameters, kInvertText, kInvert> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
