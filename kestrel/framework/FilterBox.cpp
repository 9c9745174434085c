#include "kestrel/framework/FilterBox.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "kestrel/storage/WholeStream.h"

namespace kestrel {
namespace {

constexpr const char* kScripts = "Scripts/";
constexpr const char* kStrings = "color.strings";
constexpr const char* kPictures = "Pictures";
constexpr std::string_view kPageEnding = "Page";
constexpr std::string_view kSequenceEnding = "seq";
constexpr std::int64_t kLongestStream = 64 << 20;  // bytes; more is no script and no icon

std::optional<std::string> ReadScript(IQvStorage& root, const std::string& name) {
    return ReadWholeStream(root, (kScripts + name).c_str(), kLongestStream);
}

/// True for the first caller with this prefix.
bool IsNewPrefix(const char* prefix) {
    static std::mutex guard;
    static std::vector<std::string> handled;
    const std::lock_guard lock(guard);
    if (std::find(handled.begin(), handled.end(), prefix) != handled.end()) return false;
    handled.emplace_back(prefix);
    return true;
}

void HandIconsOver(IQvStorage& root, IScriptEngine& engine, const char* prefix) {
    const QvStoragePtr pictures = root.OpenStorage(kPictures, kStorageRead);
    if (!pictures) return;
    std::vector<std::string> names;
    QvString name;
    unsigned long flags = 0;
    for (bool more = pictures->FirstElement(name, flags); more; more = pictures->NextElement(name, flags))
        if (flags & kElementStream && name.Find(prefix) >= 0) names.emplace_back(static_cast<const char*>(name));
    for (const std::string& picture : names)
        if (const auto bytes = ReadWholeStream(*pictures, picture.c_str(), kLongestStream))
            engine.AddPicture(picture.c_str(), bytes->data(), bytes->size());
}

}  // namespace

void FilterBox::FilterBox_Parse(IUnknown* host, IQvStorage* storage, const char* pageName, const char* iconPrefix) {
    engine_ = Ref<IScriptEngine>::Query(host);
    storage_ = storage;
    if (!IsActive()) return;
    if (iconPrefix && IsNewPrefix(iconPrefix)) HandIconsOver(*storage_, *engine_, iconPrefix);

    const Ref<IScriptParser> parser = Ref<IScriptParser>::Query(engine_.get());
    if (!parser) return;
    if (const auto strings = ReadScript(*storage_, kStrings)) parser->ParseStrings(strings->c_str());
    if (!pageName) return;

    std::string name = pageName;
    const auto logged = [&]() -> std::optional<std::string> {
        auto text = ReadScript(*storage_, name);
        if (text) TMDebugMonitor("FilterBox_Parse", "%s", text->c_str());
        return text;
    };
    if (const auto page = logged()) parser->ParsePage(page->c_str());
    name.erase(name.size() - std::min(name.size(), kPageEnding.size()));
    name += kSequenceEnding;
    if (const auto sequence = logged()) parser->ParseSequence(sequence->c_str());
}

}  // namespace kestrel
