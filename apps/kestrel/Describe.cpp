#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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
    const std::string unit = kestrel::NameOf(key.unit);
    if (!key.ranged) return unit.empty() ? "any" : unit;
    return fmt::format("{} to {}{}{}", key.minimum, key.maximum, unit.empty() ? "" : " ", unit);
}

/// "reds: saturation"; "method: 0 Linear, 1 Gradation Curves".
std::string Meaning(const kestrel::KeyInfo& key) {
    std::string meaning = key.group.empty() ? key.meaning : key.group + ": " + key.meaning;
    const char* separator = ": ";
    for (const auto& choice : key.choices) {
        meaning += fmt::format("{}{} {}", separator, choice.value, choice.words);
        separator = ", ";
    }
    return meaning;
}

/// What a dialog writes beside the control of this key: "Rot: Sättigung", "Alle Farben: Cyan – Rot".
std::string Label(const kestrel::KeyInfo& key, kestrel::Language language) {
    const auto text = [language](const std::string& name) { return kestrel::BuiltInText(name, language).value_or(""); };
    std::string label = kestrel::LineOf(text(key.label), key.channel);
    if (!key.farLabel.empty()) label += " – " + text(key.farLabel);
    if (!key.caption.empty()) label = text(key.caption) + ": " + label;
    const char* separator = ": ";
    for (const auto& choice : key.choices) {
        label += fmt::format("{}{} {}", separator, choice.value, text(choice.label));
        separator = ", ";
    }
    std::replace(label.begin(), label.end(), '\n', ' ');
    return label;
}

void PrintKeys(const kestrel::ParameterInfo& info, MaybeLanguage language) {
    std::vector<std::array<std::string, 5>> rows = {
        {"Key", "Kind", "Range", "Default", language ? "Label" : "Meaning"}};
    for (const auto& alike : kestrel::OfferedKeys(info)) {
        const kestrel::KeyInfo& key = alike.front();
        std::string name = key.key;
        if (!key.list.empty()) name += fmt::format("..{}", alike.size());
        rows.push_back(
            {name, kestrel::NameOf(key.kind), Range(key), key.value, language ? Label(key, *language) : Meaning(key)});
    }
    std::array<std::size_t, 5> widths{};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    Tell("\n");
    for (const auto& row : rows)
        Tell("{:<{}}  {:<{}}  {:<{}}  {:<{}}  {}\n", row[0], widths[0], row[1], widths[1], row[2], widths[2], row[3],
             widths[3], row[4]);
}

/// What a row of the result depends on, and so whether the filter can work on bands of a picture.
std::string Reach(int rows) {
    if (rows == kestrel::kWholePicture) return "the whole picture";
    if (rows == kestrel::kScaledRows) return "the rows that it is scaled from; the whole picture with transparency";
    if (rows == kestrel::kSlantedRows)
        return "the rows that its slant crosses; the whole picture from 45 degrees on, at right angles, and mirrored";
    if (rows == 0) return "its own row";
    return fmt::format("its own row and {} on either side", rows);
}

void Print(const kestrel::Description& about, const kestrel::ParameterInfo& info, MaybeLanguage language) {
    const std::string title = kestrel::FilterName(about, language.value_or(kestrel::Language::English));
    Tell("{} - {}\n{}\n\n", kestrel::WordOf(about), title,
         language ? kestrel::FilterHelp(about, *language) : about.summary);
    const char* const lengths = about.lengths == kestrel::Lengths::None
                                    ? "none in pixels; a reduced preview looks like the full picture"
                                    : kestrel::NameOf(about.lengths);
    Tell("ProgID        {}\nCost          {}\nLengths       {}\nReach         {}\nFresh filter  {}\nDefault text  {}\n",
         about.progId, about.cost, lengths, Reach(about.reach), info.freshText, info.defaultText);
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
    command.Argument("FILTER", options->name, "Sepia, Sepia.1 or TMFilter.Sepia.1");
    command.Flag("--json", options->json, "As JSON");
    options->language.AddTo(command);
    command.Footer("Ranges are those that a dialog offers; a parameter text may hold any number.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
