#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/HueRows.h"

namespace kestrel {

/// Changes the saturation of six ranges of colours.
struct ColorTuningParameters {
    std::int32_t satR = 0;  ///< reds, -100..100
    std::int32_t satY = 0;  ///< yellows
    std::int32_t satG = 0;  ///< greens
    std::int32_t satC = 0;  ///< cyans
    std::int32_t satB = 0;  ///< blues
    std::int32_t satM = 0;  ///< magentas
    bool operator==(const ColorTuningParameters&) const = default;
};

/// The keys stand in the order of the hue sectors.
inline constexpr ParameterTable<ColorTuningParameters, 6> kColorTuningText{
    .keys = {{{"SatR", &ColorTuningParameters::satR, {-100, 100}},
              {"SatY", &ColorTuningParameters::satY, {-100, 100}},
              {"SatG", &ColorTuningParameters::satG, {-100, 100}},
              {"SatC", &ColorTuningParameters::satC, {-100, 100}},
              {"SatB", &ColorTuningParameters::satB, {-100, 100}},
              {"SatM", &ColorTuningParameters::satM, {-100, 100}}}},
    .written = "SatR=%.3d,SatY=%.3d,SatG=%.3d,SatC=%.3d,SatB=%.3d,SatM=%.3d",
    .leastBuffer = 101,
    .standard = "SatR=000,SatY=000,SatG=000,SatC=000,SatB=000,SatM=000"};

inline constexpr Description kColorTuning{.progId = "TMFilter.ColorTuning.1",
                                          .clsid = MakeGuid("{76F7DC5C-0A5F-45E9-B5C0-1D078E0A4251}"),
                                          .id = 16,
                                          .nameKey = "IDS_FARBEQUALIZER_NAME",
                                          .name = "Color Tuning",
                                          .icon = "icons_colorequalizer",
                                          .help = "HLP_FARBEQUALIZER",
                                          .summary = "Changes the saturation of six ranges of colours.",
                                          .inPlace = true};

class CColorTuningFilter final : public TwinFilter<ColorTuningParameters, kColorTuningText, kColorTuning> {
public:
    CColorTuningFilter() { TuningFactor.fill(1.0); }

    HRESULT TransformColor(unsigned char* pixel) override;
    void RebuildTables() override;

protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    kernels::TuningFactors TuningFactor;
};

}  // namespace kestrel
