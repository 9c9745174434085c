#include "kestrel/host/Strings.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/storage/BuiltInData.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"

namespace kestrel {

namespace {

/// The strings file of the built-in storage; empty in a program that was linked without the storage.
std::string ReadStringsFile() {
    using namespace compound;
    auto file = CompoundFile::Open(std::make_unique<BlobStore>(BuiltInData()), Access::kRead);
    if (!file) return {};
    auto root = file->Root();
    if (!root) return {};
    auto scripts = root->OpenStorage(u"Scripts");
    if (!scripts) return {};
    auto stream = scripts->OpenStream(u"color.strings");
    if (!stream) return {};
    const auto size = stream->Size();
    if (!size) return {};
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(*size));
    const auto read = stream->Read(bytes);
    return read && *read == bytes.size() ? std::string(bytes.begin(), bytes.end()) : std::string();
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
