#include "kestrel/diagnostics/LogSeam.h"

#include <atomic>

namespace kestrel {
namespace {
std::atomic<LogReceiver> currentReceiver{nullptr};
}  // namespace

void SetLogReceiver(LogReceiver receiver) { currentReceiver.store(receiver); }

void LogLine(int level, const char* source, int line, const std::string& text) {
    if (const LogReceiver receiver = currentReceiver.load()) receiver(level, source, line, text);
}

}  // namespace kestrel
