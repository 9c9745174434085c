// With StoreJson.cpp the only file that includes the JSON library, whose headers take seconds to compile.
#include "apps/kestrel/CatalogueJson.h"

#include <nlohmann/json.hpp>

#include "apps/kestrel/FilterNotes.h"

namespace {

using Json = nlohmann::ordered_json;

std::string Dumped(const Json& json) { return json.dump(2) + '\n'; }

/// What the list and the description of a filter share.
Json Identity(const kestrel::Description& about, std::optional<kestrel::Language> language) {
    return {{"name", kestrel::WordOf(about)},
            {"progId", about.progId},
            {"title", language ? kestrel::FilterName(about, *language) : about.name},
            {"summary", language ? kestrel::FilterHelp(about, *language) : about.summary},
            {"id", about.id},
            {"cost", about.cost}};
}

}  // namespace

std::string FiltersAsJson(const std::vector<const kestrel::ClassRow*>& filters,
                          std::optional<kestrel::Language> language) {
    Json list = Json::array();
    for (const kestrel::ClassRow* filter : filters) list.push_back(Identity(*filter->description, language));
    return Dumped(list);
}

std::string FilterAsJson(const kestrel::ClassRow& filter, std::optional<kestrel::Language> language) {
    const kestrel::ParameterInfo info = filter.parameters();
    Json keys = Json::array();
    for (const auto& key : info.keys) {
        Json entry{{"key", key.key}, {"kind", key.kind}};
        if (key.ranged) {
            entry["least"] = key.least;
            entry["greatest"] = key.greatest;
        }
        entry["default"] = key.standard;
        if (!key.label.empty()) entry["label"] = key.label;
        if (language)
            if (const auto text = kestrel::BuiltInText(key.label, *language)) entry["labelText"] = *text;
        keys.push_back(entry);
    }
    Json whole = Identity(*filter.description, language);
    whole["clsid"] = kestrel::ToString(filter.description->clsid);
    whole["keys"] = keys;
    whole["defaultText"] = info.standard;
    if (const auto notes = NotesOf(kestrel::WordOf(*filter.description)); !notes.empty()) whole["notes"] = notes;
    return Dumped(whole);
}
