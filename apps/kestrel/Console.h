#pragma once
#include <string>
#include <string_view>

/// Messages of the program: on standard error, each message one line that begins with "kestrel: ". A standard
/// error that cannot be written changes nothing else. Control characters are never shown, whatever a file is named.
namespace console {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kDamagedInput = 3 };

enum class Talk { Quiet, Normal, Verbose };
void SetTalk(Talk talk);

/// Begins the log of the day with the command as it was given; errors and warnings follow it there. Without this call
/// nothing is logged. No log is no failure.
void StartLog(std::string_view command);

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

/// What a command prints, on standard output. Throws `Failure` when it cannot be written.
void Print(std::string_view text);
/// The same for what is still buffered.
void FlushOutput();

/// A command line that cannot be run, thrown where it is noticed; the program ends with `kUsage`.
struct UsageError {
    std::string message;
};
/// Work that cannot be done, thrown where it is noticed; the program ends with `kFailed`. An empty message is not
/// shown.
struct Failure {
    std::string message;
};

}  // namespace console
