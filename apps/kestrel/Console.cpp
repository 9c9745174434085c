#include "apps/kestrel/Console.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/foundation/CodePage.h"

namespace console {
namespace {

constexpr int kLogWait = 200;  // milliseconds in a run; without the log the work is as good

Talk talkLevel = Talk::Normal;
bool logStarted = false;
bool progressShown = false;
std::mutex guard;  // the thread that waits for signals clears the progress as well

/// A failure to write to standard error is ignored: there is no other place to report it.
void Put(std::string_view text) { static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr)); }

void EraseProgress() {
    if (progressShown) Put("\r\x1b[K");
    progressShown = false;
}

/// One line without control characters, in which nothing can drive the terminal or fake a second line. Those above
/// ASCII (U+0080 to U+009F) are two bytes in UTF-8; alone, their second bytes drive a terminal of eight bits.
std::string Plain(std::string_view message) {
    std::string line(message);
    const bool utf8 = kestrel::IsUtf8(message);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line[i]);
        if (byte < ' ' || byte == 0x7F || (!utf8 && byte >= 0x80)) line[i] = '?';
        if (utf8 && byte == 0xC2 && static_cast<unsigned char>(line[i + 1]) < 0xA0) line.replace(i, 2, "?");
    }
    return line;
}

void Log(std::string_view message) {
    if (!logStarted) return;
    constexpr int kLevel = 4;  // written, but not waited for
    errno = 0;                 // what failed stands in the message
    kestrel::TraceLog(kLevel).Write(Plain(message).c_str(), true);
}

void Say(std::string_view kind, std::string_view message) {
    const std::string line = fmt::format("kestrel: {}{}\n", kind, Plain(message));
    const std::lock_guard lock(guard);
    EraseProgress();
    Put(line);
}

/// A reader that has seen enough, such as head, needs no message.
[[noreturn]] void FailToPrint() {
    if (errno == EPIPE) throw Failure{};
    throw Failure{fmt::format("standard output: cannot be written: {}", std::strerror(errno))};
}

}  // namespace

void SetTalk(Talk talk) { talkLevel = talk; }

void StartLog(std::string_view command) {
    kestrel::TraceLogStart start;
    start.program = "kestrel";
    start.waitInAll = kLogWait;
    kestrel::TraceLog::Start(start);
    logStarted = true;
    Log(command);
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
    Put(Plain(message) + " ...");
    progressShown = true;
}

void ClearProgress() {
    const std::lock_guard lock(guard);
    EraseProgress();
}

void Print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) FailToPrint();
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) FailToPrint();
}

}  // namespace console
