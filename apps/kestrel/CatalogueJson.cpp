// The only file that includes the JSON library, whose headers take seconds to compile.
#include "apps/kestrel/CatalogueJson.h"

#include <nlohmann/json.hpp>

#include "apps/kestrel/FilterNotes.h"

namespace {

using Json = nlohmann::ordered_json;

std::string Dumped(const Json& json) { return json.dump(2) + '\n'; }

/// What the list and the description of a filter share.
Json Identity(const kestrel::Description& about) {
    return {{"name", kestrel::WordOf(about)}, {"progId", about.progId}, {"title", about.name},
            {"summary", about.summary},       {"id", about.id},         {"cost", about.cost}};
}

}  // namespace

std::string FiltersAsJson(const std::vector<const kestrel::ClassRow*>& filters) {
    Json list = Json::array();
    for (const kestrel::ClassRow* filter : filters) list.push_back(Identity(*filter->description));
    return Dumped(list);
}

std::string FilterAsJson(const kestrel::ClassRow& filter) {
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
        keys.push_back(entry);
    }
    Json whole = Identity(*filter.description);
    whole["clsid"] = kestrel::ToString(filter.description->clsid);
    whole["keys"] = keys;
    whole["defaultText"] = info.standard;
    if (const auto notes = NotesOf(kestrel::WordOf(*filter.description)); !notes.empty()) whole["notes"] = notes;
    return Dumped(whole);
}
