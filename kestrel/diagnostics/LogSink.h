#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Receives the library's log lines. `level` -1 stands for the log's own default.
using LogSink = void (*)(int level, const char* source, int line, const std::string& text);

/// Puts another sink in the place of the log of the process; null makes the library silent. Set it before other
/// threads run.
KESTREL_API void SetLogSink(LogSink sink);

/// One line for the log from the place named by `source` and `line`; `errno` does not go into it and stays. The log
/// begins with the first one, without a banner, unless the program has begun it.
KESTREL_API void LogLine(int level, const char* source, int line, const std::string& text);

}  // namespace kestrel
