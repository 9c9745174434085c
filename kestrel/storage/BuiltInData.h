#pragma once
#include <cstdint>
#include <span>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// What the build packed from `resources/` into this program or library; empty in one that was linked without it.
KESTREL_API std::span<const std::uint8_t> BuiltInData();

}  // namespace kestrel
