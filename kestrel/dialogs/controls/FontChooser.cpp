#include "kestrel/dialogs/controls/FontChooser.h"

#include <QCheckBox>
#include <QFontComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpinBox>

#include "kestrel/dialogs/DialogText.h"

namespace kestrel {
namespace {

constexpr int kLargestFont = 4096;          // pixels
constexpr std::uint8_t kAnyFamily = 0;      // pitch and family, as fonts number them
constexpr std::uint8_t kFixedPitch = 0x31;  // a modern face of fixed pitch

}  // namespace

FontChooser::FontChooser(QWidget* parent)
    : QWidget(parent),
      family_(new QFontComboBox(this)),
      size_(new QSpinBox(this)),
      bold_(new QCheckBox(this)),
      italic_(new QCheckBox(this)),
      underline_(new QCheckBox(this)) {
    family_->setObjectName(u"fname");
    size_->setObjectName(u"fsz");
    bold_->setObjectName(u"fb");
    italic_->setObjectName(u"fi");
    underline_->setObjectName(u"fu");
    family_->lineEdit()->setMaxLength(FontProperty::kNameSize - 1);
    family_->lineEdit()->setContextMenuPolicy(Qt::NoContextMenu);
    family_->setMinimumContentsLength(12);
    family_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    size_->setRange(1, kLargestFont);
    size_->setSuffix(QStringLiteral(" px"));
    size_->setContextMenuPolicy(Qt::NoContextMenu);
    auto* const grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(family_, 0, 0, 1, 3);
    grid->addWidget(size_, 0, 3);
    grid->addWidget(bold_, 1, 0);
    grid->addWidget(italic_, 1, 1);
    grid->addWidget(underline_, 1, 2, 1, 2);
    setFocusProxy(family_);
    connect(family_, &QFontComboBox::currentTextChanged, this, &FontChooser::TakeFamily);
    connect(size_, &QSpinBox::valueChanged, this, [this](int pixels) {
        font_.SetFontSize(pixels);
        Q_EMIT FontChanged();
    });
    const auto style = [this](QCheckBox* box, void (FontProperty::*set)(bool, bool)) {
        connect(box, &QCheckBox::clicked, this, [this, set](bool on) {
            (font_.*set)(on, true);
            Q_EMIT FontChanged();
        });
    };
    style(bold_, &FontProperty::SetBold);
    style(italic_, &FontProperty::SetItalic);
    style(underline_, &FontProperty::SetUnderline);
    Retranslate();
}

void FontChooser::SetFont(const FontProperty& font) {
    font_ = font;
    const QSignalBlocker quietFamily(family_), quietSize(size_);
    const QString family = QString::fromUtf8(font.GetFontName());
    if (family_->currentText().trimmed() != family) family_->setCurrentText(family);  // a blank is being typed
    size_->setValue(font.GetFontSize());
    bold_->setChecked(font.IsBold());
    italic_->setChecked(font.IsItalic());
    underline_->setChecked(font.IsUnderline());
}

/// A family that is not installed may be typed: the text may be drawn on another machine.
void FontChooser::TakeFamily(const QString& family) {
    const QByteArray name = family.trimmed().toUtf8();
    if (name.isEmpty() || name.size() >= FontProperty::kNameSize || name == font_.GetFontName()) return;
    font_.SetFontName(name.constData());
    if (QFontDatabase::families().contains(family))
        font_.SetPitchAndFamily(QFontDatabase::isFixedPitch(family) ? kFixedPitch : kAnyFamily);
    Q_EMIT FontChanged();
}

void FontChooser::Retranslate() {
    bold_->setText(DialogText("IDS_TEXT_BOLD"));
    italic_->setText(DialogText("IDS_TEXT_ITALIC"));
    underline_->setText(DialogText("IDS_TEXT_UNDERLINE"));
    family_->setAccessibleName(DialogText("IDS_TEXT_FONT"));
    family_->setToolTip(DialogText("IDS_TEXT_CHOOSEFONT"));
    size_->setAccessibleName(DialogText("IDS_TEXT_FONTSIZE"));
    size_->setToolTip(DialogText("IDS_TEXT_FONTSIZE"));
}

}  // namespace kestrel
