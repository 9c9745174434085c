#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRows.h"

namespace kestrel {

/// Changes hue, saturation and brightness of all colours and of six ranges of colours.
struct HsbParameters {
    std::int32_t hue = 0;      ///< all colours: degrees, -180..180
    std::int32_t sat = 0;      ///< percent, -100..100
    std::int32_t bright = 0;   ///< percent, -100..100
    std::int32_t hueR = 0;     ///< reds: degrees, -180..180
    std::int32_t satR = 0;     ///< percent, -100..100
    std::int32_t brightR = 0;  ///< percent, -100..100
    std::int32_t hueY = 0;     ///< yellows: degrees, -180..180
    std::int32_t satY = 0;     ///< percent, -100..100
    std::int32_t brightY = 0;  ///< percent, -100..100
    std::int32_t hueG = 0;     ///< greens: degrees, -180..180
    std::int32_t satG = 0;     ///< percent, -100..100
    std::int32_t brightG = 0;  ///< percent, -100..100
    std::int32_t hueC = 0;     ///< cyans: degrees, -180..180
    std::int32_t satC = 0;     ///< percent, -100..100
    std::int32_t brightC = 0;  ///< percent, -100..100
    std::int32_t hueB = 0;     ///< blues: degrees, -180..180
    std::int32_t satB = 0;     ///< percent, -100..100
    std::int32_t brightB = 0;  ///< percent, -100..100
    std::int32_t hueM = 0;     ///< magentas: degrees, -180..180
    std::int32_t satM = 0;     ///< percent, -100..100
    std::int32_t brightM = 0;  ///< percent, -100..100
    bool operator==(const HsbParameters&) const = default;
};

/// Groups of three keys: all colours, then the hue sectors in their order.
inline constexpr ParameterTable<HsbParameters, 21> kHsbText{
    .keys = {{{"Hue", &HsbParameters::hue, {-180, 180}},         {"Sat", &HsbParameters::sat, {-100, 100}},
              {"Bright", &HsbParameters::bright, {-100, 100}},   {"HueR", &HsbParameters::hueR, {-180, 180}},
              {"SatR", &HsbParameters::satR, {-100, 100}},       {"BrightR", &HsbParameters::brightR, {-100, 100}},
              {"HueY", &HsbParameters::hueY, {-180, 180}},       {"SatY", &HsbParameters::satY, {-100, 100}},
              {"BrightY", &HsbParameters::brightY, {-100, 100}}, {"HueG", &HsbParameters::hueG, {-180, 180}},
              {"SatG", &HsbParameters::satG, {-100, 100}},       {"BrightG", &HsbParameters::brightG, {-100, 100}},
              {"HueC", &HsbParameters::hueC, {-180, 180}},       {"SatC", &HsbParameters::satC, {-100, 100}},
              {"BrightC", &HsbParameters::brightC, {-100, 100}}, {"HueB", &HsbParameters::hueB, {-180, 180}},
              {"SatB", &HsbParameters::satB, {-100, 100}},       {"BrightB", &HsbParameters::brightB, {-100, 100}},
              {"HueM", &HsbParameters::hueM, {-180, 180}},       {"SatM", &HsbParameters::satM, {-100, 100}},
              {"BrightM", &HsbParameters::brightM, {-100, 100}}}},
    .written =
        "Hue=%.3d, Sat=%.3d, Bright=%.3d,HueR=%.3d, SatR=%.3d, BrightR=%.3d,HueY=%.3d, SatY=%.3d, "
        "BrightY=%.3d,HueG=%.3d, SatG=%.3d, BrightG=%.3d,HueC=%.3d, SatC=%.3d, BrightC=%.3d,HueB=%.3d, SatB=%.3d, "
        "BrightB=%.3d,HueM=%.3d, SatM=%.3d, BrightM=%.3d",
    .leastBuffer = 246,
    .standard =
        "Hue=0,Sat=0,Bright=0,HueR=0,SatR=0,BrightR=0,HueY=0,SatY=0,BrightY=0,HueG=0,SatG=0,BrightG=0,HueC=0,SatC=0,"
        "BrightC=0,HueB=0,SatB=0,BrightB=0,HueM=0,SatM=0,BrightM=0"};

inline constexpr Description kHsb{
    .progId = "TMFilter.HSB.1",
    .clsid = MakeGuid("{AF139E4C-1A42-44A3-B2A4-612E0EF209D1}"),
    .id = 15,
    .nameKey = "IDS_HSB_NAME",
    .name = "Hue, Saturation,\nBrightness",
    .icon = "icons_hsb",
    .help = "HLP_HSB",
    .summary = "Changes hue, saturation and brightness of all colours and of six ranges of colours.",
    .inPlace = true};

class CHSBFilter final : public TwinFilter<HsbParameters, kHsbText, kHsb> {
public:
    HRESULT TransformColor(unsigned char* pixel) override;
    void RebuildTables() override;

protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    kernels::HsbChanges HsbShift;
};

}  // namespace kestrel
