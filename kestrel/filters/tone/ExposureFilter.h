#pragma once
#include <array>

#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct ExposureParameters {
    std::int32_t red = 0;    ///< exposure, -100..100; the three key names are the stored form
    std::int32_t green = 0;  ///< saturation, -100..100
    std::int32_t blue = 0;   ///< brightness, -100..100
};

inline constexpr ParameterTable<ExposureParameters, 3> kExposureText{
    .keys = {Number("Red", &ExposureParameters::red, {-100, 100}, "IDS_EXPOSURE_RED", "exposure"),
             Number("Green", &ExposureParameters::green, {-100, 100}, "IDS_EXPOSURE_GREEN", "saturation"),
             Number("Blue", &ExposureParameters::blue, {-100, 100}, "IDS_EXPOSURE_BLUE", "brightness")},
    .minimumBuffer = 31};

inline constexpr Description kExposure{.progId = "TMFilter.Exposure.1",
                                       .clsid = MakeGuid("{09017BFC-F0AA-4A04-881B-724FC4FE4EA0}"),
                                       .id = 19,
                                       .nameKey = "IDS_EXPOSURE_NAME",
                                       .name = "Exposure Correction",
                                       .icon = "icons_exposure",
                                       .help = "HLP_EXPOSURECORRECTION",
                                       .summary = "Corrects exposure, saturation and brightness.",
                                       .inPlace = true,
                                       .reach = 0};

class CExposureFilter final : public TwinFilter<ExposureParameters, kExposureText, kExposure> {
public:
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    std::array<std::uint8_t, 256> GammaFirst{};   ///< exposure, before the saturation
    std::array<std::uint8_t, 256> GammaSecond{};  ///< brightness, after it
};

}  // namespace kestrel
