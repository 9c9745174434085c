#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// How far the origin moves, in pixels.
struct OffsetParameters {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

inline constexpr ParameterTable<OffsetParameters, 2> kOffsetText{
    .keys = {Number("OffsetX", &OffsetParameters::x, {}, "IDS_OFFSET_X", "how far the picture moves to the right",
                    Unit::Pixels),
             Number("OffsetY", &OffsetParameters::y, {}, "IDS_OFFSET_Y", "how far the picture moves up", Unit::Pixels)},
    .minimumBuffer = 31};

inline constexpr Description kOffset{
    .progId = "TMFilter.Offset.1",
    .clsid = MakeGuid("{9668AAA6-A975-4C1E-BD49-EEBE736379D5}"),
    .id = 37,
    .nameKey = "IDS_OFFSET_NAME",
    .name = "Offset",
    .icon = "icons_shift",
    .help = "HLP_OFFSET",
    .summary = "Moves the picture's origin, so that a composition places it elsewhere; no pixel changes.",
    .reach = 0,
    .lengths = Lengths::Stay};

/// Moving pattern: requests pass upstream as they stand.
class COffsetFilter final : public TwinFilter<OffsetParameters, kOffsetText, kOffset> {
public:
    COffsetFilter() : TwinFilter(OffsetParameters{}) {}

    HRESULT CommitChanges() override;
};

}  // namespace kestrel
