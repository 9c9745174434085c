#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/Dust.h"

namespace kestrel {

/// Replaces specks of dust, pixels with few others of their brightness around them, by the mean of their neighbours.
struct StaubParameters {
    std::int32_t maximumRegionSize = 5;  ///< largest population of a speck in pixels, 2..15
    std::int32_t grayTolerance = 45;     ///< half-width of the band of brightness in red + green + blue, 15..90
};

inline constexpr ParameterTable<StaubParameters, 2> kStaubText{
    .keys = {Number("MaxRgnSize", &StaubParameters::maximumRegionSize, {2, 15}, "IDS_DUST_MAXREGIONSIZE",
                    "largest speck that is removed", Unit::Pixels)
                 .Equals(),
             Number("GrayTolerance", &StaubParameters::grayTolerance, {15, 90}, "IDS_DUST_GRAYTOLERANCE",
                    "difference in brightness that makes a speck")
                 .Equals()},
    .minimumBuffer = 51};

inline constexpr Description kStaub{.progId = "TMFilter.Staub.1",
                                    .clsid = MakeGuid("{A7496949-526B-45FC-9985-345DF1B9CAE1}"),
                                    .id = 22,
                                    .nameKey = "IDS_STAUB_NAME",
                                    .name = "Despeckle",
                                    .icon = "icons_staub",
                                    .help = "HLP_STAUB",
                                    .summary = "Removes isolated specks such as dust and scratches.",
                                    .reach = kernels::kDustReach,
                                    .lengths = Lengths::Stay};

class CStaubFilter final : public TwinFilter<StaubParameters, kStaubText, kStaub> {
protected:
    FilterResult MakePixels(const PixelRequest& request) override;
};

}  // namespace kestrel
