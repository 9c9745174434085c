#include "kestrel/host/Catalogue.h"

#include "kestrel/foundation/NearestWord.h"
#include "kestrel/server/PdibFilterCreator.h"

namespace kestrel {
namespace {

constexpr std::string_view kPrefix = "TMFilter.";

std::string_view Versioned(const Description& filter) {
    return std::string_view(filter.progId).substr(kPrefix.size());  // every ProgID begins with the prefix
}

}  // namespace

std::vector<const ClassRow*> ListFilters() {
    const Ref<CPdibFilterCreator> creator(new CPdibFilterCreator);
    int count = 0;
    creator->GetFilterCount(&count);
    std::vector<const ClassRow*> rows;
    for (int i = 0; i < count; ++i) {
        char progId[200];
        int cost = 0;
        creator->GetFilterByIndex(i, progId, 0, &cost);
        rows.push_back(FindClass(std::string_view(progId)));
    }
    return rows;
}

std::string WordOf(const Description& filter) {
    const std::string_view versioned = Versioned(filter);
    return std::string(versioned.substr(0, versioned.find('.')));
}

const ClassRow* FindFilter(std::string_view name) {
    for (const ClassRow& row : ClassTable())
        if (row.IsFilter() && (name == row.description->progId || name == Versioned(*row.description) ||
                               name == WordOf(*row.description)))
            return &row;
    return nullptr;
}

std::string SuggestFilter(std::string_view name) {
    std::vector<std::string> words;
    for (const ClassRow& row : ClassTable())
        if (row.IsFilter()) words.push_back(WordOf(*row.description));
    return NearestWord(name, words);
}

}  // namespace kestrel
