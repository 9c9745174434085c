#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// One percentage, kept as the share of the picture that stays, in 1/255; 255 changes nothing. Every percentage
/// survives the way there and back.
struct KeepByteParameters {
    std::uint8_t keep = 255;
};

/// The text of a filter with such a percentage. One without it means 0.
constexpr ParameterTable<KeepByteParameters, 1> KeepByteTable(const char* key, const char* label, const char* meaning) {
    ParameterTable<KeepByteParameters, 1> table{.keys = {Percent(key, &KeepByteParameters::keep, label, meaning).Or(0)},
                                                .minimumBuffer = 31};
    table.keys[0].kept = true;
    return table;
}

}  // namespace kestrel
