#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/host/Catalogue.h"

namespace {

std::string Range(const kestrel::KeyInfo& key) {
    return key.ranged ? fmt::format("{} to {}", key.least, key.greatest) : "any";
}

void PrintJson(const kestrel::Description& about, const kestrel::ParameterInfo& info) {
    auto keys = nlohmann::ordered_json::array();
    for (const auto& key : info.keys) {
        nlohmann::ordered_json entry{{"key", key.key}, {"kind", key.kind}};
        if (key.ranged) {
            entry["least"] = key.least;
            entry["greatest"] = key.greatest;
        }
        entry["default"] = key.standard;
        if (!key.label.empty()) entry["label"] = key.label;
        keys.push_back(entry);
    }
    const nlohmann::ordered_json whole{{"name", kestrel::WordOf(about)},
                                       {"progId", about.progId},
                                       {"clsid", kestrel::ToString(about.clsid)},
                                       {"title", about.name},
                                       {"summary", about.summary},
                                       {"id", about.id},
                                       {"cost", about.cost},
                                       {"keys", keys},
                                       {"defaultText", info.standard}};
    fmt::print("{}\n", whole.dump(2));
}

void Print(const kestrel::Description& about, const kestrel::ParameterInfo& info) {
    std::string title = about.name;  // some titles break their line for a button
    std::replace(title.begin(), title.end(), '\n', ' ');
    fmt::print("{} - {}\n{}\n\n", kestrel::WordOf(about), title, about.summary);
    fmt::print("ProgID        {}\nCost          {}\nDefault text  {}\n", about.progId, about.cost, info.standard);
    if (info.keys.empty()) return;
    std::size_t width = 3;
    std::size_t range = 5;
    for (const auto& key : info.keys) {
        width = std::max(width, key.key.size());
        range = std::max(range, Range(key).size());
    }
    fmt::print("\n{:<{}}  {:<7}  {:<{}}  {}\n", "Key", width, "Kind", "Range", range, "Default");
    for (const auto& key : info.keys)
        fmt::print("{:<{}}  {:<7}  {:<{}}  {}\n", key.key, width, key.kind, Range(key), range, key.standard);
}

}  // namespace

void AddDescribe(CLI::App& program) {
    struct Options {
        std::string name;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("describe", "Tell a filter's keys, ranges and defaults");
    command.add_option("NAME", options->name, "Sepia, Sepia.1 or TMFilter.Sepia.1")->required()->type_name("");
    command.add_flag("--json", options->json, "As JSON");
    command.footer("Ranges are those that a dialog offers; a parameter text may hold any number.");
    command.final_callback([options] {
        const kestrel::ClassRow* const row = kestrel::FindFilter(options->name);
        if (!row) {
            const std::string near = kestrel::SuggestFilter(options->name);
            throw console::UsageError{
                fmt::format("describe: there is no filter \"{}\"; {}", options->name,
                            near.empty() ? "\"kestrel filters\" lists them" : fmt::format("did you mean {}?", near))};
        }
        (options->json ? PrintJson : Print)(*row->description, row->parameters());
    });
}
