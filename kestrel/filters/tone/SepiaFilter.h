#pragma once
#include "kestrel/filters/tone/EffectStrength.h"

namespace kestrel {

inline constexpr auto kSepiaText = EffectStrengthTable("Sepia", "IDS_SEPIA_HEADER", "share of the brown picture");

inline constexpr Description kSepia{.progId = "TMFilter.Sepia.1",
                                    .clsid = MakeGuid("{75D1E4FD-A2C9-4405-A3F3-986E632A3CEF}"),
                                    .id = 31,
                                    .nameKey = "IDS_SEPIA_NAME",
                                    .name = "Sepia",
                                    .icon = "icons_sepia",
                                    .help = "HLP_SEPIA",
                                    .summary = "Tones the picture brown, as an old photograph is.",
                                    .inPlace = true,
                                    .reach = 0};

class CSepiaFilter final : public TwinFilter<EffectStrength, kSepiaText, kSepia> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
