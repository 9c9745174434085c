#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/YiqRows.h"

namespace kestrel {

struct OptimizeParameters {
    std::int32_t slider1 = 0;  ///< exposure, -100..100
    std::int32_t slider2 = 0;  ///< contrast of highlights, -100..100
    std::int32_t slider3 = 0;  ///< contrast of shadows, -100..100
    std::int32_t slider4 = 0;  ///< saturation, -100..100
};

inline constexpr ParameterTable<OptimizeParameters, 4> kOptimizeText{
    .keys = {Number("Slider1", &OptimizeParameters::slider1, {-100, 100}, "IDS_OPT_SLIDER1", "exposure"),
             Number("Slider2", &OptimizeParameters::slider2, {-100, 100}, "IDS_OPT_SLIDER2",
                    "contrast of the highlights"),
             Number("Slider3", &OptimizeParameters::slider3, {-100, 100}, "IDS_OPT_SLIDER3", "contrast of the shadows"),
             Number("Slider4", &OptimizeParameters::slider4, {-100, 100}, "IDS_OPT_SLIDER4", "saturation")},
    .minimumBuffer = 31};

inline constexpr Description kOptimize{
    .progId = "TMFilter.Optimize.1",
    .clsid = MakeGuid("{274FC05D-A8EB-472F-B137-EB7C080F40F7}"),
    .id = 13,
    .nameKey = "IDS_OPT_NAME",
    .name = "Exposure Correction",
    .icon = "icons_exposure",
    .help = "HLP_OPT",
    .summary = "Corrects exposure and the contrast of highlights and shadows by the luminance, and the saturation.",
    .inPlace = true,
    .reach = 0};

class COptimizeFilter final : public TwinFilter<OptimizeParameters, kOptimizeText, kOptimize> {
public:
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    kernels::LuminanceCurve ToneCurve{kernels::kIdentityTable, kernels::OptimizePixel};
};

}  // namespace kestrel
