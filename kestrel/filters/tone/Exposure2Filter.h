#pragma once
#include <array>

#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/BalanceRow.h"

namespace kestrel {

struct Exposure2Parameters {
    std::int32_t red = 0;  ///< -100..100
    std::int32_t green = 0;
    std::int32_t blue = 0;
};

inline constexpr ParameterTable<Exposure2Parameters, 3> kExposure2Text{
    .keys = {Number("Red", &Exposure2Parameters::red, {-100, 100}, "IDS_EXPOSURE2_RED", "cast from cyan to red"),
             Number("Green", &Exposure2Parameters::green, {-100, 100}, "IDS_EXPOSURE2_GREEN",
                    "cast from magenta to green"),
             Number("Blue", &Exposure2Parameters::blue, {-100, 100}, "IDS_EXPOSURE2_BLUE", "cast from yellow to blue")},
    .minimumBuffer = 31};

inline constexpr Description kExposure2{.progId = "TMFilter.Exposure2.1",
                                        .clsid = MakeGuid("{A6A4671F-5E3C-4903-AE79-FCA373AE352D}"),
                                        .id = 41,
                                        .nameKey = "IDS_EXPOSURE2_NAME",
                                        .name = "Color Correction",
                                        .icon = "icons_filter1",
                                        .help = "HLP_EXPOSURE2",
                                        .summary = "Removes or adds a colour cast; greys stay as they are.",
                                        .inPlace = true,
                                        .reach = 0};

class CExposure2Filter final : public TwinFilter<Exposure2Parameters, kExposure2Text, kExposure2> {
public:
    void RebuildTables() override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// What a tone loses at full distance from the grey.
    std::array<std::int32_t, 256> CastRed{};
    std::array<std::int32_t, 256> CastGreen{};
    std::array<std::int32_t, 256> CastBlue{};
    kernels::Balance balance_;  ///< made of the three
};

}  // namespace kestrel
