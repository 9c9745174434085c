#pragma once
#include "kestrel/filters/geometry/Resampler.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Two factors in percent.
struct Scale100Parameters {
    bool m_bKeepProportions = true;  ///< both axes take the smaller factor
    bool m_bAllowEnlarge = true;     ///< factors above 100 % are permitted
    std::int32_t m_nPercentX = 100;
    std::int32_t m_nPercentY = 100;
    bool operator==(const Scale100Parameters&) const = default;
};

inline constexpr ParameterTable<Scale100Parameters, 4> kScale100Text{
    .keys = {{{"KeepProportions", &Scale100Parameters::m_bKeepProportions, {0, 1}, "IDS_SCALE100_PROP"},
              {"AllowEnlarge", &Scale100Parameters::m_bAllowEnlarge, {0, 1}},
              {"HorizontalProz", &Scale100Parameters::m_nPercentX, {1, 10000}, "IDS_SCALE100_H"},
              {"VerticalProz", &Scale100Parameters::m_nPercentY, {1, 10000}, "IDS_SCALE100_V"}}},
    .written =
        "KeepProportions=%.1d, AllowEnlarge=%.1d, HorizontalProz=%.3d, VerticalProz=%.3d, "
        "ExtraParam=|SCALE100|",
    .leastBuffer = 101,
    .standard = "HorizontalProz=100,VerticalProz=100,KeepProportions=1,AllowEnlarge=1"};

inline constexpr Description kScale100{.progId = "TMFilter.Scale100.1",
                                       .clsid = MakeGuid("{1AB93CA6-0442-4E11-9863-7F428C20F0DE}"),
                                       .id = 7,
                                       .cost = 700,
                                       .nameKey = "IDS_SCALE100_NAME",
                                       .name = "Scale (Percent)",
                                       .icon = "icons_percentscale",
                                       .help = "HLP_SCALE100",
                                       .summary = "Scales the picture by two percentages."};

class CScale100Filter final : public TwinFilter<Scale100Parameters, kScale100Text, kScale100> {
public:
    CScale100Filter() : TwinFilter({true, true, -1, -1}) {}

    HRESULT CommitChanges() override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;

protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    void RecalcGeometry();
    HRESULT Resample();

    Resampler resampler_;
};

}  // namespace kestrel
