#pragma once
#include "kestrel/filters/geometry/ScalingFilter.h"

namespace kestrel {

/// Two factors in percent.
struct Scale100Parameters {
    bool keepProportions = true;  ///< both axes take the smaller factor
    bool allowEnlarge = true;     ///< factors above 100 % are permitted
    std::int32_t percentX = 100;
    std::int32_t percentY = 100;
};

inline constexpr ParameterTable<Scale100Parameters, 5> kScale100Text{
    .keys = {Flag("KeepProportions", &Scale100Parameters::keepProportions, "IDS_SCALE100_PROP",
                  "both axes take the smaller factor")
                 .ResetAt(1),
             Flag("AllowEnlarge", &Scale100Parameters::allowEnlarge, "IDS_SCALE100_ENLARGE",
                  "factors above 100 percent are permitted")
                 .ResetAt(1),
             Percent("HorizontalProz", &Scale100Parameters::percentX, "IDS_SCALE100_H", "factor of the width",
                     {1, 10000})
                 .Under("IDS_SCALE100_MAXSIZE"),
             Percent("VerticalProz", &Scale100Parameters::percentY, "IDS_SCALE100_V", "factor of the height",
                     {1, 10000})
                 .Under("IDS_SCALE100_MAXSIZE"),
             Tag<Scale100Parameters>("ExtraParam", "|SCALE100|").NotReset()},
    .minimumBuffer = 101,
    .resetDigits = 1};

inline constexpr Description kScale100{.progId = "TMFilter.Scale100.1",
                                       .clsid = MakeGuid("{1AB93CA6-0442-4E11-9863-7F428C20F0DE}"),
                                       .id = 7,
                                       .cost = 700,
                                       .nameKey = "IDS_SCALE100_NAME",
                                       .name = "Scale (Percent)",
                                       .icon = "icons_percentscale",
                                       .help = "HLP_SCALE100",
                                       .summary = "Scales the picture by two percentages.",
                                       .reach = kScaledRows};

class CScale100Filter final : public ScalingFilter<Scale100Parameters, kScale100Text, kScale100> {
public:
    CScale100Filter() : ScalingFilter({true, true, -1, -1}) {}

    HRESULT CommitChanges() override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    void RecalcGeometry();
};

}  // namespace kestrel
