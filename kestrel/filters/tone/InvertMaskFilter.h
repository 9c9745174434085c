#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Turns the mask into its opposite, in part or whole, and fills what was hidden with a colour.
struct InvertMaskParameters {
    std::uint8_t red = 255;  ///< colour of what was hidden
    std::uint8_t green = 255;
    std::uint8_t blue = 255;
    std::int32_t transparency = 0;  ///< percent of the opposite mask, 0..100
    bool operator==(const InvertMaskParameters&) const = default;
};

inline constexpr ParameterTable<InvertMaskParameters, 4> kInvertMaskText{
    .keys = {{{"Red", &InvertMaskParameters::red, {0, 255}, "IDS_INVERTMASK_HEADER"},
              {"Green", &InvertMaskParameters::green, {0, 255}, "IDS_INVERTMASK_HEADER"},
              {"Blue", &InvertMaskParameters::blue, {0, 255}, "IDS_INVERTMASK_HEADER"},
              {"Transparency", &InvertMaskParameters::transparency, {0, 100}, "IDS_INVERTMASK_HEADER"}}},
    .written = "Blue=%.3d , Green=%.3d, Red=%.3d, Transparency=%.3d",
    .leastBuffer = 221,
    .standard = "Red=255,Green=255,Blue=255,Transparency=000"};

inline constexpr Description kInvertMask{
    .progId = "TMFilter.InvertMask.1",
    .clsid = MakeGuid("{64D4DA96-DFC9-4062-A2EF-3A91CA626B6B}"),
    .id = 39,
    .nameKey = "IDS_INVERTMASK_NAME",
    .name = "Invert Mask",
    .icon = "icons_invmask",
    .help = "HLP_INVERTMASK",
    .summary = "Turns the mask into its opposite, in part or whole, and fills what was hidden with a colour."};

class CInvertMaskFilter final : public TwinFilter<InvertMaskParameters, kInvertMaskText, kInvertMask> {
public:
    HRESULT CommitChanges() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    HRESULT InvertCache();
};

}  // namespace kestrel
