#include "kestrel/host/Strings.h"

#include <algorithm>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/storage/BuiltInData.h"

namespace kestrel {

const ScriptStrings& BuiltInStrings() {
    static const ScriptStrings strings = [] {
        const auto data = BuiltInData();
        return ScriptStrings(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
    }();
    return strings;
}

std::optional<std::string> BuiltInText(std::string_view key, Language language) {
    const auto text = BuiltInStrings().Text(key, language);
    if (!text) return {};
    return Utf8From1252(*text);
}

std::string FilterName(const Description& filter, Language language) {
    // Some names break their line for a button; the head of the dialog is the same on one line.
    constexpr std::string_view kName = "_NAME", kHeader = "_HEADER";
    std::string key = filter.nameKey;
    if (const auto at = key.rfind(kName); at != key.npos) key.replace(at, kName.size(), kHeader);
    std::string name = BuiltInText(key, language).value_or(filter.name);
    std::replace(name.begin(), name.end(), '\n', ' ');
    return name;
}

std::string FilterHelp(const Description& filter, Language language) {
    return BuiltInText(filter.help, language).value_or(filter.summary);
}

}  // namespace kestrel
