#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// How strong an effect is, held as the share of the original picture that remains, in 1/255; 255 changes nothing.
/// Every percentage survives the conversion to a byte and back.
struct EffectStrength {
    std::uint8_t keep = 255;
};

/// The table of a filter whose only key is such a percentage; a text without the key means 0.
constexpr ParameterTable<EffectStrength, 1> EffectStrengthTable(const char* key, const char* label,
                                                                const char* meaning) {
    ParameterTable<EffectStrength, 1> table{.keys = {Percent(key, &EffectStrength::keep, label, meaning).Or(0)},
                                            .minimumBuffer = 31};
    table.keys[0].kept = true;
    return table;
}

}  // namespace kestrel
