#include "kestrel/dialogs/panels/RotatePanel.h"

#include <QHBoxLayout>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/AngleDial.h"
#include "kestrel/dialogs/controls/GlyphButton.h"

namespace kestrel {
namespace {

constexpr double kUp = 90;  // where the hand of the dial points while nothing is turned

struct Step {
    Glyph glyph;
    double degrees;  ///< counterclockwise
    const char* words;
    const char* textKey;
};
constexpr Step kSteps[] = {{Glyph::TurnLeft, 45, "45°", "IDS_DREH_45CCW"},
                           {Glyph::TurnRight, -45, "45°", "IDS_DREH_45CW"},
                           {Glyph::HalfTurn, 180, "180°", "IDS_DREH_180"}};

}  // namespace

RotatePanel::RotatePanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    auto* const line = new QWidget(this);
    auto* const row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(MakeDial("Angle", kUp));
    row->addSpacing(8);
    for (const Step& step : kSteps) {
        auto* const button = new GlyphButton(step.glyph, line);
        button->setObjectName(QLatin1String(step.textKey));
        button->setText(QString::fromUtf8(step.words));
        row->addWidget(button);
        Translate([button, &step] { button->SetMeaning(DialogText(step.textKey)); });
        connect(button, &GlyphButton::clicked, this,
                [this, &step] { Take("Angle", Values().Number("Angle") + step.degrees); });
    }
    row->addStretch(1);
    AddWhole(line);
    AddNumber("Angle");
    AddFlag("MirrorOn");
    Finish();
}

}  // namespace kestrel
