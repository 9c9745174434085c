#pragma once
#include "kestrel/filters/neighbourhood/ConvolutionFilter.h"

namespace kestrel {

inline constexpr ParameterTable<ConvolutionParameters, 1> kEmbossText{
    .keys = {StrengthKey("EmbossStrength", "IDS_EMBOSS_HEADER")}, .minimumBuffer = 31, .separator = ","};

inline constexpr Description kEmboss{.progId = "TMFilter.Emboss.1",
                                     .clsid = MakeGuid("{A3A92ABB-5781-48E3-B232-DB44077890A8}"),
                                     .id = 43,
                                     .nameKey = "IDS_EMBOSS_NAME",
                                     .name = "Emboss",
                                     .icon = "icons_emboss",
                                     .help = "HLP_EMBOSS",
                                     .summary = "Turns the picture into a relief lit from one corner, on black.",
                                     .reach = 1,
                                     .lengths = Lengths::Stay};

/// The dark ground is wanted: the kernel's bias, which would lift it to grey, is not added.
class CEmbossFilter final : public ConvolutionFilter<kEmbossText, kEmboss, kernels::kEmbossKernel> {};

}  // namespace kestrel
