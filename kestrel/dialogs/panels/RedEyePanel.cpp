#include "kestrel/dialogs/panels/RedEyePanel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPointer>
#include <QSignalBlocker>
#include <algorithm>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/GlyphButton.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {
namespace {

constexpr const char* kLetters[] = {"X", "Y", "E", "F"};
constexpr int kLinesShown = 5;

std::string KeyOf(int value, int eye) { return kLetters[value] + std::to_string(eye); }

}  // namespace

RedEyePanel::RedEyePanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    AddList();
    AddValues();
    Finish();
}

void RedEyePanel::AddList() {
    auto* const hint = new QLabel(this);
    hint->setWordWrap(true);
    AddWhole(hint);
    list_ = new QListWidget(this);
    list_->setObjectName(u"eyes");
    list_->setFixedHeight(list_->fontMetrics().lineSpacing() * kLinesShown + 12);
    AddWhole(list_);
    auto* const line = new QWidget(this);
    auto* const row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    add_ = new GlyphButton(Glyph::Add, line);
    remove_ = new GlyphButton(Glyph::Remove, line);
    add_->setObjectName(u"add");
    add_->setCheckable(true);
    remove_->setObjectName(u"remove");
    row->addWidget(add_);
    row->addWidget(remove_);
    row->addStretch(1);
    AddWhole(line);
    Translate([this, hint] {
        hint->setText(DialogText("IDS_REDEYE_CLICK"));
        list_->setAccessibleName(DialogText("IDS_REDEYE_POINTS"));
        add_->setText(DialogText("IDS_REDEYE_ADD"));
        add_->SetMeaning(DialogText("IDS_REDEYE_ADD_TIP"));
        remove_->setText(DialogText("IDS_REDEYE_REMOVE"));
        remove_->setAccessibleName(remove_->text());
    });
    connect(list_, &QListWidget::currentRowChanged, this, [this] { ShowValues(); });
    connect(add_, &GlyphButton::toggled, this, [this](bool down) {
        if (down) PickNext();
    });
    connect(remove_, &GlyphButton::clicked, this, &RedEyePanel::RemoveChosen);
}

/// One row for each value, which shows that of the chosen eye.
void RedEyePanel::AddValues() {
    for (int i = 0; i < kValues; ++i) {
        const KeyInfo& first = Values().Key(KeyOf(i, 1));
        rows_[i] = new ValueRow(QLatin1String(kLetters[i]), ScaleOf(first), Grid(), NextRow(), this);
        Translate([this, i, &first] { rows_[i]->SetTexts(LabelOf(first), {}, MeaningOf(first)); });
        connect(rows_[i], &ValueRow::ValueChanged, this, [this, i](double value) {
            if (Chosen() > 0) Take(KeyOf(i, Chosen()), value);
        });
        connect(rows_[i], &ValueRow::ResetWanted, this, [this, i] {
            if (Chosen() > 0) ToDefaults({KeyOf(i, Chosen())});
        });
    }
}

int RedEyePanel::Count() const { return Values().Integer("N"); }

int RedEyePanel::Chosen() const { return std::clamp(list_->currentRow() + 1, 0, Count()); }

void RedEyePanel::ShowValues() {
    ShowList();
    const bool hasRoom = Count() < static_cast<int>(Values().Key("N").maximum);
    add_->setEnabled(hasRoom && !PictureSize().isEmpty());
    if (!add_->isEnabled()) add_->setChecked(false);
    remove_->setEnabled(Chosen() > 0);
    for (int i = 0; i < kValues; ++i) {
        rows_[i]->SetEnabled(Chosen() > 0);
        if (Chosen() > 0)
            rows_[i]->SetValue(Values().Number(KeyOf(i, Chosen())), Values().IsDefault(KeyOf(i, Chosen())));
    }
    ParameterPanel::ShowValues();
}

void RedEyePanel::ShowList() {
    const QSignalBlocker quiet(list_);
    while (list_->count() > Count()) delete list_->takeItem(list_->count() - 1);
    while (list_->count() < Count()) list_->addItem(QString());
    for (int eye = 1; eye <= Count(); ++eye)
        list_->item(eye - 1)->setText(QStringLiteral("%1:  %2 %, %3 %")
                                          .arg(eye)
                                          .arg(locale().toString(Values().Number(KeyOf(0, eye)) * 100, 'f', 1),
                                               locale().toString(Values().Number(KeyOf(1, eye)) * 100, 'f', 1)));
    if (list_->currentRow() < 0 && Count() > 0) list_->setCurrentRow(0);
}

/// Eyes are clicked one after the other, until the button is let up.
void RedEyePanel::PickNext() {
    if (!Picture()) return;
    Picture()->PickPoint(this, [panel = QPointer(this)](QPoint point, QRgb) {
        if (!panel || !panel->add_->isChecked()) return;
        const QSizeF size = panel->PictureSize();
        if (size.isEmpty()) return;
        panel->AddEye((point.x() + 0.5) / size.width(), (point.y() + 0.5) / size.height());
        if (panel && panel->add_->isChecked()) panel->PickNext();
    });
}

void RedEyePanel::AddEye(double x, double y) {
    const int eye = Count() + 1;
    if (!Values().SetNumber("N", eye)) return;
    const double values[kValues] = {x, y, 0, 0};
    for (int i = 0; i < kValues; ++i) Values().SetNumber(KeyOf(i, eye), values[i]);
    ShowList();
    const QSignalBlocker quiet(list_);
    list_->setCurrentRow(eye - 1);
    Tell();
}

void RedEyePanel::RemoveChosen() {
    const int chosen = Chosen();
    if (chosen == 0) return;
    for (int eye = chosen; eye < Count(); ++eye)
        for (int i = 0; i < kValues; ++i) Values().SetNumber(KeyOf(i, eye), Values().Number(KeyOf(i, eye + 1)));
    Values().SetNumber("N", Count() - 1);
    Tell();
}

}  // namespace kestrel
