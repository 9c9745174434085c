#pragma once
#include <span>
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The one of `words` that a person most likely meant by a mistyped word, whatever its case; empty when none is near.
KESTREL_API std::string NearestWord(std::string_view mistyped, std::span<const std::string> words);

}  // namespace kestrel
