#pragma once
#include "kestrel/filters/neighbourhood/ConvolutionFilter.h"

namespace kestrel {

inline constexpr ParameterTable<ConvolutionParameters, 1> kFindEdgesText{
    .keys = {StrengthKey("EdgeEnhance", "IDS_FINDEDGES_HEADER")}, .minimumBuffer = 31, .separator = ","};

inline constexpr Description kFindEdges{.progId = "TMFilter.FindEdges.1",
                                        .clsid = MakeGuid("{14CC3A76-2215-42DE-A216-1C11C8FE1492}"),
                                        .id = 42,
                                        .nameKey = "IDS_FINDEDGES_NAME",
                                        .name = "Find Edges",
                                        .icon = "icons_konturenfinden",
                                        .help = "HLP_FINDEDGES",
                                        .summary = "Keeps the outlines and lets flat areas go black.",
                                        .reach = 1,
                                        .lengths = Lengths::Stay};

class CFindEdgesFilter final : public ConvolutionFilter<kFindEdgesText, kFindEdges, kernels::kFindEdgesKernel> {};

}  // namespace kestrel
