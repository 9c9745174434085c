#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <system_error>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/foundation/Version.h"

namespace {

int Run(int argc, char** argv) {
    CLI::App program{
        "Kestrel turns pictures into pictures: exact, repeatable filters, and chains of them that are\n"
        "one text.",
        "kestrel"};
    program.set_version_flag("--version", std::string("kestrel ") + kestrel::Version() +
                                              "\nExact image filters and chains. Apache License 2.0; no warranty.");
    program.require_subcommand(1);
    program.get_formatter()->column_width(32);
    program.footer(
        "\"kestrel COMMAND --help\" tells a command's options.\n\n"
        "Exit codes: 0 done; 1 the work failed, or some of it; 2 the command was wrong;\n130 interrupted.");
    AddApply(program);
    AddFilters(program);
    AddDescribe(program);
    AddColor(program);
    AddSettings(program);
    AddLog(program);
    try {
        program.parse(argc, argv);
        return console::kDone;
    } catch (const CLI::RuntimeError& error) {
        return error.get_exit_code();
    } catch (const CLI::Success& success) {
        return program.exit(success);
    } catch (const CLI::ParseError& error) {
        const bool nothing = argc == 1;
        console::Error(nothing ? "say what to do: \"kestrel --help\" lists the commands"
                               : fmt::format("{} (\"kestrel --help\" tells more)", error.what()));
        return console::kUsage;
    } catch (const console::UsageError& error) {
        console::Error(error.message);
        return console::kUsage;
    } catch (const console::Failure& failure) {
        console::Error(failure.message);
    } catch (const std::system_error& error) {
        if (error.code().value() != EPIPE) console::Error(fmt::format("the work failed: {}", error.what()));
    } catch (const std::bad_alloc&) {
        console::Error("there is not enough memory");
    } catch (const std::exception& error) {
        console::Error(fmt::format("the work failed: {}", error.what()));
    }
    return console::kFailed;
}

/// The command as it was given, in the log of the day. Nothing of the log is shown here, and no log is no failure.
void LogCommand(int argc, char** argv) {
    kestrel::TraceLogStart start;
    start.program = "kestrel";
    kestrel::TraceLog::Start(start);
    std::string command = "kestrel";
    for (int i = 1; i < argc; ++i) command.append(" ").append(argv[i]);
    console::Log(command);
}

}  // namespace

int main(int argc, char** argv) {
    interrupt::Listen();
    LogCommand(argc, argv);
    int code = Run(argc, argv);
    console::ClearProgress();
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        // A reader that has seen enough, such as head, needs no message.
        if (code == console::kDone && errno != EPIPE)
            console::Error(fmt::format("standard output: cannot be written: {}", std::strerror(errno)));
        if (code == console::kDone) code = console::kFailed;
    }
    return code;
}
