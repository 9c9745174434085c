#pragma once
#include <filesystem>

namespace kestrel {

struct LogDate {
    int year = 0;
    int month = 0;  ///< 1..12
    int day = 0;    ///< 1..31
};

/// Today by the local clock.
LogDate Today();
/// The same day a month ago; it need not exist in the calendar.
LogDate MonthBefore(LogDate date);
/// The first four characters of the program, the date and ".log": "kest(2006-05-01).log".
std::string LogFileName(const std::string& prefix, LogDate date);

/// Removes the logs, packed logs and transfer logs of a folder whose name carries a date before `cutOff`.
void DeleteOldLogs(const std::filesystem::path& folder, LogDate cutOff);

}  // namespace kestrel
