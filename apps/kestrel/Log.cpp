#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "kestrel/diagnostics/TraceLog.h"

namespace {

constexpr useconds_t kLookAgain = 250'000;  // microseconds

/// Copies what the file holds from `position` on; gives where it ended.
std::streamoff PrintFrom(const std::string& path, std::streamoff position) {
    std::ifstream log(path, std::ios::binary);
    log.seekg(0, std::ios::end);
    if (!log) return 0;
    if (log.tellg() < position) position = 0;  // it was begun anew
    log.seekg(position);
    char chunk[4096];
    while (log.read(chunk, sizeof chunk), log.gcount() > 0) {
        position += log.gcount();
        for (std::streamsize i = 0; i < log.gcount(); ++i)
            if (chunk[i] != '\r') std::putchar(chunk[i]);
    }
    std::fflush(stdout);
    return position;
}

}  // namespace

void AddLog(CLI::App& program) {
    struct Options {
        std::string name = "kestrel";
        bool follow = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("log", "Print today's log");
    command.add_flag("-f,--follow", options->follow, "Go on with what is written from now on");
    command.add_option("--program", options->name, "Whose log; this program's own without it")->type_name("NAME");
    command.final_callback([options] {
        const std::string path(kestrel::TodaysLog(options->name.c_str()));
        std::streamoff position = PrintFrom(path, 0);
        if (position == 0) console::Note(fmt::format("{}: nothing was logged today", path));
        while (options->follow && !std::ferror(stdout)) {
            usleep(kLookAgain);
            position = PrintFrom(path, position);
        }
    });
}
