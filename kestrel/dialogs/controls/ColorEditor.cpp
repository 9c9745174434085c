#include "kestrel/dialogs/controls/ColorEditor.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/HueField.h"

namespace kestrel {
namespace {

constexpr int kFullByte = 255;
constexpr const char* kChannelKeys[] = {"COMMON_RED", "COMMON_GREEN", "COMMON_BLUE"};

}  // namespace

ColorEditor::ColorEditor(const QColor& color, QWidget* parent)
    : QFrame(parent, Qt::Popup),
      field_(new HueField(this)),
      brightness_(new QSlider(Qt::Vertical, this)),
      number_(new QLineEdit(this)) {
    setFrameShape(QFrame::StyledPanel);
    setAttribute(Qt::WA_DeleteOnClose);
    field_->setObjectName(u"hues");
    brightness_->setObjectName(u"brightness");
    number_->setObjectName(u"number");
    brightness_->setRange(0, kFullByte);
    static const QRegularExpression hexadecimal(QStringLiteral("#?[0-9A-Fa-f]{0,6}"));
    number_->setValidator(new QRegularExpressionValidator(hexadecimal, number_));
    number_->setContextMenuPolicy(Qt::NoContextMenu);
    auto* const grid = new QGridLayout(this);
    grid->addWidget(field_, 0, 0, 1, 2);
    grid->addWidget(brightness_, 0, 2);
    for (int i = 0; i < 3; ++i) {
        channelLabels_[i] = new QLabel(this);
        channels_[i] = new QSpinBox(this);
        channels_[i]->setObjectName(QLatin1String(kChannelKeys[i]));
        channels_[i]->setRange(0, kFullByte);
        channels_[i]->setContextMenuPolicy(Qt::NoContextMenu);
        channelLabels_[i]->setBuddy(channels_[i]);
        grid->addWidget(channelLabels_[i], 1 + i, 0);
        grid->addWidget(channels_[i], 1 + i, 1, 1, 2);
        connect(channels_[i], &QSpinBox::valueChanged, this,
                [this] { Take(QColor(channels_[0]->value(), channels_[1]->value(), channels_[2]->value())); });
    }
    grid->addWidget(number_, 4, 1, 1, 2);
    const auto take = [this] { Take(QColor::fromHsv(field_->Hue(), field_->Saturation(), brightness_->value())); };
    connect(field_, &HueField::MarkMoved, this, [this, take] {
        hue_ = field_->Hue();
        if (brightness_->value() == 0) brightness_->setValue(kFullByte);  // black has every hue
        take();
    });
    connect(brightness_, &QSlider::valueChanged, this, take);
    connect(number_, &QLineEdit::textEdited, this, [this](const QString& text) {
        const QString digits = text.startsWith(u'#') ? text.mid(1) : text;
        if (digits.size() == 6) Take(QColor(QLatin1String("#") + digits));
    });
    SetTexts();
    SetColor(color);
}

void ColorEditor::SetColor(const QColor& color) {
    color_ = color;
    if (color.hsvHue() >= 0) hue_ = color.hsvHue();
    Show();
}

void ColorEditor::Take(const QColor& color) {
    if (color.rgb() == color_.rgb()) return;
    SetColor(color);
    Q_EMIT ColorChanged(color_);
}

void ColorEditor::Show() {
    const QSignalBlocker quietSlider(brightness_);
    brightness_->setValue(color_.value());
    field_->SetMark(hue_, color_.hsvSaturation());
    const int values[] = {color_.red(), color_.green(), color_.blue()};
    for (int i = 0; i < 3; ++i) {
        const QSignalBlocker quiet(channels_[i]);
        channels_[i]->setValue(values[i]);
    }
    if (!number_->hasFocus()) number_->setText(color_.name());
}

void ColorEditor::SetTexts() {
    for (int i = 0; i < 3; ++i) {
        channelLabels_[i]->setText(DialogText(kChannelKeys[i]));
        channels_[i]->setAccessibleName(DialogText(kChannelKeys[i]));
    }
    field_->setAccessibleName(DialogText("IDS_HSB_HUE") + QLatin1String(", ") + DialogText("IDS_HSB_SAT"));
    field_->setToolTip(field_->accessibleName());
    brightness_->setAccessibleName(DialogText("IDS_HSB_BRIGHT"));
    brightness_->setToolTip(brightness_->accessibleName());
    number_->setAccessibleName(DialogText("COMMON_COLOR"));
}

}  // namespace kestrel
