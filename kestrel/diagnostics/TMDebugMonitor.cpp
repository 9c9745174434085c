#include "kestrel/diagnostics/TMDebugMonitor.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <mutex>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/LogText.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/settings/Folders.h"
#include "kestrel/settings/WholeFile.h"

namespace kestrel {
namespace {

constexpr std::size_t kMaxTags = 499;
constexpr std::string_view kSpace = " \t\r\n\v\f";

/// Read once; never destroyed, since traces may come until the very end.
const std::vector<std::string>& Tags() {
    static const auto& tags =
        *new std::vector<std::string>(ReadDebugTags(ReadWholeFile(ProgramFolder() / "TMDebug.txt").value_or("")));
    return tags;
}

std::mutex& Order() {
    static std::mutex& order = *new std::mutex;
    return order;
}

void Trace(const char* tag, const char* format, va_list arguments) {
    const std::lock_guard guard(Order());
    WriteDebugOutput(tag);
    WriteDebugOutput(" [TMDeMon]: ");
    std::string text;
    if (!FormatLogText(text, "TMDebugMonitor - Buffer Overflow\n", format, arguments))
        text = "Error in formatting Parameters for Log!!!!";
    TraceLog(0).Format(0, "%s: %s", tag, text.c_str());
    WriteDebugOutput((text + "\n").c_str());
}

}  // namespace

std::vector<std::string> ReadDebugTags(std::string_view text) {
    std::vector<std::string> tags;
    while (tags.size() < kMaxTags) {
        text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
        if (text.empty()) break;
        const bool comment = text.front() == '#';
        const auto end = std::min(comment ? text.find('\n') : text.find_first_of(kSpace), text.size());
        if (!comment) tags.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return tags;
}

int TMDebugMonitor(const char* tag, const char* format, ...) {
    if (!tag || !format) return 0;
    const int before = errno;
    va_list arguments;
    va_start(arguments, format);
    try {
        const auto& tags = Tags();
        if (std::find(tags.begin(), tags.end(), tag) != tags.end()) {
            errno = before;
            Trace(tag, format, arguments);
        }
    } catch (...) {
        TraceLog(0).Format(0, "logging Exception in %s : %s(%d)", tag, "TMDebugMonitor", __LINE__);
    }
    va_end(arguments);
    errno = before;
    return 0;
}

}  // namespace kestrel
