#include "kestrel/diagnostics/LogText.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

namespace kestrel {
namespace {

/// A call of the system for each line would cost more than the rest of the stamp.
struct ThreadFacts {
    pid_t process = 0;
    pid_t thread = 0;
    time_t second = -1;
    tm local{};
};

bool StoresACount(const char* format) {
    for (const char* at = format; (at = std::strchr(at, '%')) != nullptr; ++at) {
        at += 1 + std::strspn(at + 1, "#+- '0123456789.*$hlLqjzt");
        if (*at == 'n') return true;
        if (*at == '\0') return false;
    }
    return false;
}

template <class Field>
std::string Stamp(const char* format, Field field) {
    thread_local ThreadFacts facts;
    if (const pid_t process = getpid(); facts.process != process) {  // a thread of a new process after fork
        facts.process = process;
        facts.thread = gettid();
    }
    timeval now{};
    gettimeofday(&now, nullptr);
    if (facts.second != now.tv_sec) {
        localtime_r(&now.tv_sec, &facts.local);
        facts.second = now.tv_sec;
    }
    char stamp[80];
    const int length = std::snprintf(stamp, sizeof stamp, format, facts.local.tm_hour, facts.local.tm_min,
                                     facts.local.tm_sec, static_cast<int>(now.tv_usec / 1000), field,
                                     static_cast<unsigned>(facts.process), static_cast<unsigned>(facts.thread));
    return {stamp, static_cast<std::size_t>(length)};
}

}  // namespace

bool FormatLogText(std::string& text, const char* overflow, const char* format, va_list arguments) {
    if (StoresACount(format)) return false;
    char buffer[kLogTextSize];
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    if (length < 0) return false;
    text = buffer;
    if (static_cast<std::size_t>(length) >= sizeof buffer) {
        const std::string mark = std::string(overflow) + " ";
        text.replace(0, mark.size(), mark);
    }
    return true;
}

std::string ErrorStamp(int error) { return Stamp("%02d:%02d:%02d.%03d  %4x %4x :%4x\t", static_cast<unsigned>(error)); }
std::string LevelStamp(int level) { return Stamp("%02d:%02d:%02d.%03d  %3d %4x :%4x\t", level); }

}  // namespace kestrel
