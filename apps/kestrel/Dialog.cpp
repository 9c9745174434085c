// `kestrel dialog`: the window is made by a helper program, so that this one never loads a toolkit.
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/LanguageOption.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/settings/Folders.h"

namespace {

constexpr const char* kHelper = "kestrel-dialog";

struct Options {
    std::string filter;
    std::string input;
    std::string text;
    LanguageOption language;
};

/// Beside this program, or where it is installed.
std::filesystem::path FindHelper() {
    const std::filesystem::path own = kestrel::ProgramFile().parent_path();
    for (const std::filesystem::path& folder : {own, own / KESTREL_TO_LIBEXEC})
        if (access((folder / kHelper).c_str(), X_OK) == 0) return folder / kHelper;
    throw console::Failure{"dialog: the program kestrel-dialog is not installed; it is built where Qt 6 is found"};
}

/// What the helper would inherit otherwise: blocked signals, and those that this program ignores.
void RestoreSignals() {
    signal(SIGPIPE, SIG_DFL);
    signal(SIGXFSZ, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

int Run(const Options& options) {
    if (!kestrel::FindFilter(options.filter)) throw console::UsageError{"dialog: " + UnknownFilter(options.filter)};
    std::vector<std::string> words = {kHelper};
    if (!options.text.empty()) words.insert(words.end(), {"--text", options.text});
    if (const auto language = options.language.Value("dialog"))
        words.insert(words.end(), {"--lang", std::string(kestrel::LanguageCode(*language))});
    words.insert(words.end(), {"--", options.filter});
    if (!options.input.empty()) words.push_back(options.input);

    const std::filesystem::path helper = FindHelper();
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    console::FlushOutput();
    RestoreSignals();
    execv(helper.c_str(), arguments.data());
    throw console::Failure{fmt::format("dialog: {}: {}", helper.string(), std::strerror(errno))};
}

}  // namespace

void AddDialog(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("dialog", "Set a filter's parameters in its dialog");
    command.Argument("FILTER", options->filter, "Such as Sepia, Sepia.1 or TMFilter.Sepia.1");
    command.OptionalArgument("IN", options->input, "A picture to see the effect on; - is standard input");
    command.Option("--text", options->text, "TEXT", "Parameter text that the dialog begins with");
    options->language.AddTo(command);
    command.Footer("OK prints the parameter text; Cancel prints nothing and ends with 1.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
