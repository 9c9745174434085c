#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A trace channel for developers: writes a formatted text to the debug output and the log when `tag` stands in the
/// file "TMDebug.txt" in the folder of the program, which is read at the first call. Always returns 0, never throws.
KESTREL_API int TMDebugMonitor(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The words of such a file, at most 499. A word that begins with '#' makes the rest of its line a comment.
KESTREL_API std::vector<std::string> ReadDebugTags(std::string_view text);

}  // namespace kestrel
