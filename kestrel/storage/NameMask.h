#pragma once
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Whether a mask fits a name: `*` stands for any text, `?` for one character, letters in any case. A name without a
/// dot counts as one that ends with a dot, so that "*.*" fits every name, "x.*" fits "x" and "*." all names without
/// a dot. An empty mask fits everything.
KESTREL_API bool MaskFits(std::string_view mask, std::string_view name);

}  // namespace kestrel
