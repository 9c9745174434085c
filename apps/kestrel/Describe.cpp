#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "apps/kestrel/CatalogueJson.h"
#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/FilterNotes.h"
#include "apps/kestrel/LanguageOption.h"
#include "kestrel/host/Catalogue.h"

namespace {

struct Options {
    std::string name;
    bool json = false;
    LanguageOption language;
};

/// None is the way the filter describes itself.
using MaybeLanguage = std::optional<kestrel::Language>;

template <class... Values>
void Tell(fmt::format_string<Values...> form, Values&&... values) {
    console::Print(fmt::format(form, std::forward<Values>(values)...));
}

std::string Range(const kestrel::KeyInfo& key) {
    return key.ranged ? fmt::format("{} to {}", key.least, key.greatest) : "any";
}

/// What a dialog writes beside the control of this key.
std::string Label(const kestrel::KeyInfo& key, kestrel::Language language) {
    std::string label = kestrel::BuiltInText(key.label, language).value_or("");
    std::replace(label.begin(), label.end(), '\n', ' ');
    return label;
}

void PrintKeys(const kestrel::ParameterInfo& info, MaybeLanguage language) {
    if (info.keys.empty()) return;
    std::size_t width = 3;
    std::size_t range = 5;
    std::size_t standard = 7;
    for (const auto& key : info.keys) {
        width = std::max(width, key.key.size());
        range = std::max(range, Range(key).size());
        standard = std::max(standard, key.standard.size());
    }
    const auto row = [&](const auto& key, const auto& kind, const auto& span, const auto& value, const auto& label) {
        Tell("{:<{}}  {:<7}  {:<{}}  ", key, width, kind, span, range);
        language ? Tell("{:<{}}  {}\n", value, standard, label) : Tell("{}\n", value);
    };
    Tell("\n");
    row("Key", "Kind", "Range", "Default", "Label");
    for (const auto& key : info.keys)
        row(key.key, key.kind, Range(key), key.standard, language ? Label(key, *language) : "");
}

void Print(const kestrel::Description& about, const kestrel::ParameterInfo& info, MaybeLanguage language) {
    const std::string title = kestrel::FilterName(about, language.value_or(kestrel::Language::English));
    Tell("{} - {}\n{}\n\n", kestrel::WordOf(about), title,
         language ? kestrel::FilterHelp(about, *language) : about.summary);
    Tell("ProgID        {}\nCost          {}\nDefault text  {}\n", about.progId, about.cost, info.standard);
    PrintKeys(info, language);
    if (const auto notes = NotesOf(kestrel::WordOf(about)); !notes.empty()) Tell("\n{}", notes);
}

int Run(const Options& options) {
    const kestrel::ClassRow* const row = kestrel::FindFilter(options.name);
    if (!row) throw console::UsageError{"describe: " + UnknownFilter(options.name)};
    const MaybeLanguage language = options.language.Value("describe");
    if (options.json)
        console::Print(FilterAsJson(*row, language));
    else
        Print(*row->description, row->parameters(), language);
    return console::kDone;
}

}  // namespace

void AddDescribe(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("describe", "Tell a filter's keys, ranges and defaults");
    command.Argument("NAME", options->name, "Sepia, Sepia.1 or TMFilter.Sepia.1");
    command.Flag("--json", options->json, "As JSON");
    options->language.AddTo(command);
    command.Footer("Ranges are those that a dialog offers; a parameter text may hold any number.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
