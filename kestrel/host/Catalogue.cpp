#include "kestrel/host/Catalogue.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "kestrel/framework/PdibFilterCreator.h"

namespace kestrel {
namespace {

constexpr std::string_view kPrefix = "TMFilter.";

std::string_view Versioned(const Description& filter) {
    return std::string_view(filter.progId).substr(kPrefix.size());  // every ProgID begins with the prefix
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// Letters to insert, delete or replace to turn one word into the other.
std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
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
    if (name.size() > 64) return "";
    std::string nearest;
    std::size_t least = name.size() / 3 + 1;  // further away it is another word
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const std::string word = WordOf(*row.description);
        const std::size_t distance = EditDistance(Lower(name), Lower(word));
        if (distance < least || (nearest.empty() && distance == least)) {
            least = distance;
            nearest = word;
        }
    }
    return nearest;
}

}  // namespace kestrel
