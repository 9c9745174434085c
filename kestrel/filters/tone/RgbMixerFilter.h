#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/MixerRow.h"

namespace kestrel {

/// Makes each channel from a weighted sum of all three, with an optional grey channel.
struct RgbMixerParameters {
    bool bOnK = false;                            ///< the grey channel is made
    bool bOnR = true;                             ///< red is mixed; else it is the grey, or stays
    bool bOnG = true;                             ///< green likewise
    bool bOnB = true;                             ///< blue likewise
    bool bBypass = false;                         ///< the filter does nothing
    bool bRgb0 = true;                            ///< weights of grey are relative
    bool bRgb1 = false;                           ///< weights of red are relative
    bool bRgb2 = false;                           ///< weights of green are relative
    bool bRgb3 = false;                           ///< weights of blue are relative
    bool bCon0 = false;                           ///< the constant of grey is a gamma
    bool bCon1 = false;                           ///< the constant of red is a gamma
    bool bCon2 = false;                           ///< the constant of green is a gamma
    bool bCon3 = false;                           ///< the constant of blue is a gamma
    std::int32_t kR = 0, kG = 0, kB = 0, kC = 0;  ///< grey: percent of red, green, blue, -200..200; constant, -100..100
    std::int32_t rR = 100, rG = 0, rB = 0,
                 rC = 0;  ///< red: percent of red, green, blue, -200..200; constant, -100..100
    std::int32_t gR = 0, gG = 100, gB = 0,
                 gC = 0;  ///< green: percent of red, green, blue, -200..200; constant, -100..100
    std::int32_t bR = 0, bG = 0, bB = 100,
                 bC = 0;  ///< blue: percent of red, green, blue, -200..200; constant, -100..100
    bool operator==(const RgbMixerParameters&) const = default;
};

inline constexpr ParameterTable<RgbMixerParameters, 29> kRgbMixerText{
    .keys = {{{"BOnK", &RgbMixerParameters::bOnK, {0, 1}},
              {"BOnR", &RgbMixerParameters::bOnR, {0, 1}},
              {"BOnG", &RgbMixerParameters::bOnG, {0, 1}},
              {"BOnB", &RgbMixerParameters::bOnB, {0, 1}},
              {"BBypass", &RgbMixerParameters::bBypass, {0, 1}},
              {"BRgb0", &RgbMixerParameters::bRgb0, {0, 1}, "IDS_RGBMIXER_RELATIVE"},
              {"BRgb1", &RgbMixerParameters::bRgb1, {0, 1}, "IDS_RGBMIXER_RELATIVE"},
              {"BRgb2", &RgbMixerParameters::bRgb2, {0, 1}, "IDS_RGBMIXER_RELATIVE"},
              {"BRgb3", &RgbMixerParameters::bRgb3, {0, 1}, "IDS_RGBMIXER_RELATIVE"},
              {"BCon0", &RgbMixerParameters::bCon0, {0, 1}, "IDS_RGBMIXER_SLIDER_CONST_REL"},
              {"BCon1", &RgbMixerParameters::bCon1, {0, 1}, "IDS_RGBMIXER_SLIDER_CONST_REL"},
              {"BCon2", &RgbMixerParameters::bCon2, {0, 1}, "IDS_RGBMIXER_SLIDER_CONST_REL"},
              {"BCon3", &RgbMixerParameters::bCon3, {0, 1}, "IDS_RGBMIXER_SLIDER_CONST_REL"},
              {"kR", &RgbMixerParameters::kR, {-200, 200}, "IDS_RGBMIXER_SLIDER_RED"},
              {"kG", &RgbMixerParameters::kG, {-200, 200}, "IDS_RGBMIXER_SLIDER_GREEN"},
              {"kB", &RgbMixerParameters::kB, {-200, 200}, "IDS_RGBMIXER_SLIDER_BLUE"},
              {"kC", &RgbMixerParameters::kC, {-100, 100}, "IDS_RGBMIXER_SLIDER_CONST"},
              {"rR", &RgbMixerParameters::rR, {-200, 200}, "IDS_RGBMIXER_SLIDER_RED"},
              {"rG", &RgbMixerParameters::rG, {-200, 200}, "IDS_RGBMIXER_SLIDER_GREEN"},
              {"rB", &RgbMixerParameters::rB, {-200, 200}, "IDS_RGBMIXER_SLIDER_BLUE"},
              {"rC", &RgbMixerParameters::rC, {-100, 100}, "IDS_RGBMIXER_SLIDER_CONST"},
              {"gR", &RgbMixerParameters::gR, {-200, 200}, "IDS_RGBMIXER_SLIDER_RED"},
              {"gG", &RgbMixerParameters::gG, {-200, 200}, "IDS_RGBMIXER_SLIDER_GREEN"},
              {"gB", &RgbMixerParameters::gB, {-200, 200}, "IDS_RGBMIXER_SLIDER_BLUE"},
              {"gC", &RgbMixerParameters::gC, {-100, 100}, "IDS_RGBMIXER_SLIDER_CONST"},
              {"bR", &RgbMixerParameters::bR, {-200, 200}, "IDS_RGBMIXER_SLIDER_RED"},
              {"bG", &RgbMixerParameters::bG, {-200, 200}, "IDS_RGBMIXER_SLIDER_GREEN"},
              {"bB", &RgbMixerParameters::bB, {-200, 200}, "IDS_RGBMIXER_SLIDER_BLUE"},
              {"bC", &RgbMixerParameters::bC, {-100, 100}, "IDS_RGBMIXER_SLIDER_CONST"}}},
    .written =
        "BOnK=%.1d, BOnR=%.1d, BOnG=%.1d, BOnB=%.1d, BBypass=%.1d,BRgb0=%.1d, BRgb1=%.1d, BRgb2=%.1d, "
        "BRgb3=%.1d,BCon0=%.1d, BCon1=%.1d, BCon2=%.1d, BCon3=%.1d,kR=%.3d, kG=%.3d, kB=%.3d, kC=%.3d,rR=%.3d, "
        "rG=%.3d, rB=%.3d, rC=%.3d,gR=%.3d, gG=%.3d, gB=%.3d, gC=%.3d,bR=%.3d, bG=%.3d, bB=%.3d, bC=%.3d",
    .leastBuffer = 501,
    .standard =
        "BOnK=0,BOnR=1,BOnG=1,BOnB=1,BBypass=0,BRgb0=1,BCon0=0,BRgb1=0,BCon1=0,BRgb2=0,BCon2=0,BRgb3=0,BCon3=0,kR=000,"
        "kG=000,kB=000,rR=000,rG=000,rB=000,gR=000,gG=000,gB=000,bR=000,bG=000,bB=000,kC=000,rC=000,gC=000,bC=000"};

inline constexpr Description kRgbMixer{
    .progId = "TMFilter.RgbMixer.1",
    .clsid = MakeGuid("{562A5A61-F071-4F91-A037-2126043093DD}"),
    .id = 29,
    .nameKey = "IDS_RGBMIXER_NAME",
    .name = "RGB Mixer",
    .icon = "icons_colormixer",
    .help = "HLP_RGBMIXER",
    .summary = "Makes each channel from a weighted sum of all three, with an optional grey channel.",
    .inPlace = true};

class CRgbMixerFilter final : public TwinFilter<RgbMixerParameters, kRgbMixerText, kRgbMixer> {
protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    kernels::Mixer MakeMixer() const;
};

}  // namespace kestrel
