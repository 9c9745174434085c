#pragma once
#include <cstdarg>
#include <cstddef>
#include <string>

namespace kestrel {

/// Bytes that a formatted text may take with its terminator; longer ones are cut and marked.
inline constexpr std::size_t kLogTextSize = 0xFFF;

/// Formats into a text of fewer than `kLogTextSize` bytes. One that does not fit is cut, and `overflow` with a blank is
/// written over its start. False for a format that cannot be followed; `%n` is one, since texts of users end up in
/// formats.
bool FormatLogText(std::string& text, const char* overflow, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

/// "%02d:%02d:%02d.%03d  %4x %4x :%4x\t": local time, error code, process, thread.
std::string ErrorStamp(int error);
/// "%02d:%02d:%02d.%03d  %3d %4x :%4x\t": local time, level, process, thread.
std::string LevelStamp(int level);

}  // namespace kestrel
