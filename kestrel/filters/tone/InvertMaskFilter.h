#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/Hsl.h"

namespace kestrel {

struct InvertMaskParameters {
    std::uint8_t red = 255;  ///< colour of what was hidden
    std::uint8_t green = 255;
    std::uint8_t blue = 255;
    std::int32_t transparency = 0;  ///< percent of the opposite mask, 0..100

    kernels::Bgr Color() const { return {blue, green, red}; }
};

inline constexpr ParameterTable<InvertMaskParameters, 4> kInvertMaskText{
    .keys = {ColorPart(Channel::Blue, "Blue", &InvertMaskParameters::blue, "IDS_INVERTMASK_COLOR",
                       "colour of what was hidden")
                 .ResetAt(2),
             ColorPart(Channel::Green, "Green", &InvertMaskParameters::green, "IDS_INVERTMASK_COLOR",
                       "colour of what was hidden")
                 .After(" , ")
                 .ResetAt(1),
             ColorPart(Channel::Red, "Red", &InvertMaskParameters::red, "IDS_INVERTMASK_COLOR",
                       "colour of what was hidden"),
             Percent("Transparency", &InvertMaskParameters::transparency, "IDS_INVERTMASK_INTENSITY",
                     "share of the opposite mask")
                 .ResetAt(3)},
    .minimumBuffer = 221};

inline constexpr Description kInvertMask{
    .progId = "TMFilter.InvertMask.1",
    .clsid = MakeGuid("{64D4DA96-DFC9-4062-A2EF-3A91CA626B6B}"),
    .id = 39,
    .nameKey = "IDS_INVERTMASK_NAME",
    .name = "Invert Mask",
    .icon = "icons_invmask",
    .help = "HLP_INVERTMASK",
    .summary = "Turns the mask into its opposite, in part or whole, and fills what was hidden with a colour.",
    .reach = 0,
    .hides = true};

class CInvertMaskFilter final : public TwinFilter<InvertMaskParameters, kInvertMaskText, kInvertMask> {
public:
    HRESULT CommitChanges() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    FilterResult InvertCache();
};

}  // namespace kestrel
