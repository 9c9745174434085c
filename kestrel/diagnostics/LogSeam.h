#pragma once
#include "kestrel/diagnostics/LogSink.h"

namespace kestrel {

// The old names of this header, until their last callers are gone.
using LogReceiver = LogSink;
inline void SetLogReceiver(LogReceiver receiver) { SetLogSink(receiver); }

}  // namespace kestrel
