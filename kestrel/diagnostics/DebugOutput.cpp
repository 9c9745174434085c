#include "kestrel/diagnostics/DebugOutput.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace kestrel {
namespace {

void ToStandardError(const char* text) {
    static const bool asked = std::getenv("KESTREL_DEBUG_OUTPUT") != nullptr;
    if (asked) std::fputs(text, stderr);
}

std::atomic<DebugOutput> currentOutput{&ToStandardError};

}  // namespace

void SetDebugOutput(DebugOutput sink) { currentOutput.store(sink ? sink : &ToStandardError); }

void WriteDebugOutput(const char* text) noexcept {
    const int before = errno;
    try {
        currentOutput.load()(text);
    } catch (...) {  // a host's sink; there is nobody left to tell
    }
    errno = before;
}

}  // namespace kestrel
