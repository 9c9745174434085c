#include "kestrel/diagnostics/TraceLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/diagnostics/OldLogs.h"
#include "kestrel/settings/RegistryKeys.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace {
int flushes = 0;
}

/// In place of the system's, to count.
extern "C" int fdatasync(int descriptor) {
    ++flushes;
    return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}

namespace kestrel {
namespace {

using test::InChild;
using test::ReadBytes;
using test::WriteBytes;

std::string debugText;
void KeepDebugText(const char* text) { debugText += text; }

/// What stands before the TAB of a stamped line.
struct Stamp {
    unsigned milliseconds = 0;  ///< of the second
    unsigned error = 0;         ///< or the level, read as hexadecimal
    unsigned process = 0;
    unsigned thread = 0;
};

/// The stamp of "hh:mm:ss.mmm  <error> <process> :<thread>\t..." and where the text begins; 0 for any other line.
std::size_t ReadStamp(const std::string& line, Stamp& stamp) {
    unsigned time[4];
    int end = 0;
    const int read = std::sscanf(line.c_str(), "%2u:%2u:%2u.%3u  %x %x :%x%n", &time[0], &time[1], &time[2], &time[3],
                                 &stamp.error, &stamp.process, &stamp.thread, &end);
    stamp.milliseconds = time[3];
    if (read != 7 || line[2] != ':' || line[5] != ':' || line[8] != '.' || line.substr(12, 2) != "  ") return 0;
    return line[static_cast<std::size_t>(end)] == '\t' ? static_cast<std::size_t>(end) + 1 : 0;
}

/// Each line without its stamp: "<text>" or "[<error>]<text>" for a line with an error code or level.
std::vector<std::string> Lines(const std::string& log) {
    std::vector<std::string> lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        if (line.ends_with('\r')) line.pop_back();
        Stamp stamp;
        if (const std::size_t text = ReadStamp(line, stamp)) {
            char mark[16];
            std::snprintf(mark, sizeof mark, "[%x]", stamp.error);
            line = (stamp.error == 0 ? "" : mark) + line.substr(text);
        }
        lines.push_back(line);
    }
    return lines;
}

using Texts = std::vector<std::string>;

struct TraceLogTest : testing::Test {
    test::PrivateFolders folders;
    std::filesystem::path folder = folders / "log";
    std::filesystem::path file = folder / LogFileName("test", Today());

    TraceLogStart Options() const {
        TraceLogStart start;
        start.folder = folder.c_str();
        start.program = "tester";
        return start;
    }
    /// What `work` logs in a process of its own, which does not come to an orderly end.
    template <class Work>
    Texts Logged(const Work& work) {
        EXPECT_EQ(InChild([&] {
                      TraceLog::Start(Options());
                      errno = 0;
                      work();
                      return std::string();
                  }),
                  "");
        return Lines(ReadBytes(file));
    }
};

TEST_F(TraceLogTest, StampIsTimeErrorProcessAndThread) {
    using namespace std::chrono;
    const auto before = floor<milliseconds>(system_clock::now());
    const std::string facts = InChild([&] {
        TraceLog::Start(Options());
        errno = 0;
        TraceLog(4).Write("text", true);
        TraceLog(4).Write("bare", false);
        char ids[32];
        std::snprintf(ids, sizeof ids, "   0 %4x :%4x\ttext\r\nbare\r\n", static_cast<unsigned>(getpid()),
                      static_cast<unsigned>(gettid()));
        return std::string(ids);
    });
    const std::string log = ReadBytes(file);
    Stamp stamp;
    EXPECT_NE(ReadStamp(log, stamp), 0u) << log;
    EXPECT_EQ(log.substr(12), "  " + facts);
    const auto since = (milliseconds(stamp.milliseconds) + 1s - before.time_since_epoch() % 1s) % 1s;
    EXPECT_LE(since, system_clock::now() - before);
}

TEST_F(TraceLogTest, LevelsBelowTheThresholdPass) {
    EXPECT_EQ(Logged([] {
                  TraceLog log(5);
                  log.Write(4, "four", true);
                  log.Write(5, "five", true);
                  log.Write("own level", true);
                  TraceLog(0).Write("level 0 of its own", true);
                  TraceLog::SetLogLevel(7);
                  log.Write(6, "six", true);
                  TraceLog::SetLogLevel(0);
                  log.Write(0, "nothing", true);
                  log.Write(-2, "below", true);
              }),
              (Texts{"four", "level 0 of its own", "six", "below"}));
}

TEST_F(TraceLogTest, LinesBelowLevelFourAreFlushed) {
    const auto tell = [] { TraceLog(4).Write(std::to_string(flushes).c_str(), true); };
    EXPECT_EQ(Logged([&] {
                  TraceLog(4).Write("four", true);
                  tell();
                  TraceLog(3).Write("three", true);
                  tell();
              }),
              (Texts{"four", "0", "three", "1"}));
}

TEST_F(TraceLogTest, EachNewErrorIsToldOnce) {
    EXPECT_EQ(Logged([] {
                  TraceLog log(9);
                  errno = ENOENT;
                  log.Write("unstamped tells none", false);
                  log.Write("first", true);
                  if (errno != ENOENT) TraceLog(0).Write("errno was changed", true);
                  log.Write("repeated", true);
                  log.Write(0, "repeated but important", true);
                  errno = EACCES;
                  log.Format(9, "%s", "another");
                  errno = 0;
                  log.Write("none", true);
                  errno = EACCES;
                  log.Write("told before", true);
                  errno = 99999;
                  log.Write("unknown", true);
                  TraceLog(0).Write("glued to it", false);
              }),
              (Texts{"[2]first", "\t\t\t\tError: No such file or directory", "repeated but important", "[d]another",
                     "\t\t\t\tError: Permission denied", "[1869f]unknown", "\t\t Error: glued to it"}));
}

TEST_F(TraceLogTest, LongTextsAreCutAndMarked) {
    const std::string fits(4094, 'x');
    const std::string tooLong(4095, 'x');
    const auto lines = Logged([&] {
        TraceLog(0).Format(4, "%s", fits.c_str());
        TraceLog(0).Format(4, "%s", tooLong.c_str());
        TraceLog(0).Write(4, (tooLong + tooLong).c_str(), true);
    });
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], fits);
    EXPECT_EQ(lines[1], "xxx Buffer Overflow xxx " + std::string(4094 - 24, 'x'));
    EXPECT_EQ(lines[2], tooLong + tooLong) << "what needs no formatting has no bound";
}

TEST_F(TraceLogTest, FormatsOfUsersDoNoHarm) {
    EXPECT_EQ(Logged([] {
                  const char* volatile hostile = "100%n done";
                  int written = 0;
                  TraceLog(0).Format(4, hostile, &written);
                  hostile = "%-08ln";
                  TraceLog(0).Format(4, hostile, &written);
                  TraceLog(0).Write(4, "%n%s%d", true);
                  TraceLog(0).Format(4, "%d%% of %s, %%n", 7, "%n");
                  TraceLog(0).Format(4, nullptr);
                  TraceLog(0).Write(4, nullptr, true);
                  if (written != 0) TraceLog(0).Write(0, "written", true);
              }),
              (Texts{"Error in formatting Parameters for Log!!!!", "Error in formatting Parameters for Log!!!!",
                     "%n%s%d", "7% of %n, %n"}));
}

TEST_F(TraceLogTest, BannerAndTermination) {
    InChild([&] {
        auto start = Options();
        start.banner = true;
        start.bannerText = "build 7";
        TraceLog::Start(start);
        TraceLog::Start(start);
        TraceLog::StopLogging(false);
        TraceLog(0).Write(0, "after the end", true);
        TraceLog::Start(start);
        TraceLog(0).Write(0, "and no new start", true);
        return std::string();
    });
    const auto log = ReadBytes(file);
    EXPECT_EQ(Lines(log), (Texts{"Starting Program/DLL \"tester\"", "build 7",
                                 "Program/DLL \"tester\" terminated correctly", "", ""}));
    EXPECT_TRUE(log.ends_with("\" terminated correctly\r\n\r\n\r\n"));
    InChild([&] {
        TraceLog::Start(Options());
        TraceLog(0).Write(0, "line", true);
        TraceLog::StopLogging(true);
        return std::string();
    });
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(TraceLogTest, FirstLineStartsTheLogWithAWarning) {
    const std::string path = InChild([] {
        errno = 0;
        TraceLog(9).Write("does not pass", true);
        if (TraceLog::GetLogFileName().GetLength() > 0) return std::string("began too early");
        TraceLog(4).Write("passes", true);
        return std::string(TraceLog::GetLogFileName());
    });
    EXPECT_EQ(std::filesystem::path(path).parent_path(), folders / "state");
    EXPECT_EQ(Lines(ReadBytes(path)), (Texts{"warning calling TraceLog without initializing", "passes"}));
    InChild([] {
        errno = 0;
        errno = ENOTTY;
        LogLine(4, "file", 1, "from the library");
        if (errno != ENOTTY) LogLine(4, "file", 1, "errno was changed");
        return std::string();
    });
    EXPECT_EQ(Lines(ReadBytes(path)).back(), "from the library");
    EXPECT_EQ(Lines(ReadBytes(path)).size(), 3u) << "the library begins without a warning";
}

TEST_F(TraceLogTest, SettingsNameTheFolder) {
    WriteBytes(folders / "program/Velda.inf", "[TMGallery]\nCompany=V\nProduct=G\nVersion=7\nShortId=TMG\n");
    (void)RegistryWrite(HKEY_LOCAL_MACHINE, {{"Software\\V\\G\\7\\Datapaths", "ActivePath", "2"},
                                             {"Software\\V\\G\\7\\Datapaths", "Path2", (folders / "data").string()}});
    std::filesystem::create_directory(folders / "data");
    WriteBytes(folders / "data/Relax.ini", "[TMG_#_Locations]\nLog=" + (folders / "data/logs/deep").string() + "\n");
    InChild([&] {
        auto start = Options();
        start.folder = "";
        TraceLog::Start(start);
        errno = 0;
        TraceLog(0).Write(4, "here", true);
        return std::string();
    });
    EXPECT_EQ(Lines(ReadBytes(folders / "data/logs/deep" / file.filename())), Texts{"here"});
}

TEST_F(TraceLogTest, SomeProgramsLogElsewhereOrNotAtAll) {
    const auto start = [&](const char* program, const char* module) {
        return InChild([&] {
            auto options = Options();
            options.program = program;
            options.moduleName = module;
            TraceLog::Start(options);
            TraceLog(0).Write(4, "line", true);
            const std::string name(TraceLog::GetLogFileName());
            TraceLog::StopLogging(true);
            return name;
        });
    };
    EXPECT_EQ(start("tmgupdate", ""), "");
    EXPECT_EQ(start("TMUninstall", ""), "");
    EXPECT_EQ(start("anira", ""), "");
    EXPECT_EQ(start("anis", "other"), "");
    EXPECT_EQ(start("anis", "TMSE"), (std::filesystem::temp_directory_path() / LogFileName("TMSE", Today())).string());
    EXPECT_EQ(start("x", "TMSE"), (folder / LogFileName("TMSE", Today())).string());
    EXPECT_EQ(start("ab", ""), (folder / LogFileName("ab", Today())).string());
}

TEST_F(TraceLogTest, LastLineIsKeptAndShown) {
    const std::string seen = InChild([&] {
        TraceLog::Start(Options());
        SetDebugOutput(KeepDebugText);
        TraceLog(0).Write(4, "plain", false);
        std::string all = TraceLog::GetLastLogEntry();
        errno = EPERM;
        TraceLog(0).Write(4, "with error", true);
        all += std::string("|") + (std::strchr(TraceLog::GetLastLogEntry(), '\t') + 1);
        TraceLog(0).Write(9, "not written", false);
        all += std::string("|") + (std::strchr(TraceLog::GetLastLogEntry(), '\t') + 1);
        TraceLog(0).Write(4, std::string(9000, 'l').c_str(), false);
        all += "|" + std::to_string(std::strlen(TraceLog::GetLastLogEntry()));
        return all + "|" + debugText.substr(0, 6);
    });
    EXPECT_EQ(seen,
              "plain|with error\t\t\t\tError: Operation not permitted|with error\t\t\t\tError: Operation not permitted|"
              "4047|plain\n");
}

TEST_F(TraceLogTest, RingIsDumpedOnRequest) {
    const auto lines = Logged([] {
        SetDebugOutput(KeepDebugText);
        TraceLog log(9);
        TraceLog::SetBeep(false);
        TraceLog::SetMemoryRing(true);
        errno = EPERM;
        log.Write("told and remembered", true);
        log.Write("not remembered", false);
        log.Write("remembered", true);
        TraceLog::RequestDump();
        log.Write("asks", true);
        log.Write("small again", true);
        TraceLog::SetBeep(true);
        TraceLog::RequestDump();
        log.Write("asks for everything", true);
        log.Write("small but logged", true);
        TraceLog(0).Write(
            0, debugText.find("The last 5000 lines have been dumped.\n") != std::string::npos ? "told" : "", false);
    });
    const std::string stars(20, '*');
    const std::string begin = stars + "B*A*C*K*T*R*A*C*E***S*T*A*R*T*S***H*E*R*E" + stars;
    const std::string end = stars + "B*A*C*K*T*R*A*C*E***E*N*D*S***H*E*R*E" + stars;
    const std::string error = "\t\t\t\tError: Operation not permitted";
    EXPECT_EQ(lines, (Texts{"[1]told and remembered", error, begin, "[1]told and remembered", error, "remembered", end,
                            "asks", begin, "small again", end, "asks for everything", "small but logged", "told"}));
}

TEST_F(TraceLogTest, RingHolds5000Lines) {
    const auto lines = Logged([] {
        TraceLog log(9);
        TraceLog::SetMemoryRing(true);
        for (int i = 0; i < 5010; ++i) log.Format(9, "line %d", i);
        log.DumpStack();
        log.ClearMemory();
        log.DumpStack();
    });
    ASSERT_EQ(lines.size(), 5000u + 2 + 2);
    EXPECT_EQ(lines[1], "line 10");
    EXPECT_EQ(lines[5000], "line 5009");
}

TEST_F(TraceLogTest, AppendsWholeFiles) {
    const std::string text = std::string(10000, 'a') + "\n" + std::string("binary \0 too\n", 13);
    WriteBytes(folders / "source.txt", text);
    const std::string answers = InChild([&] {
        std::string results;
        TraceLog log(0);
        results += log.AppendFileToLog((folders / "source.txt").c_str()) ? '1' : '0';
        TraceLog::Start(Options());
        results += log.AppendFileToLog((folders / "source.txt").c_str()) ? '1' : '0';
        results += log.AppendFileToLog((folders / "none.txt").c_str()) ? '1' : '0';
        results += log.AppendFileToLog(folder.c_str()) ? '1' : '0';
        results += log.AppendFileToLog(nullptr) ? '1' : '0';
        return results;
    });
    EXPECT_EQ(answers, "01000");
    const std::string hyphens = std::string(63, '-') + "\r\n";
    const std::string first = ReadBytes(file);
    EXPECT_EQ(first, hyphens + "Appending File " + (folders / "source.txt").string() + "\r\n" + hyphens + hyphens +
                         text + hyphens + hyphens);

    Logged([&] { TraceLog(0).AppendFileToLog(file.c_str()); });
    EXPECT_EQ(ReadBytes(file), first + hyphens + "Appending File " + file.string() + "\r\n" + hyphens + hyphens +
                                   first + hyphens + hyphens)
        << "the log itself, as it was";
}

TEST_F(TraceLogTest, OldLogsGoByTheDateInTheirName) {
    std::filesystem::create_directory(folder);
    const struct {
        const char* name;
        bool goesOnTheFirst;
        bool goesOnTheSecond;
    } cases[] = {
        {"anir(2006-05-01).log", false, true},    {"anir(2006-04-30).log", true, true},
        {"anir(2005-12-31).log", true, true},     {"anir(2006-05-02).log", false, false},
        {"anir(2007-01-01).log", false, false},   {"logs(2006-05-01).zip", false, true},
        {"logs(2006-05-01).zap", false, false},   {"anir(2006-05-01).zip", false, false},
        {"TMG_FTP(2006-05-01).log", false, true}, {"TMG_FTP(2006-05-01)x.log", false, false},
        {"ani(2006-05-01).log", false, false},    {"anir(two thousand).log", false, false},
        {"anir(2006-05-1).log", false, false},    {"anir(2006-05-01) copy.log", false, true},
        {"anir(2006-05-01.log", false, false},    {"x.log", false, false},
    };
    for (const int day : {1, 2}) {
        for (const auto& c : cases) WriteBytes(folder / c.name, "x");
        DeleteOldLogs(folder, MonthBefore({2006, 6, day}));
        for (const auto& c : cases)
            EXPECT_EQ(!std::filesystem::exists(folder / c.name), day == 1 ? c.goesOnTheFirst : c.goesOnTheSecond)
                << c.name << " on the " << day;
    }
    const LogDate january = MonthBefore({2006, 1, 31});
    EXPECT_EQ(january.year * 10000 + january.month * 100 + january.day, 20051231);
    EXPECT_EQ(LogFileName("kest", {2006, 5, 1}), "kest(2006-05-01).log");
    DeleteOldLogs(folders / "no such folder", {2006, 1, 1});

    WriteBytes(folder / "anir(2006-05-01).log", "x");
    Logged([] {});
    EXPECT_FALSE(std::filesystem::exists(folder / "anir(2006-05-01).log")) << "starting deletes";
}

TEST_F(TraceLogTest, LogThatCannotBeOpenedIsToldOnce) {
    const auto attempt = [&](const std::string& where) {
        return InChild([&] {
            SetLogFailureBox(
                [](const char* title, const char* text) { (debugText += title).append("|").append(text); });
            auto start = Options();
            start.folder = where.c_str();
            for (int i = 0; i < 3; ++i) {
                TraceLog::Start(start);
                TraceLog(0).Write(0, "line", true);
            }
            return debugText;
        });
    };
    WriteBytes(folders / "file", "");
    const std::string told = attempt((folders / "file/log").string());
    EXPECT_EQ(told, "Log Error|Error creating or opening the log file " +
                        (folders / "file/log" / file.filename().string()).string() + "\nLogging is disabled");
    EXPECT_TRUE(attempt("/" + std::string(300, 'l')).starts_with("Log Error|"));
    std::filesystem::create_directories(folder);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_TRUE(attempt(folder.string()).starts_with("Log Error|")) << "a pipe is no log";
}

TEST_F(TraceLogTest, FullDiskIsToldToTheDebugOutput) {
    const std::string told = InChild([&] {
        TraceLog::Start(Options());
        TraceLog(0).Write(4, "fits", false);
        SetDebugOutput(KeepDebugText);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{10, 10};  // bytes in a file
        setrlimit(RLIMIT_FSIZE, &limit);
        TraceLog(0).Write(4, "does not fit", false);
        TraceLog(0).Write(4, "nor this", false);
        return debugText;
    });
    EXPECT_EQ(told, "does not fit\nERROR on writing to LogFilenor this\nERROR on writing to LogFile");
    EXPECT_EQ(ReadBytes(file), "fits\r\n") << "no part of a line";
}

TEST_F(TraceLogTest, JournalWritesEveryLine) {
    InChild([&] {
        auto start = Options();
        start.journal = true;
        TraceLog::Start(start);
        std::vector<std::thread> writers;
        for (int w = 0; w < 4; ++w)
            writers.emplace_back([w] {
                TraceLog log(3);
                for (int i = 0; i < 2000; ++i) log.Format(-1, "%d:%d", w, i);
                log.Write(5, "does not pass", true);
            });
        for (auto& writer : writers) writer.join();
        TraceLog(2).Write("bare", false);
        TraceLog::StopLogging(false);
        return std::string();
    });
    std::map<int, int> next;
    int other = 0;
    for (const auto& line : Lines(ReadBytes(file))) {
        int writer = 0;
        int number = 0;
        if (std::sscanf(line.c_str(), "[3]%d:%d", &writer, &number) == 2)
            EXPECT_EQ(next[writer]++, number);
        else
            ++other;
    }
    for (int w = 0; w < 4; ++w) EXPECT_EQ(next[w], 2000);
    EXPECT_EQ(other, 5) << "the thread's own line, the bare one, the end with its two line ends";
}

TEST_F(TraceLogTest, JournalStampHoldsTheLevel) {
    InChild([&] {
        auto start = Options();
        start.journal = true;
        TraceLog::Start(start);
        errno = ENOENT;
        TraceLog(3).Write("text", true);
        TraceLog::StopLogging(false);
        return std::string();
    });
    const auto log = ReadBytes(file);
    const auto line = log.substr(0, log.find("\r\n"));
    EXPECT_EQ(line.substr(12, 6), "    3 ") << log;
    EXPECT_TRUE(line.ends_with("\ttext")) << log;
    EXPECT_NE(log.find("   -1 "), std::string::npos) << log;
    EXPECT_NE(log.find("\tJournalThread starting.\r\n"), std::string::npos) << log;
}

TEST_F(TraceLogTest, ChildOfAForkGoesOn) {
    for (const bool journal : {false, true}) {
        std::filesystem::remove(file);
        InChild([&] {
            auto start = Options();
            start.journal = journal;
            TraceLog::Start(start);
            TraceLog(4).Write("parent", false);
            InChild([] {
                for (int i = 0; i < 500; ++i) TraceLog(4).Write("child", false);
                TraceLog::StopLogging(false);
                return std::string();
            });
            TraceLog(4).Write("parent", false);
            TraceLog::StopLogging(false);
            return std::string();
        });
        std::map<std::string, int> count;
        for (const auto& line : Lines(ReadBytes(file))) ++count[line];
        EXPECT_EQ(count["parent"], 2) << journal;
        EXPECT_EQ(count["child"], 500) << journal;
    }
}

TEST_F(TraceLogTest, NothingIsGluedToWhatStandsBehindTheLastLineFeed) {
    std::filesystem::create_directory(folder);
    const struct {
        std::string before;
        std::string after;
    } cases[] = {
        {"whole\r\nhalf a li", "whole\r\nhalf a li\r\nnext\r\n"},
        {"only half", "only half\r\nnext\r\n"},
        {"", "next\r\n"},
        {"\n", "\nnext\r\n"},
        {"x\r\n\t\t Error: ", "x\r\n\t\t Error: next\r\n"},
        {"\t\t Error: ", "\t\t Error: next\r\n"},
        {"x\t\t Error: ", "x\t\t Error: \r\nnext\r\n"},
        {std::string(100000, 'b'), std::string(100000, 'b') + "\r\nnext\r\n"},
    };
    for (const auto& c : cases) {
        WriteBytes(file, c.before);
        Logged([] { TraceLog(4).Write("next", false); });
        EXPECT_EQ(ReadBytes(file), c.after);
    }
}

TEST_F(TraceLogTest, ProcessesLoseNoLine) {
    constexpr int kProcesses = 4;
    constexpr int kLines = 1500;
    std::vector<pid_t> children;
    std::vector<pid_t> victims;
    for (int p = 0; p < kProcesses + 2; ++p) {
        const pid_t child = fork();
        if (child == 0) {
            TraceLog::Start(Options());
            errno = 0;
            TraceLog log(4);
            for (int i = 0; p >= kProcesses || i < kLines; ++i) log.Format(4, "<%d %d %s>", p, i, "and some more text");
            _exit(0);
        }
        (p < kProcesses ? children : victims).push_back(child);
    }
    for (const pid_t victim : victims) {
        usleep(20000);
        kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
    }
    for (const pid_t child : children) waitpid(child, nullptr, 0);
    std::map<int, int> next;
    std::size_t pieces = 0;
    for (const auto& line : Lines(ReadBytes(file))) {
        int process = -1;
        int number = -1;
        int end = 0;
        std::sscanf(line.c_str(), "<%d %d and some more text>%n", &process, &number, &end);
        if (end == 0) {
            ++pieces;
            continue;
        }
        ASSERT_EQ(static_cast<std::size_t>(end), line.size()) << line;
        ASSERT_EQ(next[process]++, number) << line;
    }
    EXPECT_LE(pieces, victims.size()) << "a victim may die within its line";
    for (int p = 0; p < kProcesses; ++p) EXPECT_EQ(next[p], kLines);
}

/// Another process that holds the log until the end of the object.
class Holder {
public:
    explicit Holder(const std::filesystem::path& file) {
        std::filesystem::create_directories(file.parent_path());
        process_ = fork();
        if (process_ == 0) {
            const int descriptor = open(file.c_str(), O_RDWR | O_CREAT, 0666);
            if (flock(descriptor, LOCK_EX) != 0 || write(descriptor, "held", 4) != 4) _exit(1);
            pause();
        }
        while (ReadBytes(file) != "held") usleep(1000);
    }
    ~Holder() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    pid_t process_;
};

double SecondsOf(const auto& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}
constexpr double kFarBelowOneWait = 8;  // one line may wait 10 seconds

TEST_F(TraceLogTest, HeldLogDelaysARunByItsBoundOnly) {
    const Holder holder(file);
    for (const bool journal : {false, true})
        EXPECT_EQ(InChild([&] {
                      auto start = Options();
                      start.banner = true;
                      start.journal = journal;
                      start.waitInAll = 50;
                      const double seconds = SecondsOf([&] {
                          TraceLog::Start(start);
                          for (int i = 0; i < 400; ++i) TraceLog(0).Write("line", true);
                          TraceLog::StopLogging(false);
                      });
                      return std::string(seconds < 0.05 ? "did not wait" : seconds < kFarBelowOneWait ? "" : "waited");
                  }),
                  "")
            << journal;
    EXPECT_EQ(ReadBytes(file), "held");
}

TEST_F(TraceLogTest, OnlyTheJournalWaitsForAHeldLog) {
    const Holder holder(file);
    EXPECT_EQ(InChild([&] {
                  auto start = Options();
                  start.journal = true;
                  TraceLog::Start(start);
                  TraceLog(4).Write("line", true);
                  const double asked = SecondsOf([] {  // until the thread has surely met the lock
                      for (const auto begin = time(nullptr); time(nullptr) < begin + 2;) TraceLog::GetLogFileName();
                  });
                  const double forked = SecondsOf([] { InChild([] { return std::string(); }); });
                  const double ended = SecondsOf([] { TraceLog::StopLogging(false); });
                  return std::string(asked < kFarBelowOneWait ? "" : "name waits ") +
                         (forked < kFarBelowOneWait ? "" : "fork waits ") +
                         (ended < kFarBelowOneWait ? "" : "end waits");
              }),
              "");
}

TEST_F(TraceLogTest, ProgramThatStopsFirstTouchesNoLog) {
    const std::string facts = InChild([&] {
        TraceLog::StopLogging(false);
        TraceLog::Start(Options());
        TraceLog(0).Write("line", true);
        LogLine(0, "file", 1, "from the library");
        return std::string(TraceLog::GetLogFileName());
    });
    EXPECT_EQ(facts, "");
    EXPECT_FALSE(std::filesystem::exists(folder) || std::filesystem::exists(folders / "state"));
}

TEST_F(TraceLogTest, LockOfADeadProcessFalls) {
    pid_t writer;
    {
        const Holder holder(file);
        writer = fork();
        if (writer == 0) {
            TraceLog::Start(Options());
            TraceLog(4).Write("waited", false);
            _exit(0);
        }
    }
    waitpid(writer, nullptr, 0);
    EXPECT_EQ(ReadBytes(file), "held\r\nwaited\r\n");
}

}  // namespace
}  // namespace kestrel
