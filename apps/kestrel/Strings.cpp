#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/LanguageOption.h"
#include "kestrel/host/Strings.h"

namespace {

struct Options {
    std::string key;
    LanguageOption language;
};

/// The text on one line, as it stands in the strings file.
std::string OneLine(const std::string& text) {
    std::string line;
    for (const char c : text) c == '\n' ? line += "\\n" : line += c;
    return line;
}

int Run(const Options& options) {
    const auto language = options.language.Value("strings");
    if (!options.key.empty()) {
        const auto text = kestrel::BuiltInText(options.key, language.value_or(kestrel::Language::English));
        if (!text)
            throw console::UsageError{
                fmt::format("strings: there is no text \"{}\"; \"kestrel strings\" lists the keys", options.key)};
        console::Print(*text + '\n');
        return console::kDone;
    }
    std::size_t widest = 0;
    for (const std::string& key : kestrel::BuiltInStrings().Keys()) widest = std::max(widest, key.size());
    for (const std::string& key : kestrel::BuiltInStrings().Keys()) {
        if (language)
            console::Print(
                fmt::format("{:<{}}  {}\n", key, widest, OneLine(kestrel::BuiltInText(key, *language).value_or(""))));
        else
            console::Print(key + '\n');
    }
    return console::kDone;
}

}  // namespace

void AddStrings(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("strings", "Print the texts of filters and dialogs");
    command.OptionalArgument("KEY", options->key, "Such as IDS_SEPIA_NAME; without it all keys are listed");
    options->language.AddTo(command);
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
