#pragma once
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Texts inside a parameter text: control bytes, comma, ampersand, equals sign and backslash are written as a backslash
/// and two lower-case hexadecimal digits.
KESTREL_API std::string EscapeText(std::string_view text);
/// The reverse. A backslash before anything but two such digits stands for itself.
KESTREL_API std::string UnescapeText(std::string_view text);

}  // namespace kestrel
