#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// Replaces specks of dust, pixels with few others of their brightness around them, by the mean of their neighbours.
struct StaubParameters {
    std::int32_t m_nMaxRgnSize = 5;      ///< largest population of a speck in pixels, 2..15
    std::int32_t m_nGrayTolerance = 45;  ///< half-width of the band of brightness in red + green + blue, 15..90
    bool operator==(const StaubParameters&) const = default;
};

inline constexpr ParameterTable<StaubParameters, 2> kStaubText{
    .keys =
        {{{"MaxRgnSize", &StaubParameters::m_nMaxRgnSize, {2, 15}, "IDS_DUST_MAXREGIONSIZE", Reading::Equals},
          {"GrayTolerance", &StaubParameters::m_nGrayTolerance, {15, 90}, "IDS_DUST_GRAYTOLERANCE", Reading::Equals}}},
    .written = "MaxRgnSize=%.3d, GrayTolerance=%.3d",
    .leastBuffer = 51,
    .standard = "MaxRgnSize=005,GrayTolerance=045"};

inline constexpr Description kStaub{.progId = "TMFilter.Staub.1",
                                    .clsid = MakeGuid("{A7496949-526B-45FC-9985-345DF1B9CAE1}"),
                                    .id = 22,
                                    .nameKey = "IDS_STAUB_NAME",
                                    .name = "Despeckle",
                                    .icon = "icons_staub",
                                    .help = "HLP_STAUB",
                                    .summary = "Removes isolated specks such as dust and scratches."};

class CStaubFilter final : public TwinFilter<StaubParameters, kStaubText, kStaub> {
protected:
    HRESULT TransformWindow(const Window& window) override;

private:
    /// Makes the cache from the whole input picture.
    HRESULT Repair();
};

}  // namespace kestrel
