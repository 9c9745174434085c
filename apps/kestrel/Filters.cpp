#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "apps/kestrel/Commands.h"
#include "kestrel/host/Catalogue.h"

void AddFilters(CLI::App& program) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command = *program.add_subcommand("filters", "List the filters");
    command.add_flag("--json", *json, "As JSON, with identifiers and costs");
    command.footer("\"kestrel describe NAME\" tells a filter's parameters.");
    command.final_callback([json] {
        const auto rows = kestrel::ListFilters();
        if (*json) {
            auto list = nlohmann::ordered_json::array();
            for (const kestrel::ClassRow* row : rows) {
                const kestrel::Description& about = *row->description;
                list.push_back({{"name", kestrel::WordOf(about)},
                                {"progId", about.progId},
                                {"title", about.name},
                                {"summary", about.summary},
                                {"id", about.id},
                                {"cost", about.cost}});
            }
            fmt::print("{}\n", list.dump(2));
            return;
        }
        std::size_t widest = 0;
        for (const kestrel::ClassRow* row : rows) widest = std::max(widest, kestrel::WordOf(*row->description).size());
        for (const kestrel::ClassRow* row : rows)
            fmt::print("{:<{}}  {}\n", kestrel::WordOf(*row->description), widest, row->description->summary);
    });
}
