#include "kestrel/dialogs/panels/MixerPanel.h"

#include <QCheckBox>
#include <QColor>
#include <QHBoxLayout>
#include <QPushButton>
#include <QRadioButton>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/SwatchBar.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {
namespace {

constexpr std::array<const char*, 4> kSwitches = {"BOnK", "BOnR", "BOnG", "BOnB"};
constexpr std::array<char, 4> kLetters = {'k', 'r', 'g', 'b'};
constexpr std::array<const char*, 3> kShares = {"R", "G", "B"};

std::string ShareKey(int row, const char* letter) {
    return kLetters[static_cast<std::size_t>(row)] + std::string(letter);
}
std::string FlagKey(const char* flag, int row) { return flag + std::to_string(row); }

}  // namespace

MixerPanel::MixerPanel(const ClassRow& filter, QWidget* parent)
    : ParameterPanel(filter, parent), bar_(new SwatchBar({Qt::gray, Qt::red, Qt::green, Qt::blue}, this)) {
    AddTarget();
    AddWhole(bar_);
    for (int row = 0; row < kRows; ++row) AddChannel(row);
    Follow([this] {
        for (int row = 0; row < kRows; ++row) {
            bar_->SetName(row, DialogText(StateOf(row)));
            bar_->SetInUse(row, Values().Flag(kSwitches[static_cast<std::size_t>(row)]) && !IsUnchanged(row));
        }
    });
    Translate([this] { ShowChannel(bar_->Chosen()); });
    connect(bar_, &SwatchBar::ChosenChanged, this, &MixerPanel::ShowChannel);
    bar_->Choose(1);
    Finish();
}

/// The two kinds of target image, and the switch that takes the filter out.
void MixerPanel::AddTarget() {
    AddCaption("IDS_RGBMIXER_RADIOCHANNEL");
    auto* const line = new QWidget(this);
    auto* const row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    auto* const color = new QRadioButton(line);
    auto* const monochrome = new QRadioButton(line);
    auto* const bypass = new QPushButton(line);
    color->setObjectName(u"color");
    monochrome->setObjectName(u"monochrome");
    bypass->setObjectName(u"BBypass");
    bypass->setCheckable(true);
    bypass->setAutoDefault(false);
    row->addWidget(color);
    row->addWidget(monochrome);
    row->addStretch(1);
    row->addWidget(bypass);
    AddWhole(line);
    Translate([color, monochrome, bypass, this] {
        color->setText(LineText("IDS_RGBMIXER_COLOR"));
        monochrome->setText(LineText("IDS_RGBMIXER_MONOCHROME"));
        bypass->setText(LineText("IDS_RGBMIXER_BTN_BYPASS"));
        bypass->setToolTip(MeaningOf(Values().Key("BBypass")));
    });
    Follow([color, monochrome, bypass, this] {
        (IsMonochrome() ? monochrome : color)->setChecked(true);
        bypass->setChecked(Values().Flag("BBypass"));
    });
    connect(color, &QRadioButton::clicked, this, [this] {
        bar_->Choose(1);
        ShowChannel(1);
        Take({{"BOnK", 0}, {"BOnR", 1}, {"BOnG", 1}, {"BOnB", 1}});
    });
    connect(monochrome, &QRadioButton::clicked, this, [this] {
        bar_->Choose(0);
        ShowChannel(0);
        Take({{"BOnK", 1}, {"BOnR", 0}, {"BOnG", 0}, {"BOnB", 0}});
    });
    connect(bypass, &QPushButton::clicked, this, [this](bool down) { Take("BBypass", down ? 1 : 0); });
}

void MixerPanel::AddChannel(int row) {
    auto& showers = showers_[static_cast<std::size_t>(row)];
    Keys keys;
    const auto number = [&](const std::string& key) {
        ValueRow* const values = AddNumber(key);
        showers.push_back([values](bool visible) { values->SetVisible(visible); });
        keys.push_back(key);
    };
    const auto flag = [&](const std::string& key) {
        QCheckBox* const box = AddFlag(key);
        showers.push_back([box](bool visible) { box->setVisible(visible); });
        keys.push_back(key);
    };
    for (const char* const share : kShares) number(ShareKey(row, share));
    flag(FlagKey("BRgb", row));
    number(ShareKey(row, "C"));
    flag(FlagKey("BCon", row));
    EnableWhen(keys, [this, row] { return Values().Flag(kSwitches[static_cast<std::size_t>(row)]); });
}

void MixerPanel::ShowChannel(int chosen) {
    for (int row = 0; row < kRows; ++row)
        for (const auto& show : showers_[static_cast<std::size_t>(row)]) show(row == chosen);
}

bool MixerPanel::IsMonochrome() const {
    return Values().Flag("BOnK") && !Values().Flag("BOnR") && !Values().Flag("BOnG") && !Values().Flag("BOnB");
}

bool MixerPanel::IsUnchanged(int row) const {
    constexpr int kWhole = 100;  // percent
    if (row == 0 || Values().Flag("BOnK") || Values().Integer(ShareKey(row, "C")) != 0) return false;
    for (int share = 0; share < 3; ++share)
        if (Values().Integer(ShareKey(row, kShares[static_cast<std::size_t>(share)])) !=
            (share + 1 == row ? kWhole : 0))
            return false;
    return true;
}

const char* MixerPanel::StateOf(int row) const {
    struct States {
        const char *unchanged, *gray, *colored, *mixed;
    };
    constexpr std::array<States, 3> kStates = {{{"IDS_RGBMIXER_TAB_RED_NO_MODS", "IDS_RGBMIXER_TAB_RED_GRAYED",
                                                 "IDS_RGBMIXER_TAB_RED_COLORED", "IDS_RGBMIXER_TAB_RED_MIXED"},
                                                {"IDS_RGBMIXER_TAB_GREEN_NO_MODS", "IDS_RGBMIXER_TAB_GREEN_GRAYED",
                                                 "IDS_RGBMIXER_TAB_GREEN_COLORED", "IDS_RGBMIXER_TAB_GREEN_MIXED"},
                                                {"IDS_RGBMIXER_TAB_BLUE_NO_MODS", "IDS_RGBMIXER_TAB_BLUE_GRAYED",
                                                 "IDS_RGBMIXER_TAB_BLUE_COLORED", "IDS_RGBMIXER_TAB_BLUE_MIXED"}}};
    const bool gray = Values().Flag("BOnK");
    if (row == 0)
        return !gray            ? "IDS_RGBMIXER_TAB_GRAY_OFF"
               : IsMonochrome() ? "IDS_RGBMIXER_TAB_GRAY_OUT"
                                : "IDS_RGBMIXER_TAB_GRAY_INTER";
    const States& states = kStates[static_cast<std::size_t>(row) - 1];
    if (!Values().Flag(kSwitches[static_cast<std::size_t>(row)])) return gray ? states.gray : states.unchanged;
    return gray ? states.colored : IsUnchanged(row) ? states.unchanged : states.mixed;
}

}  // namespace kestrel
