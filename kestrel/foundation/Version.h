#pragma once
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Version of the library that is running, as in "1.2.3"; a static text. Safe from every thread.
KESTREL_API const char* Version();

}  // namespace kestrel
