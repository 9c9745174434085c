#include "kestrel/dialogs/panels/ScalePanel.h"

#include <QCheckBox>

namespace kestrel {
namespace {

constexpr int kFree = 0;
constexpr int kKept = 1;
constexpr int kKeptAndTurned = 2;
const std::string kKey = "KeepProportions";

}  // namespace

ScalePanel::ScalePanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    AddCaption("IDS_SCALE_MAXSIZE");
    AddNumber("MaximumHorizontalSize");
    AddNumber("MaximumVerticalSize");
    auto* const keep = new QCheckBox(this);
    auto* const turn = new QCheckBox(this);
    keep->setObjectName(QString::fromStdString(kKey));
    turn->setObjectName(QString::fromStdString(kKey) + QLatin1String(".turn"));
    AddWhole(keep);
    AddWhole(turn);
    AddFlag("AllowEnlarge");
    Translate([keep, turn] {
        keep->setText(LineText("IDS_SCALE_PROP"));
        keep->setToolTip(LineText("IDS_SCALE_PROP_TIP"));
        turn->setText(LineText("IDS_SCALE_PROP_TURN"));
        turn->setToolTip(LineText("IDS_SCALE_PROP_TURN_TIP"));
    });
    Follow([this, keep, turn] {
        keep->setChecked(Values().Integer(kKey) != kFree);
        turn->setChecked(Values().Integer(kKey) == kKeptAndTurned);
        turn->setEnabled(keep->isChecked());
    });
    connect(keep, &QCheckBox::clicked, this, [this](bool on) { Take(kKey, on ? kKept : kFree); });
    connect(turn, &QCheckBox::clicked, this, [this](bool on) { Take(kKey, on ? kKeptAndTurned : kKept); });
    Finish();
}

}  // namespace kestrel
