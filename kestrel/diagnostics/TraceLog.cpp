#include "kestrel/diagnostics/TraceLog.h"

#include <pthread.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/LogFile.h"
#include "kestrel/diagnostics/LogText.h"
#include "kestrel/diagnostics/OldLogs.h"
#include "kestrel/settings/Folders.h"
#include "kestrel/settings/TMRegistry.h"

namespace kestrel {
namespace {

constexpr int kThreshold = 5;
constexpr int kFlushBelow = 4;
constexpr int kNoModule = 0xFFFF;
constexpr std::size_t kRingLines = 5000;
constexpr std::size_t kLastLineSize = 0xFD0;
constexpr std::size_t kPrefixLength = 4;
constexpr std::size_t kCopyChunk = 0x1000;
constexpr auto kJournalEnd = std::chrono::milliseconds(3000);
constexpr auto kJournalGathers = std::chrono::milliseconds(1);  ///< lines that come close together are written at once
constexpr const char* kLineEnd = "\r\n";
constexpr const char* kRingStart = "********************B*A*C*K*T*R*A*C*E***S*T*A*R*T*S***H*E*R*E********************";
constexpr const char* kRingEnd = "********************B*A*C*K*T*R*A*C*E***E*N*D*S***H*E*R*E********************";
constexpr const char* kHyphens = "---------------------------------------------------------------";
static_assert(std::char_traits<char>::length(kHyphens) == 63);

/// Lines that wait for the journal's thread. A condition that a thread waits for cannot be used in a forked child.
struct Journal {
    std::mutex mutex;
    std::condition_variable event;
    std::string list;
    bool runs = false;
    bool waits = false;  ///< only then a line has to wake the thread, which costs more than all the rest
    bool stops = false;
};

/// The log of the process. It is never destroyed, since lines may come until the very end.
struct Log {
    std::atomic<int> threshold{kThreshold};
    std::atomic<int> module{kNoModule};
    std::atomic<bool> stopped{false};
    std::atomic<bool> ending{false};  ///< somebody writes the closing line
    std::atomic<bool> journal{false};
    std::atomic<int> lastError{-1};
    std::atomic<bool> ringOn{false};
    std::atomic<bool> dumpRequested{false};
    std::atomic<bool> beep{true};
    std::mutex starting;

    // Guarded by a turn of the file, or by the file's mutex.
    LogFile file;
    std::deque<std::string> ring;
    std::string folder;
    std::string banner;  ///< the name in the lines of start and end
    char lastLine[kLastLineSize] = "";

    std::atomic<Journal*> journalLines{new Journal};  ///< a forked child takes another and leaves the old one alone
};

Log& TheLog() {
    static Log& log = *new Log;
    return log;
}

/// The log leaves `errno` as it found it.
class KeepErrno {
public:
    KeepErrno() : value_(errno) {}
    ~KeepErrno() { errno = value_; }
    int Value() const { return value_; }

private:
    int value_;
};

/// Runs a piece of logging; what goes wrong is told to the debug output.
template <class Work>
void Quietly(int line, const Work& work) noexcept {
    try {
        work();
    } catch (...) {
        char text[64];
        std::snprintf(text, sizeof text, "Exception in logging %d,%s", line, "TraceLogStd");
        WriteDebugOutput(text);
    }
}

bool SameWord(const std::string& left, const char* right) { return strcasecmp(left.c_str(), right) == 0; }

void ShowOnDebugOutput(const std::string& title, const std::string& text) {
    WriteDebugOutput((title + ": " + text + "\n").c_str());
}
std::atomic<LogFailureBox> failureBox{nullptr};

void TellFailure(const std::string& path) {
    const std::string text = "Error creating or opening the log file " + path + "\nLogging is disabled";
    if (const LogFailureBox box = failureBox.load())
        box("Log Error", text.c_str());
    else
        ShowOnDebugOutput("Log Error", text);
}

// The folder

/// The folder that the product's settings name; empty when they name none.
std::string FolderOfSettings() {
    TMRegistry product("TMGallery");
    const auto read = [&](auto&& operation) {
        return operation(SettingsPlace::kCurrentUser) == kSuccess || operation(SettingsPlace::kAllUsers) == kSuccess;
    };
    int active = 0;
    if (!read([&](SettingsPlace place) { return product.ReadInteger(place, "Datapaths", "ActivePath", active); }))
        return "";
    QvString key;
    key.Format("Path%d", active);
    QvString path;
    if (!read([&](SettingsPlace place) { return product.ReadText(place, "Datapaths", key, path); })) return "";
    if (path.Find(".ini") < 0) path += path.Right(1) == "/" ? "Relax.ini" : "/Relax.ini";
    TMRegistry data("TMGallery", path);
    QvString folder;
    return data.ReadText(SettingsPlace::kIniFile, "Locations", "Log", folder) == kSuccess ? std::string(folder) : "";
}

std::string WithSeparator(std::string folder) {
    if (!folder.empty() && folder.back() != '/') folder += '/';
    return folder;
}

std::string LogFolder(const char* asked) {
    if (*asked != '\0') return WithSeparator(asked);
    const std::string named = FolderOfSettings();
    return WithSeparator(named.empty() ? StateFolder().string() : named);
}

// Writing

void Fail(const char* text) { WriteDebugOutput(text); }

bool AppendLine(const LogFile::Turn& turn, const std::string& line) { return turn.Append(line + kLineEnd); }

void KeepLastLine(Log& log, const std::string& line) {
    const std::size_t length = std::min(line.size(), kLastLineSize - 1);
    std::memcpy(log.lastLine, line.data(), length);
    log.lastLine[length] = '\0';
}

/// The ring between its two lines of stars.
bool WriteRing(Log& log, const LogFile::Turn& turn) {
    bool written = AppendLine(turn, kRingStart);
    for (const auto& line : log.ring) written = written && AppendLine(turn, line);
    return written && AppendLine(turn, kRingEnd);
}

void Remember(Log& log, const std::string& line, const char* errorText) {
    log.ring.push_back(line);
    if (errorText) log.ring.push_back(std::string("\t\t\t\tError: ") + errorText);
    while (log.ring.size() > kRingLines) log.ring.pop_front();
}

void DumpOnRequest(Log& log, const LogFile::Turn& turn) {
    const bool beep = log.beep.load();
    if (beep) WriteDebugOutput("\a");
    if (!WriteRing(log, turn)) Fail("ERROR on writing to LogFile");
    log.ring.clear();
    if (!beep) {
        log.dumpRequested = false;
        return;
    }
    char text[160];
    std::snprintf(text, sizeof text,
                  "You switched to full trace level.\nThe last %d lines have been dumped.\n"
                  "From now on, a full log is performed.",
                  static_cast<int>(kRingLines));
    WriteDebugOutput(text);
}

/// A line of the plain mode. `error` is 0 when it was told before.
void WriteNow(Log& log, int level, const char* text, bool stamped, int error) {
    const bool dumping = log.dumpRequested.load();
    const bool passes = error != 0 || dumping || level < log.threshold.load();
    if (!passes && !log.ringOn.load()) return;

    const LogFile::Turn turn(log.file);
    if (!turn.Held()) return;
    const std::string line = stamped ? ErrorStamp(error) + text : text;
    const char* errorText = error != 0 ? strerrordesc_np(error) : nullptr;
    if (log.ringOn.load() && stamped && !dumping) Remember(log, line, errorText);
    if (log.ringOn.load() && stamped && dumping && !log.ring.empty()) DumpOnRequest(log, turn);
    if (!passes) return;

    std::string bytes = line + kLineEnd;
    std::string last = line;
    if (error != 0) {
        const std::string told = errorText ? std::string("\t\t\t\tError: ") + errorText : std::string(kNoErrorText);
        bytes += told;
        if (errorText) bytes += kLineEnd;
        last += told;
    }
    KeepLastLine(log, last);
    WriteDebugOutput((line + "\n").c_str());
    if (!turn.Append(bytes)) return Fail("ERROR on writing to LogFile");
    if (level < kFlushBelow) turn.Flush();
}

// The journal

void JournalThread(Log& log, Journal& journal) {
    TraceLog(-1).Write("JournalThread starting.", true);
    std::unique_lock guard(journal.mutex);
    for (;;) {
        journal.waits = true;
        journal.event.wait(guard, [&] { return !journal.list.empty() || journal.stops; });
        journal.waits = false;
        if (journal.list.empty()) break;
        std::string lines;
        const bool stops = journal.stops;
        guard.unlock();
        if (!stops) std::this_thread::sleep_for(kJournalGathers);
        Quietly(__LINE__, [&] {
            const LogFile::Turn turn(log.file);  // lines that come during the wait go with it
            {
                const std::lock_guard list(journal.mutex);
                lines.swap(journal.list);
            }
            if (turn.Held() && !turn.Append(lines)) Fail("ERROR on writing to LogFile");
        });
        guard.lock();
        if (journal.list.empty()) {  // the room goes round, so that callers seldom allocate
            lines.clear();
            journal.list.swap(lines);
        }
    }
    journal.runs = false;
    journal.event.notify_all();
}

void HandToJournal(Log& log, int level, const char* text, bool stamped) {
    if (level >= log.threshold.load()) return;
    const std::string stamp = stamped ? LevelStamp(level) : std::string();
    Journal& journal = *log.journalLines.load();
    const std::lock_guard guard(journal.mutex);
    journal.list.append(stamp).append(text).append(kLineEnd);
    if (!journal.runs && !journal.stops) {  // the first line, or the first after a fork
        journal.runs = true;
        std::thread([&log, &journal] { JournalThread(log, journal); }).detach();
    } else if (journal.waits) {
        journal.waits = false;
        journal.event.notify_one();
    }
}

void StopJournal(Log& log) {
    const auto end = std::min<std::chrono::microseconds>(kJournalEnd, log.file.MaxWait());
    Journal& journal = *log.journalLines.load();
    std::unique_lock guard(journal.mutex);
    journal.stops = true;
    journal.event.notify_all();
    journal.event.wait_for(guard, end, [&] { return !journal.runs; });
}

// Begin and end

void BeforeFork() {
    TheLog().starting.lock();
    TheLog().file.ThreadMutex().lock();
}
void AfterForkInParent() {
    TheLog().file.ThreadMutex().unlock();
    TheLog().starting.unlock();
}
void AfterForkInChild() {
    TheLog().journalLines = new Journal;  // the parent writes the lines that wait in the old one
    TheLog().file.ReopenAtNextTurn();
    AfterForkInParent();
}

void WriteLine(int level, const char* text, bool stamped) {
    Log& log = TheLog();
    if (log.journal.load())
        HandToJournal(log, level, text, stamped);
    else
        WriteNow(log, level, text, stamped, 0);
}

/// True when the file is open.
bool Open(Log& log, const TraceLogStart& start) {
    const std::string program = *start.program != '\0' ? start.program : ProgramFile().filename().string();
    std::string prefix = program.substr(0, kPrefixLength);
    log.banner = *start.moduleName != '\0' ? start.moduleName : program;
    if (SameWord(prefix, "tmgu") || SameWord(prefix, "tmun")) return false;
    log.folder = LogFolder(start.folder);
    const bool server = SameWord(prefix, "anir") || SameWord(prefix, "anis");
    if (server) log.folder = WithSeparator(std::filesystem::temp_directory_path().string());
    if (SameWord(start.moduleName, "TMSE"))
        prefix = "TMSE";
    else if (server)
        return false;

    DeleteOldLogs(log.folder, MonthBefore(Today()));
    const std::string path = log.folder + LogFileName(prefix, Today());
    std::error_code ignored;  // the open tells
    std::filesystem::create_directories(log.folder, ignored);
    if (path.size() < kMaxPath && log.file.Open(path)) return true;
    TellFailure(path);
    return false;
}

/// True when this call began the log.
bool BeginOnce(Log& log, const TraceLogStart& start) {
    const std::lock_guard guard(log.starting);
    if (log.module.load() != kNoModule || log.stopped.load()) return false;
    log.threshold = kThreshold;
    log.journal = start.journal;
    log.file.LimitWaiting(std::chrono::milliseconds(start.waitInAll));
    {
        const std::lock_guard turn(log.file.ThreadMutex());
        log.stopped = true;  // until the file is open, and whatever happens on the way
        log.stopped = !Open(log, start);
    }
    log.module = start.module == kNoModule ? 0 : start.module;
    if (log.stopped.load()) return false;
    static const bool registered = [] {
        pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
        std::atexit([] { TraceLog::StopLogging(false); });
        return true;
    }();
    (void)registered;
    return true;
}

/// The lines are written after the lock of the start is given back: a fork must not wait for another process's log.
void StartOnce(const TraceLogStart& start, bool warn) {
    if (!BeginOnce(TheLog(), start)) return;
    if (start.banner) {
        WriteLine(0, ("Starting Program/DLL \"" + TheLog().banner + "\"").c_str(), true);
        WriteLine(0, start.bannerText, true);
    }
    if (warn) WriteLine(0, "warning calling TraceLog without initializing", true);
}

bool IsOn(Log& log) { return log.module.load() != kNoModule && !log.stopped.load(); }

}  // namespace

void SetLogFailureBox(LogFailureBox box) { failureBox = box; }

QvString TodaysLog(const char* program) {
    QvString path;
    Quietly(__LINE__, [&] {
        const std::string prefix = std::string(program).substr(0, kPrefixLength);
        path = (LogFolder("") + LogFileName(prefix, Today())).c_str();
    });
    return path;
}

void TraceLog::Start(const TraceLogStart& start) {
    const KeepErrno kept;
    Quietly(__LINE__, [&] { StartOnce(start, false); });
}

void TraceLog::Format(int level, const char* format, ...) {
    if (!format) return;
    const KeepErrno kept;
    va_list arguments;
    va_start(arguments, format);
    Quietly(__LINE__, [&] {
        std::string text;
        if (!FormatLogText(text, "xxx Buffer Overflow xxx", format, arguments))
            text = "Error in formatting Parameters for Log!!!!";
        errno = kept.Value();
        Write(level, text.c_str(), true);
    });
    va_end(arguments);
}

void TraceLog::Write(int level, const char* text, bool stamped) {
    if (!text) return;
    const KeepErrno kept;
    Log& log = TheLog();
    if (level == -1) level = level_;
    Quietly(__LINE__, [&] {
        if (log.module.load() == kNoModule && !log.stopped.load() && level < log.threshold.load()) StartOnce({}, true);
        if (!IsOn(log)) return;
        if (log.journal.load()) return HandToJournal(log, level, text, stamped);
        int error = stamped ? kept.Value() : 0;
        if (error != 0 && log.lastError.exchange(error) == error) error = 0;
        WriteNow(log, level, text, stamped, error);
    });
}

bool TraceLog::AppendFileToLog(const char* path) {
    const KeepErrno kept;
    Log& log = TheLog();
    bool done = false;
    if (!path || !IsOn(log)) return false;
    Quietly(__LINE__, [&] {
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error)) return;  // a pipe must not stop us
        std::ifstream source(path, std::ios::binary);
        if (!source) return;
        const LogFile::Turn turn(log.file);
        if (!turn.Held()) return;
        std::uintmax_t left = std::filesystem::file_size(path);  // the log itself grows while it is copied
        bool written = AppendLine(turn, kHyphens) && AppendLine(turn, std::string("Appending File ") + path) &&
                       AppendLine(turn, kHyphens) && AppendLine(turn, kHyphens);
        char chunk[kCopyChunk];
        while (written && left > 0) {
            source.read(chunk, static_cast<std::streamsize>(std::min<std::uintmax_t>(left, sizeof chunk)));
            const auto count = static_cast<std::size_t>(source.gcount());
            if (count == 0) break;  // it became shorter meanwhile
            written = turn.Append({chunk, count});
            left -= count;
        }
        done = written && AppendLine(turn, kHyphens) && AppendLine(turn, kHyphens);
        if (!done) Fail("ERROR on writing to LogFile");
    });
    return done;
}

void TraceLog::DumpStack() {
    const KeepErrno kept;
    Log& log = TheLog();
    if (!IsOn(log)) return;
    Quietly(__LINE__, [&] {
        const LogFile::Turn turn(log.file);
        if (!turn.Held() || !WriteRing(log, turn)) return Fail("unable to Dump Stack");
        turn.Flush();
    });
}

void TraceLog::ClearMemory() {
    Log& log = TheLog();
    Quietly(__LINE__, [&] {
        const std::lock_guard guard(log.file.ThreadMutex());
        log.ring.clear();
        log.folder.clear();
    });
}

void TraceLog::StopLogging(bool deleteFile) {
    const KeepErrno kept;
    Log& log = TheLog();
    Quietly(__LINE__, [&] {
        {
            const std::lock_guard guard(log.starting);
            if (!IsOn(log)) log.stopped = true;
            if (log.stopped.load() || log.ending.exchange(true)) return;
        }
        WriteLine(0, ("Program/DLL \"" + log.banner + "\" terminated correctly\r\n\r\n").c_str(), true);
        if (log.journal.load()) StopJournal(log);
        const std::lock_guard guard(log.starting);
        log.stopped = true;
        const std::lock_guard file(log.file.ThreadMutex());
        log.file.Close();
        log.ring.clear();
        std::error_code ignored;
        if (deleteFile) std::filesystem::remove(log.file.Path(), ignored);
    });
}

void TraceLog::SetLogLevel(int threshold) { TheLog().threshold = threshold; }
const char* TraceLog::GetLastLogEntry() { return TheLog().lastLine; }

QvString TraceLog::GetLogFileName() {
    Log& log = TheLog();
    const std::lock_guard guard(log.file.ThreadMutex());
    return IsOn(log) ? QvString(log.file.Path().c_str()) : QvString();
}

void TraceLog::SetMemoryRing(bool on) { TheLog().ringOn = on; }
void TraceLog::RequestDump() { TheLog().dumpRequested = true; }
void TraceLog::SetBeep(bool beep) { TheLog().beep = beep; }

}  // namespace kestrel
