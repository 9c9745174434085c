#include "apps/kestrel/Console.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>

#include "kestrel/diagnostics/TraceLog.h"

namespace console {
namespace {

Talk talkLevel = Talk::Normal;
bool progressShown = false;
std::mutex guard;  // the thread that waits for signals clears the progress as well

void EraseProgress() {
    if (progressShown) std::fputs("\r\x1b[K", stderr);
    progressShown = false;
}

/// Names come from outside: a control character in one must not drive the terminal or fake a second line.
std::string Plain(std::string_view message) {
    std::string line(message);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; }, '?');
    return line;
}

void Say(std::string_view kind, std::string_view message) {
    const std::string line = Plain(message);
    const std::lock_guard lock(guard);
    EraseProgress();
    fmt::print(stderr, "kestrel: {}{}\n", kind, line);
}

}  // namespace

void SetTalk(Talk talk) { talkLevel = talk; }

void Log(std::string_view message) {
    constexpr int kLevel = 4;  // written, but not waited for
    errno = 0;                 // what failed stands in the message
    kestrel::TraceLog(kLevel).Write(Plain(message).c_str(), true);
}

void Error(std::string_view message) {
    Log(message);
    Say("", message);
}
void Warning(std::string_view message) {
    Log(message);
    Say("warning: ", message);
}

void Note(std::string_view message) {
    if (talkLevel != Talk::Quiet) Say("", message);
}

void Detail(std::string_view message) {
    if (talkLevel == Talk::Verbose) Say("", message);
}

void Progress(std::string_view message) {
    if (talkLevel == Talk::Quiet || !isatty(STDERR_FILENO)) return;
    const std::lock_guard lock(guard);
    EraseProgress();
    fmt::print(stderr, "{} ...", message);
    std::fflush(stderr);
    progressShown = true;
}

void ClearProgress() {
    const std::lock_guard lock(guard);
    EraseProgress();
}

}  // namespace console
