#pragma once
#include <array>

#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct BrightnessContrastParameters {
    std::int32_t brightness = 0;  ///< -100..100
    std::int32_t contrast = 0;    ///< -100..100
    std::int32_t saturation = 0;  ///< -100..100
};

inline constexpr ParameterTable<BrightnessContrastParameters, 3> kBrightnessContrastText{
    .keys = {Number("Brightness", &BrightnessContrastParameters::brightness, {-100, 100}, "IDS_HUNDK_BRIGHTNESS",
                    "brightness"),
             Number("Contrast", &BrightnessContrastParameters::contrast, {-100, 100}, "IDS_HUNDK_CONTRAST", "contrast"),
             Number("Saturation", &BrightnessContrastParameters::saturation, {-100, 100}, "IDS_HUNDK_SATURATION",
                    "saturation")},
    .minimumBuffer = 51};

inline constexpr Description kBrightnessContrast{.progId = "TMFilter.BrightnessContrast.1",
                                                 .clsid = MakeGuid("{DD3286D3-8741-4425-9097-3F0D2A9BA76D}"),
                                                 .id = 12,
                                                 .nameKey = "IDS_HUNDK_NAME",
                                                 .name = "Image\nEnhancement",
                                                 .icon = "icons_hkuk",
                                                 .help = "HLP_IMAGE_ENHANCEMENT",
                                                 .summary = "Changes brightness, contrast and saturation.",
                                                 .inPlace = true,
                                                 .reach = 0};

class CBrightnessContrastFilter final
    : public TwinFilter<BrightnessContrastParameters, kBrightnessContrastText, kBrightnessContrast> {
public:
    void RebuildTables() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    std::array<std::uint8_t, 256> ToneTable{};
};

}  // namespace kestrel
