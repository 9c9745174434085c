#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/Hsl.h"

namespace kestrel {

struct ImgBgParameters {
    std::uint8_t red = 180;
    std::uint8_t green = 180;
    std::uint8_t blue = 180;
    std::int32_t transparency = 0;  ///< of the background, percent

    kernels::Bgr Color() const { return {blue, green, red}; }
};

inline constexpr ParameterTable<ImgBgParameters, 4> kImgBgText{
    .keys = {ColorPart(Channel::Blue, "Blue", &ImgBgParameters::blue, "IDS_IMGBG_COLOR", "colour of the background")
                 .ResetAt(2),
             ColorPart(Channel::Green, "Green", &ImgBgParameters::green, "IDS_IMGBG_COLOR", "colour of the background")
                 .After(" , ")
                 .ResetAt(1),
             ColorPart(Channel::Red, "Red", &ImgBgParameters::red, "IDS_IMGBG_COLOR", "colour of the background"),
             Percent("Transparency", &ImgBgParameters::transparency, "IDS_IMGBG_TRANS",
                     "transparency of the background")
                 .ResetAt(3)},
    .minimumBuffer = 221};

inline constexpr Description kImgBg{.progId = "TMFilter.ImgBg.1",
                                    .clsid = MakeGuid("{445FCA29-864C-48BF-90D2-C72E6C0D8014}"),
                                    .id = 38,
                                    .nameKey = "IDS_IMGBG_NAME",
                                    .name = "Simple Backdrop",
                                    .icon = "icons_colorfiller",
                                    .help = "HLP_IMGBG",
                                    .summary = "Fills the transparent parts of the picture with a colour.",
                                    .inPlace = true,
                                    .reach = 0};

/// A board of the picture's own size under it.
class CImgBgFilter final : public TwinFilter<ImgBgParameters, kImgBgText, kImgBg> {
public:
    CImgBgFilter() : TwinFilter({.transparency = 255}) {}
    HRESULT CommitChanges() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
