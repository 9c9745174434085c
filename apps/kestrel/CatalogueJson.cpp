#include "apps/kestrel/CatalogueJson.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "apps/kestrel/FilterNotes.h"
#include "apps/kestrel/Json.h"
#include "kestrel/codec/ImageFormat.h"

namespace {

/// What the list and the description of a filter share.
Json Identity(const kestrel::Description& about, std::optional<kestrel::Language> language) {
    return {{"name", kestrel::WordOf(about)},
            {"progId", about.progId},
            {"title", language ? kestrel::FilterName(about, *language) : about.name},
            {"summary", language ? kestrel::FilterHelp(about, *language) : about.summary},
            {"id", about.id},
            {"cost", about.cost}};
}

/// A whole number without a decimal point.
Json Bound(double value) {
    const auto whole = static_cast<std::int64_t>(value);
    return static_cast<double>(whole) == value ? Json(whole) : Json(value);
}

/// One key, or numbered keys of one list, "xL#" with their count.
Json KeysAsJson(std::span<const kestrel::KeyInfo> alike, std::optional<kestrel::Language> language) {
    const kestrel::KeyInfo& key = alike.front();
    Json entry{{"key", key.list.empty() ? key.key : key.list}, {"kind", kestrel::NameOf(key.kind)}};
    const auto add = [&entry](const char* name, const auto& value, bool isSaid) {
        if (isSaid) entry[name] = value;
    };
    add("count", alike.size(), !key.list.empty());
    add("minimum", Bound(key.minimum), key.ranged);
    add("maximum", Bound(key.maximum), key.ranged);
    add("special", key.special.value_or(0), key.special.has_value());
    add("held", true, key.held);
    add("hexadecimal", true, key.hexadecimal);
    add("unit", kestrel::NameOf(key.unit), key.unit != kestrel::Unit::None);
    add("channel", kestrel::NameOf(key.channel), key.channel != kestrel::Channel::None);
    if (std::all_of(alike.begin(), alike.end(), [&](const auto& other) { return other.value == key.value; }))
        entry["default"] = key.value;
    else
        for (const auto& other : alike) entry["default"].push_back(other.value);
    const auto addText = [&](Json& to, const char* name, const std::string& label) {
        const auto text = language ? kestrel::BuiltInText(label, *language) : std::nullopt;
        if (text) to[name] = *text;
    };
    for (const auto& choice : key.choices) {
        Json one{{"value", choice.value}, {"label", choice.label}, {"words", choice.words}};
        addText(one, "labelText", choice.label);
        entry["choices"].push_back(one);
    }
    add("group", key.group, !key.group.empty());
    add("meaning", key.meaning, true);
    add("caption", key.caption, !key.caption.empty());
    add("label", key.label, !key.label.empty());
    add("farLabel", key.farLabel, !key.farLabel.empty());
    add("otherLabel", key.otherLabel, !key.otherLabel.empty());
    add("otherWhen", key.otherWhen, !key.otherWhen.empty());
    addText(entry, "captionText", key.caption);
    addText(entry, "labelText", key.label);
    addText(entry, "farLabelText", key.farLabel);
    addText(entry, "otherLabelText", key.otherLabel);
    return entry;
}

}  // namespace

std::string FiltersAsJson(const std::vector<const kestrel::ClassRow*>& filters,
                          std::optional<kestrel::Language> language) {
    Json list = Json::array();
    for (const kestrel::ClassRow* filter : filters) list.push_back(Identity(*filter->description, language));
    return Dumped(list);
}

std::string FormatsAsJson() {
    Json list = Json::array();
    for (const kestrel::FormatInfo& format : kestrel::KnownFormats())
        list.push_back({{"name", format.name},
                        {"title", format.title},
                        {"extensions", std::vector<std::string>(format.extensions.begin(), format.extensions.end())},
                        {"type", static_cast<int>(format.format)},
                        {"read", format.reads},
                        {"write", format.writes},
                        {"transparency", format.holdsAlpha},
                        {"pages", format.pages},
                        {"trusted", format.trusted}});
    return Dumped(list);
}

std::string FilterAsJson(const kestrel::ClassRow& filter, std::optional<kestrel::Language> language) {
    const kestrel::ParameterInfo info = filter.parameters();
    Json keys = Json::array();
    for (const auto& alike : kestrel::OfferedKeys(info)) keys.push_back(KeysAsJson(alike, language));
    Json whole = Identity(*filter.description, language);
    whole["clsid"] = kestrel::ToString(filter.description->clsid);
    whole["keys"] = keys;
    whole["lengths"] = kestrel::NameOf(filter.description->lengths);
    const int reach = filter.description->reach;
    whole["reach"] = reach == kestrel::kWholePicture  ? Json("whole")
                     : reach == kestrel::kScaledRows  ? Json("scaled")
                     : reach == kestrel::kSlantedRows ? Json("slanted")
                                                      : Json(reach);
    whole["freshText"] = info.freshText;
    whole["defaultText"] = info.defaultText;
    if (const auto notes = NotesOf(kestrel::WordOf(*filter.description)); !notes.empty()) whole["notes"] = notes;
    return Dumped(whole);
}
