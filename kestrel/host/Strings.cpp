#include "kestrel/host/Strings.h"

#include <algorithm>
#include <cstdint>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/storage/BuiltInData.h"
#include "kestrel/storage/QvResourceStorage.h"
#include "kestrel/storage/WholeStream.h"

namespace kestrel {
namespace {

constexpr std::int64_t kLongestFile = 16 << 20;  // bytes

/// The strings file of the built-in storage; empty in a program that was linked without the storage.
std::string ReadStringsFile() {
    const QvStoragePtr root(new QvResourceStorage(BuiltInData()));
    return ReadWholeStream(*root, "Scripts/color.strings", kLongestFile).value_or("");
}

}  // namespace

const ScriptStrings& BuiltInStrings() {
    static const ScriptStrings strings(ReadStringsFile());
    return strings;
}

std::optional<std::string> BuiltInText(std::string_view key, Language language) {
    const auto text = BuiltInStrings().Text(key, language);
    if (!text) return {};
    return Utf8From1252(*text);
}

std::string FilterHeaderKey(const Description& filter) {
    // Some names break their line for a button; the head of the dialog is the same on one line.
    constexpr std::string_view kName = "_NAME", kHeader = "_HEADER";
    std::string key = filter.nameKey;
    if (const auto at = key.rfind(kName); at != key.npos) key.replace(at, kName.size(), kHeader);
    return key;
}

std::string FilterName(const Description& filter, Language language) {
    std::string name = BuiltInText(FilterHeaderKey(filter), language).value_or(filter.name);
    std::replace(name.begin(), name.end(), '\n', ' ');
    return name;
}

std::string FilterHelp(const Description& filter, Language language) {
    return BuiltInText(filter.help, language).value_or(filter.summary);
}

}  // namespace kestrel
