// Hard times for the log and the settings: many processes at once, kills at any moment, and what a line costs.
#include <fmt/format.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/settings/RegistryKeys.h"
#include "kestrel/settings/TMRegistry.h"

namespace {

using namespace kestrel;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 8;
constexpr int kLines = 20000;
constexpr int kTimedRuns = 10;
constexpr int kTimedLines = 20000;
constexpr int kKills = 1000;

bool failed = false;

void Tell(bool good, const std::string& text) {
    fmt::print("{}  {}\n", good ? "good" : "BAD ", text);
    std::fflush(stdout);
    failed = failed || !good;
}

pid_t Child(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    work();
    _exit(0);
}

void Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
}

void Kill(pid_t child) {
    kill(child, SIGKILL);
    Wait(child);
}

void StartLog(const fs::path& folder, bool journal) {
    TraceLogStart start;
    start.program = "torture";
    start.folder = folder.c_str();
    start.journal = journal;
    TraceLog::Start(start);
}

fs::path OnlyFile(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder)) return entry.path();
    return {};
}

/// Eight processes write numbered lines; the first `victims` of them are killed on the way.
void WriteTogether(const fs::path& folder, bool journal, int victims) {
    std::vector<pid_t> children;
    children.reserve(kProcesses);
    const auto begin = Clock::now();
    for (int p = 0; p < kProcesses; ++p)
        children.push_back(Child([&, p] {
            StartLog(folder, journal);
            errno = 0;
            TraceLog log(4);
            for (int i = 0; i < kLines; ++i) log.Format(4, "<%d %d and what a filter had to say about it>", p, i);
            TraceLog::StopLogging(false);
        }));
    for (int p = 0; p < victims; ++p) {
        usleep(30000);
        Kill(children[static_cast<std::size_t>(p)]);
    }
    for (int p = victims; p < kProcesses; ++p) Wait(children[static_cast<std::size_t>(p)]);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();

    std::map<int, int> next;
    int broken = 0;
    std::ifstream log(OnlyFile(folder), std::ios::binary);
    for (std::string line; std::getline(log, line);) {
        const auto text = line.find('\t');
        if (text == std::string::npos || line[text + 1] != '<') {
            const bool known = line == "\r" || line.find("terminated correctly") != std::string::npos ||
                               line.find("JournalThread starting.") != std::string::npos;
            broken += !known;
            continue;
        }
        int process = -1;
        int number = -1;
        int end = 0;
        const int read = std::sscanf(line.c_str() + text, "\t<%d %d and what a filter had to say about it>%n", &process,
                                     &number, &end);
        const bool whole = read == 2 && end > 0 && line.substr(text + static_cast<std::size_t>(end)) == "\r";
        broken += !(whole && next[process]++ == number);
    }
    int lost = 0;
    for (int p = victims; p < kProcesses; ++p) lost += kLines - next[p];
    Tell(broken <= victims && lost == 0,  // who is killed may leave a piece of a line
         fmt::format("{} processes of {} lines, {}, {} killed: {} lost, {} broken or out of order, {:.1f} s",
                     kProcesses, kLines, journal ? "journal" : "plain", victims, lost, broken, seconds));
    fs::remove_all(folder);
}

/// What a line costs its caller.
void Measure(const fs::path& folder, bool journal, double bound) {
    const pid_t child = Child([&] {
        StartLog(folder, journal);
        errno = 0;
        TraceLog log(4);
        double cost = 1e9;  // the best of some runs: others use the machine too
        for (int run = 0; run < kTimedRuns; ++run) {
            const auto begin = Clock::now();
            for (int i = 0; i < kTimedLines; ++i) log.Format(4, "filter %d took %d rows", i & 31, i);
            const std::chrono::duration<double, std::micro> taken = Clock::now() - begin;
            cost = std::min(cost, taken.count() / kTimedLines);
        }
        TraceLog::StopLogging(false);
        Tell(cost < bound, fmt::format("a line in {} mode costs {:.2f} microseconds (bound {})",
                                       journal ? "journal" : "plain", cost, bound));
        _exit(failed ? 1 : 0);
    });
    int status = 0;
    waitpid(child, &status, 0);
    failed = failed || status != 0;
    fs::remove_all(folder);
}

/// A writer is killed again and again; `check` returns what is wrong afterwards.
void KillWriters(const char* name, const std::function<void(int)>& write, const std::function<std::string()>& check) {
    std::mt19937 random(1);
    int bad = 0;
    std::string first;
    for (int round = 0; round < kKills; ++round) {
        const pid_t child = Child([&] {
            for (int i = round;; ++i) write(i);
        });
        usleep(static_cast<useconds_t>(random() % 12000));
        Kill(child);
        if (const std::string wrong = check(); !wrong.empty()) {
            if (bad++ == 0) first = ", first: " + wrong;
        }
    }
    Tell(bad == 0, fmt::format("{} kills while {} are written: {} left them broken{}", kKills, name, bad, first));
}

std::string Long(int value) { return std::to_string(value) + std::string(6000, 'x'); }

void Run(const fs::path& root) {
    for (const bool journal : {false, true}) {
        WriteTogether(root / "log", journal, 0);
        WriteTogether(root / "log", journal, 2);
    }
    Measure(root / "log", false, 20);
    Measure(root / "log", true, 2);

    (void)RegistryWrite(HKEY_CURRENT_USER, {{"K", "one", "0"}, {"K", "two", "0"}});
    KillWriters(
        "settings",
        [](int i) {
            (void)RegistryWrite(HKEY_CURRENT_USER, {{"K", "one", Long(i)}, {"K", "two", Long(i)}});
        },
        [] {
            QvString one;
            QvString two;
            const int status =
                RegistryRead(HKEY_CURRENT_USER, "K", "one", one) | RegistryRead(HKEY_CURRENT_USER, "K", "two", two);
            return status != kSuccess ? fmt::format("status {}", status) : one != two ? "two values differ" : "";
        });

    const std::string inf = "[TMGallery]\nCompany=V\nProduct=G\nVersion=1\nShortId=T\n";
    fs::create_directory(root / "program");
    std::ofstream(root / "program/Velda.inf") << inf;
    TMRegistry settings;
    (void)settings.WriteText(SettingsPlace::kIniFile, "S", "k", Long(0).c_str());
    KillWriters(
        "ini files", [&](int i) { (void)settings.WriteText(SettingsPlace::kIniFile, "S", "k", Long(i).c_str()); },
        [&] {
            QvString text;
            const int status = settings.ReadText(SettingsPlace::kIniFile, "S", "k", text);
            if (status != kSuccess) return fmt::format("status {}", status);
            return std::string(text) == Long(std::atoi(text)) ? std::string() : "a value that nobody wrote";
        });
}

}  // namespace

int main() {
    std::string name = (fs::temp_directory_path() / "kestrel-torture-XXXXXX").string();
    if (!mkdtemp(name.data())) return 1;
    for (const char* kind : {"CONFIG", "SYSTEM", "STATE", "PROGRAM"}) {
        std::string folder = kind;
        for (char& c : folder) c = static_cast<char>(c + 32);
        setenv(fmt::format("KESTREL_{}_DIR", kind).c_str(), (fs::path(name) / folder).c_str(), 1);
    }
    Run(name);
    std::error_code ignored;
    fs::remove_all(name, ignored);
    return failed ? 1 : 0;
}
