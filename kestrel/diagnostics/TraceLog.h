#pragma once
#include <cstdarg>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"

namespace kestrel {

/// How a program begins its log.
struct TraceLogStart {
    int module = 0;               ///< an identity of the caller's; 0xFFFF means none
    const char* moduleName = "";  ///< for the banner; empty: the program's name
    bool banner = false;          ///< write the two lines of the start
    const char* bannerText = "";
    bool journal = false;      ///< a thread writes, callers only hand their lines over
    const char* folder = "";   ///< empty: the folder that the settings name, else the user's state folder
    const char* program = "";  ///< the program's file name; empty: that of the running program
    /// Milliseconds that all lines of the process together may wait while other processes hold the log; afterwards a
    /// line that meets a held log is dropped at once. -1: each line may wait 10 seconds. A short-lived program sets it,
    /// so that a log that hangs delays it by no more than this.
    int waitInAll = -1;
};

/// Writes one text file for each program and day, shared by all its processes: "<first four letters>(<date>).log".
///
/// An object holds a default level only; the log itself is one for the process. A line is written when its level is
/// below the threshold (5 at the start); level -1 stands for the object's own. Levels below 4 reach the disk before the
/// call returns. The first stamped line after a new error code (`errno`) is written whatever its level, and the
/// system's text for the code follows it.
///
/// All operations may be called from any thread; nothing throws, and `errno` stays. A line that cannot be written
/// within 10 seconds (`TraceLogStart::waitInAll` bounds it further), because another process holds the log, is dropped;
/// the lock of a process that dies falls. In journal mode only the thread of the log waits, and the program's end waits
/// for it at most 3 seconds. After a fork the child goes on with the same log.
class KESTREL_API TraceLog {
public:
    explicit TraceLog(int level) : level_(level) {}
    virtual ~TraceLog() = default;

    /// Formats as `printf` and writes stamped. A text of 4095 bytes or more is cut and marked at its start. A null
    /// format does nothing; one with `%n` is refused.
    void Format(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    /// Stamped lines begin with time, error code, process and thread.
    void Write(int level, const char* text, bool stamped);
    void Write(const char* text, bool stamped) { Write(-1, text, stamped); }
    /// Copies a text file, as long as it is now, into the log between lines of hyphens; false when it cannot be read or
    /// there is no log. The file may be the log itself.
    bool AppendFileToLog(const char* path);
    /// Writes the remembered lines into the log; they stay remembered.
    void DumpStack();
    /// Forgets the remembered lines and the folder.
    void ClearMemory();
    /// Kept for callers that mark functions; the log makes no use of it.
    void LogFuncsAt(int value) { functions_ = value; }

    /// Begins the log; the first line of a process does so with defaults when nobody has. Without effect once begun or
    /// stopped. Logs of more than a month ago are deleted from the folder.
    static void Start(const TraceLogStart& start);
    /// The end: the closing line, or the file itself removed. Nothing is logged by this process afterwards. Called
    /// before the first line, it keeps the process from logging at all: no file is made or touched. Programs do so for
    /// commands that only tell something.
    static void StopLogging(bool deleteFile);
    static void SetLogLevel(int threshold);
    /// The last line written, without its line end; in a static buffer that the next line overwrites.
    static const char* GetLastLogEntry();
    /// The log's full path; empty when there is none.
    static QvString GetLogFileName();

    /// Remembers the last 5000 stamped lines, whatever their level.
    static void SetMemoryRing(bool on);
    /// At the next stamped line the remembered ones are written. With the beep flag (set at the start) a bell goes to
    /// the debug output and from then on every line is written, whatever its level.
    static void RequestDump();
    static void SetBeep(bool beep);

private:
    int level_;
    int functions_ = 0;
};

/// Tells the user that there is no log; called once at most in a process. The default writes to the debug output.
using LogFailureBox = void (*)(const char* title, const char* text);
KESTREL_API void SetLogFailureBox(LogFailureBox box);

/// The path of a program's log of today; the file need not exist.
KESTREL_API QvString TodaysLog(const char* program);

}  // namespace kestrel
