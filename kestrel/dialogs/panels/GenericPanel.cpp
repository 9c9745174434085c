#include "kestrel/dialogs/panels/GenericPanel.h"

namespace kestrel {
namespace {

/// Keys that do nothing unless another one has a value.
struct IdleRule {
    std::string_view progId;
    std::string_view key;
    std::string_view other;
    int value;
};
constexpr IdleRule kIdleRules[] = {
    {"TMFilter.Tonwert.1", "AutoContrastRGB", "AutoContrast", 1},
    {"TMFilter.Tonwert.1", "Hi", "AutoContrast", 0},
    {"TMFilter.Tonwert.1", "Lo", "AutoContrast", 0},
    {"TMFilter.Tonwert.1", "Med", "AutoTone", 0},
    {"TMFilter.Tonwert.1", "Addhi", "AutoContrast", 1},
    {"TMFilter.Tonwert.1", "Addlo", "AutoContrast", 1},
    {"TMFilter.Tonwert.1", "Addmed", "AutoTone", 1},
    {"TMFilter.Passpartout.1", "Borderhori", "BordersizeOn", 1},
    {"TMFilter.Passpartout.1", "Borderverti", "BordersizeOn", 1},
    {"TMFilter.Passpartout.1", "TotalHori", "BordersizeOn", 0},
    {"TMFilter.Passpartout.1", "TotalVerti", "BordersizeOn", 0},
    {"TMFilter.Crop.1", "FixRatio", "FixRatioOn", 1},
    {"TMFilter.Crop.1", "Landscape", "FixRatioOn", 1},
    {"TMFilter.RotCrop.1", "FixRatio", "FixRatioOn", 1},
    {"TMFilter.RotCrop.1", "Landscape", "FixRatioOn", 1},
    {"TMFilter.PrintPad.1", "AspectRatioX", "ForceRatio", 1},
    {"TMFilter.PrintPad.1", "AspectRatioY", "ForceRatio", 1},
    {"TMFilter.PrintPad.1", "Toggle", "ForceRatio", 1},
    {"TMFilter.PrintPad.1", "Landscape", "ForceRatio", 1},
};

}  // namespace

GenericPanel::GenericPanel(const ClassRow& filter, QWidget* parent) : GenericPanel(filter, parent, Bare{}) {
    AddRows(Values().KeysInOrder());
    Finish();
}

GenericPanel::GenericPanel(const ClassRow& filter, QWidget* parent, Bare) : ParameterPanel(filter, parent) {
    GrayWhatIsIdle();
}

void GenericPanel::AddRows(const Keys& keys) {
    for (const std::string& name : keys) {
        const KeyInfo& key = Values().Key(name);
        if (key.role != Role::Setting || key.label.empty()) continue;
        if (key.caption != caption_ && !key.caption.empty()) AddCaption(key.caption);
        caption_ = key.caption;
        AddRow(key);
    }
}

void GenericPanel::AddRow(const KeyInfo& key) {
    if (key.channel != Channel::None) {
        const Keys parts = PartsOf(key);
        if (parts.front() == key.key) AddColor(key.label, parts);
    } else if (key.kind == Kind::Color) {
        AddColor(key.label, {key.key});
    } else if (!key.choices.empty()) {
        AddChoice(key.key);
    } else if (key.kind == Kind::Flag) {
        AddFlag(key.key);
    } else if (key.kind != Kind::Text) {
        AddNumber(key.key);
    }
}

ParameterPanel::Keys GenericPanel::PartsOf(const KeyInfo& key) const {
    Keys parts;
    for (const Channel channel : {Channel::Red, Channel::Green, Channel::Blue})
        for (const KeyInfo& other : Values().Info().keys)
            if (other.channel == channel && other.label == key.label) parts.push_back(other.key);
    return parts;
}

void GenericPanel::GrayWhatIsIdle() {
    for (const IdleRule& rule : kIdleRules)
        if (rule.progId == Values().Filter().description->progId)
            EnableWhen({std::string(rule.key)}, [this, &rule] { return Values().Integer(rule.other) == rule.value; });
}

}  // namespace kestrel
