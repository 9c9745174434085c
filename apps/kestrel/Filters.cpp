#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>

#include "apps/kestrel/CatalogueJson.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/LanguageOption.h"

namespace {

struct Options {
    bool json = false;
    LanguageOption language;
};

/// The name and the first sentence of what the filter does.
std::string InLanguage(const kestrel::Description& filter, kestrel::Language language) {
    std::string help = kestrel::FilterHelp(filter, language);
    if (const auto end = help.find(". "); end != help.npos) help.resize(end + 1);
    return fmt::format("{} - {}", kestrel::FilterName(filter, language), help);
}

int Run(const Options& options) {
    const auto rows = kestrel::ListFilters();
    const auto language = options.language.Value("filters");
    if (options.json) {
        console::Print(FiltersAsJson(rows, language));
        return console::kDone;
    }
    std::size_t widest = 0;
    for (const kestrel::ClassRow* row : rows) widest = std::max(widest, kestrel::WordOf(*row->description).size());
    for (const kestrel::ClassRow* row : rows)
        console::Print(fmt::format("{:<{}}  {}\n", kestrel::WordOf(*row->description), widest,
                                   language ? InLanguage(*row->description, *language) : row->description->summary));
    return console::kDone;
}

}  // namespace

void AddFilters(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("filters", "List the filters");
    command.Flag("--json", options->json, "As JSON, with identifiers and costs");
    options->language.AddTo(command);
    command.Footer("\"kestrel describe FILTER\" tells a filter's parameters.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}
