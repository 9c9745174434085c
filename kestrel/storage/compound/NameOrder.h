#pragma once
#include <string_view>

#include "kestrel/storage/compound/Error.h"

namespace kestrel::compound {

/// The upper case of a UTF-16 unit by the format's table: one unit for one unit, whatever the language.
char16_t UpperCase(char16_t unit);

/// The format's order of names: the shorter one first, then by upper case. Below, equal to, above 0.
int CompareNames(std::u16string_view a, std::u16string_view b);

/// kInvalidName for names that the format does not allow.
Error CheckName(std::u16string_view name);

}  // namespace kestrel::compound
