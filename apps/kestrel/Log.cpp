#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/diagnostics/TraceLog.h"

namespace {

constexpr useconds_t kLookAgain = 250'000;  // microseconds

/// Copies what the file holds from `position` on; returns where it ended.
std::streamoff PrintFrom(const std::string& path, std::streamoff position) {
    std::ifstream log(path, std::ios::binary);
    log.seekg(0, std::ios::end);
    if (!log) return 0;
    if (log.tellg() < position) position = 0;  // it was begun anew
    log.seekg(position);
    char chunk[4096];
    while (log.read(chunk, sizeof chunk), log.gcount() > 0) {
        position += log.gcount();
        char* const end = std::remove(chunk, chunk + log.gcount(), '\r');
        console::Print({chunk, static_cast<std::size_t>(end - chunk)});
    }
    console::FlushOutput();
    return position;
}

struct Options {
    std::string name = "kestrel";
    bool follow = false;
};

int Run(const Options& options) {
    const std::string path(kestrel::TodaysLog(options.name.c_str()));
    std::streamoff position = PrintFrom(path, 0);
    if (position == 0) console::Note(fmt::format("{}: nothing was logged today", path));
    while (options.follow) {
        usleep(kLookAgain);
        position = PrintFrom(path, position);
    }
    return console::kDone;
}

}  // namespace

void AddLog(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("log", "Print today's log");
    command.Flag("-f,--follow", options->follow, "Go on with what is written from now on");
    command.Option("--program", options->name, "NAME", "Whose log; this program's own without it");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
