#include "kestrel/dialogs/panels/PanelValues.h"

#include <algorithm>
#include <cmath>

#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/parameters/ParameterTable.h"

namespace kestrel {
namespace {

constexpr std::size_t kLongestText = 1 << 16;  // bytes; 128 clicks are a tenth of it
constexpr int kDialogVersion = 2;              // of the texts that have a version

/// How the dialog of a filter joins the pieces of its text: those of the default text, in its order.
struct DialogForm {
    std::string_view progId;
    const char* separator = ",";
    const char* ending = ",";
    std::string_view more[2] = {};  ///< keys after those of the default text
    bool stored = false;            ///< there is no form of its own: the one that the filter stores
};

constexpr DialogForm kForms[] = {
    {.progId = "TMFilter.Sharpen.1", .ending = "", .more = {"Version"}},
    {.progId = "TMFilter.Blur.1", .ending = "", .more = {"Version"}},
    {.progId = "TMFilter.SoftFrame.1", .more = {"CalcPix", "Ver"}},
    {.progId = "TMFilter.WhiteBlackGrey.1", .separator = ", ", .ending = ""},
    {.progId = "TMFilter.Text.1", .ending = ""},
    {.progId = "TMFilter.RedEye.1", .stored = true},
    {.progId = "TMFilter.Crop.1", .stored = true},
    {.progId = "TMFilter.RotCrop.1", .stored = true},
    {.progId = "TMFilter.PrintCrop.1", .stored = true},
    {.progId = "TMFilter.PrintPad.1", .stored = true},
    {.progId = "TMFilter.PrintScale.1", .stored = true},
};

const DialogForm& FormOf(std::string_view progId) {
    static constexpr DialogForm usual{};
    const auto form = std::find_if(std::begin(kForms), std::end(kForms),
                                   [progId](const DialogForm& each) { return each.progId == progId; });
    return form == std::end(kForms) ? usual : *form;
}

bool IsVersion(std::string_view key) { return key == "Version" || key == "Ver"; }

/// The mixer's dialog sets a blank between the switches of its rows, and only there.
bool IsMixerSwitch(std::string_view key) { return key.starts_with("BOn"); }

/// Keys of a text, in its order.
std::vector<std::string> KeysOf(std::string_view text) {
    std::vector<std::string> keys;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find(','));
        const std::size_t begin = std::min(piece.find_first_not_of(' '), piece.size());
        keys.emplace_back(piece.substr(begin, piece.find('=') - begin));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
    }
    return keys;
}

/// How a filter writes a key.
table::Form StoredForm(const KeyInfo& key) {
    return {.reading = Reading::Equals,
            .range = {key.minimum, key.maximum},
            .fallback = key.fallback,
            .held = false,
            .infinite = false,
            .special = {},
            .kept = false,
            .hexadecimal = key.hexadecimal};
}

/// A value as the panel offers it. Angles of a whole turn come around; everything else stops at the end of its range.
double Offered(const KeyInfo& key, double value, double fallback) {
    if (!key.choices.empty()) {
        const auto is = [value](const Choice& choice) { return choice.value == value; };
        return std::any_of(key.choices.begin(), key.choices.end(), is) ? value : fallback;
    }
    if (!key.ranged || value == key.special) return value;
    constexpr double kTurn = 360;
    const bool turns = key.unit == Unit::Degrees && key.minimum == 0 && key.maximum == kTurn;
    if (turns && (value < 0 || value > kTurn)) value -= kTurn * std::floor(value / kTurn);
    return std::clamp(value, key.minimum, key.maximum);
}

}  // namespace

PanelValues::PanelValues(const ClassRow& filter) : filter_(&filter), info_(filter.parameters()) {
    for (std::size_t i = 0; i < info_.keys.size(); ++i) index_.emplace(info_.keys[i].key, i);
    defaults_.resize(info_.keys.size());
    fresh_ = values_ = ValuesOf(info_.freshText);
    defaults_ = ValuesOf(info_.defaultText);
}

/// What the filter makes of a text; empty when there is no filter to be had.
std::string PanelValues::AsFilterWrites(const std::string& text) const {
    Ref<IFilterParameters> filter;
    std::string written(kLongestText, '\0');
    if (filter_->create(IFilterParameters::kIid, filter.Out()) != S_OK) return {};
    filter->SetParameterText(text.c_str(), 1);
    if (filter->GetParameterTextForSave(written.data(), static_cast<int>(written.size())) != S_OK) return {};
    written.resize(written.find('\0'));
    return written;
}

PanelValues::Values PanelValues::ValuesOf(const std::string& text) const {
    const std::string written = AsFilterWrites(text);
    Values values(info_.keys.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const KeyInfo& key = info_.keys[i];
        if (key.role != Role::Setting) continue;
        Value& value = values[i];
        std::int32_t integer = 0;
        const table::Place place = key.kind == Kind::Text     ? table::Place{.text = &value.words}
                                   : key.kind == Kind::Number ? table::Place{.number = &value.number}
                                                              : table::Place{.integer = &integer};
        const table::Form form = StoredForm(key);
        table::ReadValue(key.key + '=' + key.value, key.key, form, place);
        table::ReadValue(written, key.key, form, place);
        if (place.integer) value.number = integer;
        if (!key.label.empty()) value.number = Offered(key, value.number, defaults_[i].number);
    }
    return values;
}

void PanelValues::Read(const std::string& text) { values_ = ValuesOf(text); }

std::vector<std::string> PanelValues::KeysInOrder() const {
    std::vector<std::string> keys = KeysOf(info_.defaultText);
    for (const KeyInfo& key : info_.keys)
        if (std::find(keys.begin(), keys.end(), key.key) == keys.end()) keys.push_back(key.key);
    std::erase_if(keys, [this](const std::string& key) { return !Has(key); });
    return keys;
}

bool PanelValues::SetNumber(std::string_view key, double value) {
    const std::size_t i = IndexOf(key);
    if (!std::isfinite(value)) return false;
    const double offered = Offered(info_.keys[i], value, values_[i].number);
    return std::exchange(values_[i].number, offered) != offered;
}

bool PanelValues::SetWords(std::string_view key, std::string words) {
    Value& value = values_[IndexOf(key)];
    const bool changes = value.words != words;
    value.words = std::move(words);
    return changes;
}

bool PanelValues::SetDefault(std::string_view key) {
    const std::size_t i = IndexOf(key);
    return std::exchange(values_[i], defaults_[i]) != defaults_[i];
}

std::string PanelValues::ValueText(const KeyInfo& key, int digits) const {
    const Value& value = values_[IndexOf(key.key)];
    double number = value.number;
    std::string words = value.words;
    if (IsVersion(key.key)) number = kDialogVersion;
    if (key.active && key.label.empty()) number = *key.active;  // what is edited is switched on
    auto integer = static_cast<std::int32_t>(number);
    bool flag = number != 0;
    const table::Place place = key.kind == Kind::Text     ? table::Place{.text = &words}
                               : key.kind == Kind::Number ? table::Place{.number = &number}
                               : key.kind == Kind::Flag   ? table::Place{.flag = &flag}
                                                          : table::Place{.integer = &integer};
    return key.role == Role::Tag ? key.value : table::TextOf(place, StoredForm(key), digits, "");
}

/// All values go through a filter, which knows which of its keys its text holds.
std::string PanelValues::WriteStored() const {
    constexpr int kDecimals = 6;
    std::string text;
    for (const KeyInfo& key : info_.keys)
        if (key.role == Role::Setting)
            table::AppendPiece(text, ",", key.key, ValueText(key, key.kind == Kind::Number ? kDecimals : 1));
    return AsFilterWrites(text);
}

/// Settings that the dialog's form has no place for, where they are not those of a fresh filter.
std::string PanelValues::WriteUnshown(const std::vector<std::string>& shown) const {
    std::string text;
    for (std::size_t i = 0; i < values_.size(); ++i) {
        const KeyInfo& key = info_.keys[i];
        const bool isShown = std::find(shown.begin(), shown.end(), key.key) != shown.end();
        if (key.role == Role::Setting && !isShown && values_[i] != fresh_[i])
            text += key.key + '=' + ValueText(key, key.dialogDigits) + ',';
    }
    return text;
}

std::string PanelValues::Write() const {
    const DialogForm& form = FormOf(filter_->description->progId);
    if (form.stored) return WriteStored();
    std::vector<std::string> keys = KeysOf(info_.defaultText);
    for (const std::string_view more : form.more)
        if (!more.empty()) keys.emplace_back(more);
    std::string text;
    const char* separator = "";
    for (const std::string& key : keys) {
        table::AppendPiece(text, separator, key, ValueText(Key(key), Key(key).dialogDigits));
        separator = IsMixerSwitch(key) ? ", " : form.separator;
    }
    if (keys.size() > 1) text += form.ending;
    return text + WriteUnshown(keys);
}

}  // namespace kestrel
