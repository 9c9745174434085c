#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// One line for a person about the last operation on a storage or stream of this thread that failed: what failed and
/// why. Empty when none has.
KESTREL_API const std::string& LastStorageError();

/// Remembers such a line.
void SetLastStorageError(std::string text);

}  // namespace kestrel
