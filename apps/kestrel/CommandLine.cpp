// The only file that includes the command line library, whose headers take seconds to compile.
#include "apps/kestrel/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <new>
#include <string_view>

#include "apps/kestrel/Console.h"
#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/foundation/NearestWord.h"
#include "kestrel/foundation/Version.h"

namespace {

CLI::Validator NotEmpty() {
    return {[](std::string& value) { return std::string(value.empty() ? "it is empty" : ""); }, ""};
}

/// The command line as it was given; options of later arguments may hold anything, so that `Log` shows it plainly.
std::string commandAsGiven;

/// Which commands the command line may mean. A command that it does not name is one of a list: what belongs to it is
/// not declared, which takes longer than to invert a small picture.
struct NamedCommands {
    std::vector<std::string_view> words;
    bool all = false;  ///< one is named that tells about all of them

    bool Has(std::string_view name) const { return all || std::ranges::find(words, name) != words.end(); }
} named;

/// Refuses a word in the place of a command that is none, and says which one may have been meant.
void CheckCommandNames(CLI::App& program, int argc, char** argv) {
    CLI::App* command = &program;
    for (int i = 1; i < argc && argv[i][0] != '-'; ++i) {
        const auto choices = command->get_subcommands({});
        if (choices.empty()) return;
        std::vector<std::string> names;
        command = nullptr;
        for (CLI::App* choice : choices) {
            names.push_back(choice->get_name());
            if (names.back() == argv[i]) command = choice;
        }
        if (command) continue;
        const std::string near = kestrel::NearestWord(argv[i], names);
        throw console::UsageError{fmt::format(
            "there is no command \"{}\"; {}", argv[i],
            near.empty() ? "\"kestrel --help\" lists the commands" : fmt::format("did you mean {}?", near))};
    }
}

OutlinedOption OutlineOf(const CLI::Option& option) {
    OutlinedOption outlined;
    for (const auto& name : option.get_snames()) outlined.names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) outlined.names.push_back("--" + name);
    if (outlined.names.empty()) outlined.names.push_back(option.get_name());
    outlined.type = option.get_type_name();
    outlined.text = option.get_description();
    std::replace(outlined.text.begin(), outlined.text.end(), '\n', ' ');
    outlined.values = option.get_type_size();
    outlined.required = option.get_required();
    outlined.repeatable = option.get_expected_max() > 1;
    return outlined;
}

OutlinedCommand OutlineOf(const CLI::App& command) {
    OutlinedCommand outlined{command.get_name(), command.get_description(), command.get_footer(), {}, {}, {}};
    if (command.get_parent() && outlined.footer == command.get_parent()->get_footer()) outlined.footer.clear();
    for (const CLI::Option* option : command.get_options({}))
        (option->get_positional() ? outlined.words : outlined.options).push_back(OutlineOf(*option));
    for (const CLI::App* below : command.get_subcommands({}))
        if (!below->get_group().empty()) outlined.commands.push_back(OutlineOf(*below));
    return outlined;
}

/// What the command line library found wrong, and whose help tells more: that of the innermost command that was named.
std::string Explained(const CLI::App& program, const CLI::ParseError& error) {
    const CLI::App* command = &program;
    std::string name = program.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    const bool isIncomplete = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    if (isIncomplete && !command->get_subcommands({}).empty())
        return fmt::format("say what to do: \"{} --help\" lists the commands", name);
    return fmt::format("{} (\"{} --help\" tells more)", error.what(), name);
}

int Parse(CLI::App& program, int argc, char** argv) {
    int code = console::kDone;
    try {
        CheckCommandNames(program, argc, argv);
        program.parse(argc, argv);
    } catch (const CLI::RuntimeError& error) {
        code = error.get_exit_code();
    } catch (const CLI::CallForVersion& version) {
        console::Print(version.what() + std::string("\n"));
    } catch (const CLI::CallForHelp&) {
        console::Print(program.help());
    } catch (const CLI::ParseError& error) {
        throw console::UsageError{Explained(program, error)};
    }
    console::FlushOutput();
    return code;
}

}  // namespace

Command Command::Subcommand(const char* name, const char* text) const {
    if (!declares_) return *this;
    app_->require_subcommand(1);
    return Command(*app_->add_subcommand(name, text), named.Has(name));
}

Command Command::HiddenSubcommand(const char* name, const char* text) const {
    named.all = named.all || named.Has(name);
    const Command hidden = Subcommand(name, text);
    hidden.app_->group("");
    return hidden;
}

void Command::Argument(const char* name, std::string& value, const char* text) const {
    if (declares_) app_->add_option(name, value, text)->required()->type_name("");
}

void Command::OptionalArgument(const char* name, std::string& value, const char* text) const {
    if (declares_) app_->add_option(name, value, text)->type_name("");
}

void Command::Words(const char* name, std::vector<std::string>& values, const char* text) const {
    if (declares_) app_->add_option(name, values, text)->type_name("");
}

void Command::Arguments(const char* name, std::vector<std::string>& values, const char* text) const {
    if (declares_) app_->add_option(name, values, text)->required()->type_name("");
}

void Command::Option(const char* names, std::string& value, const char* type, const char* text) const {
    if (declares_) app_->add_option(names, value, text)->type_name(type)->check(NotEmpty());
}

void Command::Repeatable(const char* names, std::vector<std::string>& values, int words, const char* type,
                         const char* text) const {
    if (declares_) app_->add_option(names, values, text)->type_name(type)->type_size(words)->allow_extra_args(false);
}

void Command::Flag(const char* names, bool& value, const char* text) const {
    if (declares_) app_->add_flag(names, value, text);
}

void Command::FlagWithValue(const char* name, std::string& value, const char* usual, const char* text) const {
    if (declares_) app_->add_flag(fmt::format("{}{{{}}}", name, usual), value, text);
}

void Command::Footer(const char* text) const {
    if (declares_) app_->footer(text);
}

void Command::Run(Log log, std::function<int()> run) const {
    if (!declares_) return;
    app_->final_callback([log, run = std::move(run)] {
        if (log == Log::kYes)
            console::StartLog(commandAsGiven);
        else
            kestrel::SetLogSink(nullptr);
        if (const int code = run()) throw CLI::RuntimeError(code);
    });
}

OutlinedCommand Command::Outline() const { return OutlineOf(*app_); }

int RunCommandLine(int argc, char** argv, const std::vector<void (*)(const Command& program)>& commands) {
    commandAsGiven = "kestrel";
    for (int i = 1; i < argc; ++i) commandAsGiven.append(" ").append(argv[i]);
    named = {{argv + std::min(argc, 1), argv + argc}};
    try {
        CLI::App program{
            "Kestrel turns pictures into pictures: exact, repeatable filters, and chains of them that are\n"
            "one text.",
            "kestrel"};
        program.set_version_flag("--version", std::string("kestrel ") + kestrel::Version() +
                                                  "\nExact image filters and chains. Apache License 2.0; no warranty.");
        program.get_formatter()->column_width(32);
        program.footer(
            "\"kestrel COMMAND --help\" tells a command's options, \"man kestrel-COMMAND\" too.\n\n"
            "Exit codes: 0 done; 1 the work failed, or some of it; 2 the command was wrong;\n"
            "3 the output was written, but the input was damaged; 130 and 143 interrupted.");
        for (const auto add : commands) add(Command(program, true));
        return Parse(program, argc, argv);
    } catch (const console::UsageError& error) {
        console::Error(error.message);
        return console::kUsage;
    } catch (const console::Failure& failure) {
        if (!failure.message.empty()) console::Error(failure.message);
    } catch (const std::bad_alloc&) {
        console::Error("there is not enough memory");
    } catch (const std::exception& error) {
        console::Error(fmt::format("the work failed: {}", error.what()));
    }
    return console::kFailed;
}
