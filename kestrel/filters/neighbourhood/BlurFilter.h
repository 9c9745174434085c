#pragma once
#include "kestrel/filters/neighbourhood/ConvolutionFilter.h"

namespace kestrel {

inline constexpr ParameterTable<ConvolutionParameters, 2> kBlurText{
    .keys = {StrengthKey("Blurness", "IDS_WEICH_HEADER"), kVersionKey}, .minimumBuffer = 31, .separator = ","};

inline constexpr Description kBlur{.progId = "TMFilter.Blur.1",
                                   .clsid = MakeGuid("{A48C13F9-56B9-4166-913C-22D45E3E7B44}"),
                                   .id = 24,
                                   .nameKey = "IDS_WEICH_NAME",
                                   .name = "Blur",
                                   .icon = "icons_weichz",
                                   .help = "HLP_WEICH",
                                   .summary = "Softens the picture by mixing each pixel with its neighbours.",
                                   .reach = 1,
                                   .lengths = Lengths::FollowAtVersion2};

/// At version 2 the strength falls with the area of a reduced preview, so that it looks like the full picture.
class CBlurFilter final : public ConvolutionFilter<kBlurText, kBlur, kernels::kBlurKernel> {
protected:
    double Strength() const override;
};

}  // namespace kestrel
