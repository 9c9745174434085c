#pragma once
#include <functional>
#include <string>
#include <vector>

#include "apps/kestrel/CommandOutline.h"

namespace CLI {
class App;
}

/// A command of the program, as the file that implements it declares it: from these declarations come `--help` and the
/// reading of the command line. Values stay where the caller keeps them and must live until the command has run.
class Command {
public:
    /// `declares`: what belongs to the command may be used; otherwise its name is all that is known of it.
    Command(CLI::App& app, bool declares) : app_(&app), declares_(declares) {}

    Command Subcommand(const char* name, const char* text) const;
    /// A command for other programs, which `--help` does not list, and which may tell about all others: they are added
    /// after it.
    Command HiddenSubcommand(const char* name, const char* text) const;
    /// A word at its place in the command; required.
    void Argument(const char* name, std::string& value, const char* text) const;
    void OptionalArgument(const char* name, std::string& value, const char* text) const;
    /// All words that are left.
    void Words(const char* name, std::vector<std::string>& values, const char* text) const;
    /// One word or more.
    void Arguments(const char* name, std::vector<std::string>& values, const char* text) const;
    /// An option with one value that is not empty, as an unset variable of a script would make it.
    void Option(const char* names, std::string& value, const char* type, const char* text) const;
    /// An option that may be given again; each use takes `words` values, which are appended.
    void Repeatable(const char* names, std::vector<std::string>& values, int words, const char* type,
                    const char* text) const;
    void Flag(const char* names, bool& value, const char* text) const;
    /// A flag that may have a value after "="; without one it takes `usual`.
    void FlagWithValue(const char* name, std::string& value, const char* usual, const char* text) const;
    /// What `--help` prints at its end.
    void Footer(const char* text) const;

    /// Commands that only print information leave no line in the log and never wait for it.
    enum class Log { kNo, kYes };
    /// What the command does; its result is the program's exit code.
    void Run(Log log, std::function<int()> run) const;

    /// This command and those below it, without the hidden ones; complete once all of them have added themselves.
    OutlinedCommand Outline() const;

private:
    CLI::App* app_;
    bool declares_;
};

/// Lets each of `commands` add itself to the program, reads the command line and runs the command that it names. Every
/// failure is reported in one line on standard error; the result is the program's exit code.
int RunCommandLine(int argc, char** argv, const std::vector<void (*)(const Command& program)>& commands);
