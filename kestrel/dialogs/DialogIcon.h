#pragma once
#include <QIcon>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A drawing that ships with the library, by its icon base ("icons_sepia"), at 22 and 44 pixels; a null icon for an
/// unknown name.
KESTREL_API QIcon DialogIcon(const char* base);

}  // namespace kestrel
