#include "kestrel/diagnostics/OldLogs.h"

#include <cstdio>
#include <ctime>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>

namespace kestrel {
namespace {

std::optional<int> NumberAt(const std::string& name, std::size_t at) {
    int number = 0;
    if (std::sscanf(name.c_str() + at, "%9d", &number) != 1) return std::nullopt;
    return number;
}

/// A date whose year, month and day begin at these places.
std::optional<LogDate> DateAt(const std::string& name, std::size_t year, std::size_t month, std::size_t day) {
    const auto y = NumberAt(name, year);
    const auto m = NumberAt(name, month);
    const auto d = NumberAt(name, day);
    if (!y || !m || !d) return std::nullopt;
    return LogDate{*y, *m, *d};
}

std::optional<LogDate> DateOf(const std::string& name) {
    const bool log = name.ends_with(".log");
    const bool packed = name.starts_with("logs") && name.ends_with(".zip");
    if ((log || packed) && name.size() > 19 && name[4] == '(') return DateAt(name, 5, 10, 13);
    if (log && name.starts_with("TMG_FTP(") && name.size() == 23) return DateAt(name, 8, 13, 16);
    return std::nullopt;
}

bool IsBefore(LogDate left, LogDate right) {
    return std::tie(left.year, left.month, left.day) < std::tie(right.year, right.month, right.day);
}

}  // namespace

LogDate Today() {
    const time_t now = std::time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

LogDate MonthBefore(LogDate date) {
    if (date.month > 1) return {date.year, date.month - 1, date.day};
    return {date.year - 1, 12, date.day};
}

std::string LogFileName(const std::string& prefix, LogDate date) {
    char text[48];
    std::snprintf(text, sizeof text, "(%02d-%02d-%02d)", date.year, date.month, date.day);
    return prefix + text + ".log";
}

void DeleteOldLogs(const std::filesystem::path& folder, LogDate cutOff) {
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;  // a file that another process removed meanwhile is gone as well
        const auto date = DateOf(at->path().filename().string());
        if (date && IsBefore(*date, cutOff) && !at->is_directory(ignored)) std::filesystem::remove(at->path(), ignored);
    }
}

}  // namespace kestrel
