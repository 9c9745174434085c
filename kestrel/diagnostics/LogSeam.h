#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Receives the library's log lines. `level` -1 stands for the log's own default.
using LogReceiver = void (*)(int level, const char* source, int line, const std::string& text);

/// Puts a receiver in place; null makes the library silent again. Set it before other threads run.
KESTREL_API void SetLogReceiver(LogReceiver receiver);

/// One line for the log from the place named by `source` and `line`. Silent without a receiver.
KESTREL_API void LogLine(int level, const char* source, int line, const std::string& text);

}  // namespace kestrel
