#include "kestrel/dialogs/controls/ValueRow.h"

#include <QDoubleSpinBox>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <algorithm>
#include <cmath>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/GlyphButton.h"
#include "kestrel/dialogs/controls/ResetLabel.h"

namespace kestrel {
namespace {

constexpr int kSliderWidth = 120;  // smallest, in pixels

}  // namespace

ValueRow::ValueRow(const QString& name, const ValueScale& scale, QGridLayout* grid, int row, QWidget* parent)
    : QObject(parent),
      scale_(scale),
      label_(new ResetLabel(parent)),
      farLabel_(new QLabel(parent)),
      field_(new QDoubleSpinBox(parent)),
      reset_(new GlyphButton(Glyph::Reset, parent)) {
    field_->setObjectName(name);
    field_->setDecimals(scale.decimals);
    field_->setRange(scale.minimum, scale.maximum);
    field_->setSingleStep(scale.step);
    field_->setSuffix(scale.suffix);
    field_->setAccelerated(true);
    field_->setContextMenuPolicy(Qt::NoContextMenu);  // its entries would be in one language only
    field_->installEventFilter(this);
    label_->setBuddy(field_);
    label_->setTextFormat(Qt::PlainText);
    farLabel_->setTextFormat(Qt::PlainText);
    reset_->setObjectName(name + QLatin1String(".reset"));
    grid->addWidget(label_, row, 0);
    if (scale.slider) {
        slider_ = new QSlider(Qt::Horizontal, parent);
        slider_->setObjectName(name + QLatin1String(".slider"));
        slider_->setRange(0, static_cast<int>(std::lround((scale.maximum - scale.minimum) / scale.sliderStep)));
        slider_->setMinimumWidth(kSliderWidth);
        slider_->setPageStep(std::max(slider_->maximum() / 10, 1));
        slider_->installEventFilter(this);
        grid->addWidget(slider_, row, 1);
        QWidget::setTabOrder(slider_, field_);
        connect(slider_, &QSlider::valueChanged, this, [this](int position) {
            const double shown = scale_.minimum + position * scale_.sliderStep;
            const QSignalBlocker quiet(field_);
            field_->setValue(shown);
            Q_EMIT ValueChanged(shown / scale_.factor);
        });
    }
    grid->addWidget(farLabel_, row, 2);
    grid->addWidget(field_, row, 3);
    grid->addWidget(reset_, row, 4);
    farLabel_->hide();
    connect(field_, &QDoubleSpinBox::valueChanged, this, [this](double shown) {
        ShowOnSlider(shown);
        Q_EMIT ValueChanged(shown / scale_.factor);
    });
    connect(reset_, &GlyphButton::clicked, this, &ValueRow::ResetWanted);
    connect(label_, &ResetLabel::DoubleClicked, this, &ValueRow::ResetWanted);
}

std::vector<QWidget*> ValueRow::Parts() const {
    std::vector<QWidget*> parts = {label_, field_, farLabel_};
    if (slider_) parts.insert(parts.begin() + 1, slider_);
    return parts;
}

void ValueRow::SetTexts(const QString& label, const QString& farLabel, const QString& meaning) {
    label_->setText(WithoutShortcut(label));
    farLabel_->setText(farLabel);
    farLabel_->setVisible(!farLabel.isEmpty() && !label_->isHidden());
    const QString name = farLabel.isEmpty() ? label : label + QString::fromUtf8(" \u2013 ") + farLabel;
    for (QWidget* const widget : Parts()) {
        widget->setToolTip(meaning);
        widget->setAccessibleName(name);
        widget->setAccessibleDescription(meaning);
    }
    reset_->setToolTip(DialogText("COMMON_DEFAULT"));
    reset_->setAccessibleName(name + QLatin1String(": ") + DialogText("COMMON_DEFAULT"));
}

void ValueRow::ShowOnSlider(double shown) {
    if (!slider_) return;
    const QSignalBlocker quiet(slider_);
    slider_->setValue(static_cast<int>(std::lround((shown - scale_.minimum) / scale_.sliderStep)));
}

void ValueRow::SetValue(double value, bool isDefault) {
    const double shown = std::clamp(value * scale_.factor, scale_.minimum, scale_.maximum);
    // A number that is being typed is left as it stands.
    if (std::abs(field_->value() - shown) > 0.5 * std::pow(10, -scale_.decimals)) {
        const QSignalBlocker quiet(field_);
        field_->setValue(shown);
    }
    ShowOnSlider(shown);
    isDefault_ = isDefault;
    reset_->setEnabled(!isDefault_ && field_->isEnabled());
}

void ValueRow::SetEnabled(bool enabled) {
    for (QWidget* const widget : Parts()) widget->setEnabled(enabled);
    reset_->setEnabled(!isDefault_ && enabled);
}

void ValueRow::SetVisible(bool visible) {
    for (QWidget* const widget : Parts())
        widget->setVisible(visible && (widget != farLabel_ || !farLabel_->text().isEmpty()));
    reset_->setVisible(visible);
}

void ValueRow::SetSuffix(const QString& suffix) { field_->setSuffix(suffix); }

void ValueRow::SetMinimumText(const QString& words) { field_->setSpecialValueText(words); }

/// The wheel turns only what has the focus: a panel that is scrolled keeps its values.
bool ValueRow::eventFilter(QObject* watched, QEvent* event) {
    const auto* const widget = qobject_cast<QWidget*>(watched);
    if (event->type() != QEvent::Wheel || !widget || widget->hasFocus()) return QObject::eventFilter(watched, event);
    event->ignore();
    return true;
}

}  // namespace kestrel
