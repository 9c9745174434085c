#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "apps/kestrel/CatalogueJson.h"
#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/FilterNotes.h"
#include "kestrel/host/Catalogue.h"

namespace {

struct Options {
    std::string name;
    bool json = false;
};

template <class... Values>
void Tell(fmt::format_string<Values...> form, Values&&... values) {
    console::Print(fmt::format(form, std::forward<Values>(values)...));
}

std::string Range(const kestrel::KeyInfo& key) {
    return key.ranged ? fmt::format("{} to {}", key.least, key.greatest) : "any";
}

void PrintKeys(const kestrel::ParameterInfo& info) {
    if (info.keys.empty()) return;
    std::size_t width = 3;
    std::size_t range = 5;
    for (const auto& key : info.keys) {
        width = std::max(width, key.key.size());
        range = std::max(range, Range(key).size());
    }
    Tell("\n{:<{}}  {:<7}  {:<{}}  {}\n", "Key", width, "Kind", "Range", range, "Default");
    for (const auto& key : info.keys)
        Tell("{:<{}}  {:<7}  {:<{}}  {}\n", key.key, width, key.kind, Range(key), range, key.standard);
}

void Print(const kestrel::Description& about, const kestrel::ParameterInfo& info) {
    std::string title = about.name;  // some titles break their line for a button
    std::replace(title.begin(), title.end(), '\n', ' ');
    Tell("{} - {}\n{}\n\n", kestrel::WordOf(about), title, about.summary);
    Tell("ProgID        {}\nCost          {}\nDefault text  {}\n", about.progId, about.cost, info.standard);
    PrintKeys(info);
    if (const auto notes = NotesOf(kestrel::WordOf(about)); !notes.empty()) Tell("\n{}", notes);
}

int Run(const Options& options) {
    const kestrel::ClassRow* const row = kestrel::FindFilter(options.name);
    if (!row) throw console::UsageError{"describe: " + UnknownFilter(options.name)};
    if (options.json)
        console::Print(FilterAsJson(*row));
    else
        Print(*row->description, row->parameters());
    return console::kDone;
}

}  // namespace

void AddDescribe(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("describe", "Tell a filter's keys, ranges and defaults");
    command.Argument("NAME", options->name, "Sepia, Sepia.1 or TMFilter.Sepia.1");
    command.Flag("--json", options->json, "As JSON");
    command.Footer("Ranges are those that a dialog offers; a parameter text may hold any number.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
