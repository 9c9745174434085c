#pragma once
#include "kestrel/filters/neighbourhood/ConvolutionFilter.h"

namespace kestrel {

inline constexpr ParameterTable<ConvolutionParameters, 3> kSharpenText{
    .keys = {StrengthKey("Sharpness", "IDS_SCHARF_HEADER"), Tag<ConvolutionParameters>("ExtraParam", "|SHARP|"),
             kVersionKey},
    .minimumBuffer = 31,
    .separator = ","};

inline constexpr Description kSharpen{.progId = "TMFilter.Sharpen.1",
                                      .clsid = MakeGuid("{34CF6091-ABBC-4EA4-9A0C-1A05CC829DDD}"),
                                      .id = 23,
                                      .nameKey = "IDS_SCHARF_NAME",
                                      .name = "Sharpness",
                                      .icon = "icons_scharfz",
                                      .help = "HLP_SCHARF",
                                      .summary = "Makes edges and fine detail stand out.",
                                      .reach = 1,
                                      .lengths = Lengths::Stay};

class CSharpenFilter final : public ConvolutionFilter<kSharpenText, kSharpen, kernels::kSharpenKernel> {};

}  // namespace kestrel
