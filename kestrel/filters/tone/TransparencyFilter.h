#pragma once
#include "kestrel/filters/tone/EffectStrength.h"

namespace kestrel {

inline constexpr auto kTransparencyText = EffectStrengthTable("Transparency", "IDS_TRANS_HEADER", "transparency");

inline constexpr Description kTransparency{.progId = "TMFilter.Transparency.1",
                                           .clsid = MakeGuid("{69A1B9ED-43C4-47E7-85B9-6EFF2AE942F4}"),
                                           .id = 36,
                                           .nameKey = "IDS_TRANS_NAME",
                                           .name = "Transparency",
                                           .icon = "icons_transpar",
                                           .help = "HLP_TRANS",
                                           .summary = "Makes the whole picture transparent, in part or whole.",
                                           .inPlace = true,
                                           .reach = 0,
                                           .hides = true};

class CTransparencyFilter final : public TwinFilter<EffectStrength, kTransparencyText, kTransparency> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
