#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "apps/kestrel/CatalogueJson.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"

namespace {

int Run(bool json) {
    const auto rows = kestrel::ListFilters();
    if (json) {
        console::Print(FiltersAsJson(rows));
        return console::kDone;
    }
    std::size_t widest = 0;
    for (const kestrel::ClassRow* row : rows) widest = std::max(widest, kestrel::WordOf(*row->description).size());
    for (const kestrel::ClassRow* row : rows)
        console::Print(
            fmt::format("{:<{}}  {}\n", kestrel::WordOf(*row->description), widest, row->description->summary));
    return console::kDone;
}

}  // namespace

void AddFilters(const Command& program) {
    const auto json = std::make_shared<bool>(false);
    const Command command = program.Subcommand("filters", "List the filters");
    command.Flag("--json", *json, "As JSON, with identifiers and costs");
    command.Footer("\"kestrel describe NAME\" tells a filter's parameters.");
    command.Run(Command::Log::kNo, [json] { return Run(*json); });
}
