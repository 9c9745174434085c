#include "kestrel/diagnostics/LogSink.h"

#include <atomic>
#include <cerrno>

#include "kestrel/diagnostics/TraceLog.h"

namespace kestrel {
namespace {

constexpr int kOwnLevel = 4;  // written at the usual threshold, not forced to the disk

/// The texts name their place themselves.
void ToTraceLog(int level, const char*, int, const std::string& text) {
    const int before = errno;
    TraceLog::Start({});
    errno = 0;  // what a call of long ago left there has nothing to do with this line
    TraceLog(kOwnLevel).Write(level, text.c_str(), true);
    errno = before;
}

std::atomic<LogSink> currentSink{&ToTraceLog};

}  // namespace

void SetLogSink(LogSink sink) { currentSink.store(sink); }

void LogLine(int level, const char* source, int line, const std::string& text) {
    if (const LogSink sink = currentSink.load()) sink(level, source, line, text);
}

}  // namespace kestrel
