#pragma once
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Receives what developers may want to see while a program runs; called from any thread, never with a null text.
using DebugOutput = void (*)(const char* text);

/// Puts a sink in place of the default one, which writes to standard error when the environment variable
/// KESTREL_DEBUG_OUTPUT is set and drops the text otherwise; null puts the default back.
KESTREL_API void SetDebugOutput(DebugOutput sink);

/// Text for the sink as it stands, without a line end of its own. Does not throw; `errno` stays.
KESTREL_API void WriteDebugOutput(const char* text) noexcept;

}  // namespace kestrel
