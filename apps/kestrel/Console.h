#pragma once
#include <string>
#include <string_view>

/// What the program tells a person: on standard error, each message one line that begins with "kestrel: ".
namespace console {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kInterrupted = 130 };

enum class Talk { Quiet, Normal, Verbose };
void SetTalk(Talk talk);

/// One line in the log of the day only, where errors and warnings go as well.
void Log(std::string_view message);
/// Something went wrong. Always shown.
void Error(std::string_view message);
/// The work goes on, but a person should know that the input is not whole. Always shown.
void Warning(std::string_view message);
/// Something that a person may want to know. Not with `--quiet`.
void Note(std::string_view message);
/// Only with `--verbose`.
void Detail(std::string_view message);

/// What the program is doing now; the next message or the end takes its place. On a terminal only, not with `--quiet`.
void Progress(std::string_view message);
void ClearProgress();

/// A command line that cannot be run, thrown where it is noticed; the program ends with `kUsage`.
struct UsageError {
    std::string message;
};
/// Work that cannot be done, thrown where it is noticed; the program ends with `kFailed`.
struct Failure {
    std::string message;
};

}  // namespace console
