#include "kestrel/dialogs/panels/ParameterPanel.h"

#include <QCheckBox>
#include <QColor>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QRadioButton>
#include <algorithm>
#include <numbers>
#include <optional>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/AngleDial.h"
#include "kestrel/dialogs/controls/ColorWell.h"
#include "kestrel/dialogs/controls/GlyphButton.h"
#include "kestrel/dialogs/controls/ResetLabel.h"
#include "kestrel/dialogs/controls/ValueRow.h"
#include "kestrel/host/Strings.h"

namespace kestrel {
namespace {

constexpr int kColumns = 5;  // label, control, label of the upper end, number, button
constexpr int kControlColumn = 1;
constexpr double kWidestSlider = 400;  // units; above, a field alone is handier

constexpr int kFineDecimals = 4;

QString NameOf(const std::string& key) { return QString::fromStdString(key); }

/// A text that ships with the library, without line breaks.
QString OneLine(const std::string& textKey) { return DialogText(textKey.c_str()).replace(u'\n', u' '); }

}  // namespace

QString LineText(const std::string& textKey) { return WithoutShortcut(OneLine(textKey)); }

ParameterPanel::ParameterPanel(const ClassRow& filter, QWidget* parent)
    : FilterPanel(parent), values_(filter), grid_(new QGridLayout) {
    auto* const column = new QVBoxLayout(this);
    column->addLayout(grid_);
    column->addStretch(1);
    grid_->setColumnStretch(kControlColumn, 1);
}

void ParameterPanel::SetParameterText(const std::string& text) {
    values_.Read(text);
    ShowValues();
}

void ParameterPanel::Reset() {
    values_.Reset();
    Tell();
}

void ParameterPanel::SetPicture(PictureContext* context) {
    picture_ = context;
    ShowValues();
}

void ParameterPanel::Retranslate() {
    const std::string_view code = LanguageCode(DialogLanguage());
    QLocale locale(QString::fromLatin1(code.data(), static_cast<qsizetype>(code.size())));
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    setLocale(locale);  // the decimal mark of the fields
    for (const auto& texts : translators_) texts();
    ShowValues();
}

void ParameterPanel::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange) Retranslate();
    FilterPanel::changeEvent(event);
}

void ParameterPanel::Finish() { Retranslate(); }

void ParameterPanel::ShowValues() {
    for (const auto& show : followers_) show();
    for (const auto& [key, enable] : enablers_) {
        const auto [first, last] = conditions_.equal_range(key);
        enable(std::all_of(first, last, [](const auto& condition) { return condition.second(); }));
    }
}

void ParameterPanel::Take(const std::vector<std::pair<std::string, double>>& values) {
    bool changed = false;
    for (const auto& [key, value] : values) changed |= values_.SetNumber(key, value);
    if (changed)
        Tell();
    else
        ShowValues();  // what the control shows may be out of range
}

void ParameterPanel::TakeWords(const std::string& key, std::string words) {
    if (values_.SetWords(key, std::move(words))) Tell();
}

void ParameterPanel::ToDefaults(const Keys& keys) {
    bool changed = false;
    for (const std::string& key : keys) changed |= values_.SetDefault(key);
    if (changed) Tell();
}

void ParameterPanel::Tell() {
    ShowValues();
    Q_EMIT Edited();
}

QSize ParameterPanel::PictureSize() const { return picture_ ? picture_->InputSize() : QSize(); }

int ParameterPanel::NextRow() { return grid_->rowCount(); }

void ParameterPanel::EnableWhen(const Keys& keys, const std::function<bool()>& condition) {
    for (const std::string& key : keys) conditions_.emplace(key, condition);
}

void ParameterPanel::OnEnable(const std::string& key, std::function<void(bool)> enable) {
    enablers_.emplace(key, std::move(enable));
}

QString ParameterPanel::LabelOf(const KeyInfo& key) const {
    const bool other = !key.otherLabel.empty() && values_.Flag(key.otherWhen);
    const std::string& textKey = other ? key.otherLabel : key.label;
    const std::string text = BuiltInText(textKey, DialogLanguage()).value_or(textKey);
    return QString::fromStdString(LineOf(text, key.channel)).replace(u'\n', u' ');
}

QString ParameterPanel::MeaningOf(const KeyInfo& key) {
    return QString::fromStdString(BuiltInText(key.label + "_TIP", DialogLanguage()).value_or(key.meaning));
}

ValueScale ParameterPanel::ScaleOf(const KeyInfo& key) {
    ValueScale scale;
    const bool whole = key.kind != Kind::Number;
    scale.decimals = whole ? 0 : 2;
    switch (key.unit) {
        case Unit::Percent:
            scale.suffix = QStringLiteral(" %");
            break;
        case Unit::Fraction:
            scale.factor = 100;
            scale.suffix = QStringLiteral(" %");
            scale.sliderStep = 0.1;
            break;
        case Unit::Pixels:
            scale.suffix = QStringLiteral(" px");
            break;
        case Unit::Degrees:
            scale.suffix = QStringLiteral("°");
            if (!whole) scale.sliderStep = 0.5;
            break;
        case Unit::TenthsOfDegree:
            scale.factor = 0.1;
            scale.decimals = 1;
            scale.suffix = QStringLiteral("°");
            break;
        case Unit::Radians:
            scale.factor = 180 / std::numbers::pi;
            scale.suffix = QStringLiteral("°");
            break;
        case Unit::PerInch:
            scale.suffix = QStringLiteral(" ppi");
            break;
        case Unit::None:
            break;
    }
    if (key.special) scale.decimals = kFineDecimals;
    scale.minimum = key.special ? 0 : key.minimum * scale.factor;
    scale.maximum = key.maximum * scale.factor;
    scale.slider = key.ranged && (whole || key.unit != Unit::None) && scale.maximum - scale.minimum <= kWidestSlider;
    return scale;
}

// Rows

void ParameterPanel::AddCaption(const std::string& textKey) {
    auto* const label = new QLabel(this);
    label->setTextFormat(Qt::PlainText);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    const int row = NextRow();
    if (row > 1) grid_->setRowMinimumHeight(row, fontMetrics().height() * 2);
    grid_->addWidget(label, row, 0, 1, kColumns, Qt::AlignBottom | Qt::AlignLeading);
    Translate([label, textKey] { label->setText(OneLine(textKey)); });
}

ValueRow* ParameterPanel::AddNumber(const std::string& key) { return AddNumber(key, ScaleOf(values_.Key(key))); }

ValueRow* ParameterPanel::AddNumber(const std::string& key, const ValueScale& scale) {
    auto* const row = new ValueRow(NameOf(key), scale, grid_, NextRow(), this);
    const auto texts = [this, row, key] {
        const KeyInfo& info = values_.Key(key);
        row->SetTexts(LabelOf(info), info.farLabel.empty() ? QString() : DialogText(info.farLabel.c_str()),
                      MeaningOf(info));
    };
    Translate(texts);
    if (!values_.Key(key).otherLabel.empty()) Follow(texts);
    // The value that has a meaning of its own lies below the others; the field shows it at its lower end.
    const std::optional<double> special = values_.Key(key).special;
    Follow([this, row, key, special] {
        const double value = values_.Number(key);
        row->SetValue(value == special ? 0 : value, values_.IsDefault(key));
    });
    OnEnable(key, [row](bool enabled) { row->SetEnabled(enabled); });
    connect(row, &ValueRow::ValueChanged, this,
            [this, key, special](double value) { Take(key, special && value <= 0 ? *special : value); });
    connect(row, &ValueRow::ResetWanted, this, [this, key] { ToDefaults({key}); });
    return row;
}

QCheckBox* ParameterPanel::AddFlag(const std::string& key) {
    QCheckBox* const box = MakeFlag(key);
    grid_->addWidget(box, NextRow(), 0, 1, kColumns);
    return box;
}

QCheckBox* ParameterPanel::MakeFlag(const std::string& key) {
    auto* const box = new QCheckBox(this);
    box->setObjectName(NameOf(key));
    Translate([this, box, key] {
        const KeyInfo& info = values_.Key(key);
        box->setText(WithoutShortcut(LabelOf(info)));
        box->setToolTip(MeaningOf(info));
        box->setAccessibleDescription(MeaningOf(info));
    });
    Follow([this, box, key] { box->setChecked(values_.Flag(key)); });
    OnEnable(key, [box](bool enabled) { box->setEnabled(enabled); });
    connect(box, &QCheckBox::clicked, this, [this, key](bool checked) { Take(key, checked ? 1 : 0); });
    return box;
}

AngleDial* ParameterPanel::MakeDial(const std::string& key, double zeroAt) {
    auto* const dial = new AngleDial(zeroAt, this);
    dial->setObjectName(NameOf(key) + QLatin1String(".dial"));
    const double factor = ScaleOf(values_.Key(key)).factor;
    Translate([this, dial, key] {
        dial->setAccessibleName(LabelOf(values_.Key(key)));
        dial->setToolTip(MeaningOf(values_.Key(key)));
    });
    Follow([this, dial, key, factor] { dial->SetAngle(values_.Number(key) * factor); });
    connect(dial, &AngleDial::AngleChanged, this, [this, key, factor](double degrees) { Take(key, degrees / factor); });
    return dial;
}

void ParameterPanel::AddChoice(const std::string& key) {
    auto* const list = new QComboBox(this);
    list->setObjectName(NameOf(key));
    for (const Choice& choice : values_.Key(key).choices) list->addItem(QString(), choice.value);
    AddControl(values_.Key(key).label, list, {key});
    Translate([this, list, key] {
        const auto& choices = values_.Key(key).choices;
        for (std::size_t i = 0; i < choices.size(); ++i)
            list->setItemText(static_cast<int>(i), DialogText(choices[i].label));
        list->setToolTip(MeaningOf(values_.Key(key)));
        list->setAccessibleDescription(list->toolTip());
    });
    Follow([this, list, key] { list->setCurrentIndex(list->findData(values_.Integer(key))); });
    connect(list, &QComboBox::activated, this, [this, list, key](int i) { Take(key, list->itemData(i).toInt()); });
}

void ParameterPanel::AddRadio(const std::string& key, int value) {
    auto* const button = new QRadioButton(this);
    button->setObjectName(NameOf(key) + QStringLiteral("=%1").arg(value));
    const int row = NextRow();
    grid_->addWidget(button, row, 0, 1, kColumns);
    Translate([this, button, key, value] {
        for (const Choice& choice : values_.Key(key).choices)
            if (choice.value == value) button->setText(LineText(choice.label));
        button->setToolTip(MeaningOf(values_.Key(key)));
        button->setAccessibleDescription(button->toolTip());
    });
    Follow([this, button, key, value] { button->setChecked(values_.Integer(key) == value); });
    OnEnable(key, [button](bool enabled) { button->setEnabled(enabled); });
    connect(button, &QRadioButton::clicked, this, [this, key, value] { Take(key, value); });
}

void ParameterPanel::AddControl(const std::string& textKey, QWidget* control, const Keys& keys) {
    auto* const label = new ResetLabel(this);
    auto* const reset = new GlyphButton(Glyph::Reset, this);
    label->setTextFormat(Qt::PlainText);
    label->setBuddy(control);
    reset->setObjectName(control->objectName() + QLatin1String(".reset"));
    const int row = NextRow();
    grid_->addWidget(label, row, 0);
    grid_->addWidget(control, row, kControlColumn, 1, kColumns - 2);
    grid_->addWidget(reset, row, kColumns - 1);
    const KeyInfo& first = values_.Key(keys.front());
    Translate([label, control, reset, textKey, &first] {
        const QString name = OneLine(textKey);
        label->setText(WithoutShortcut(name));
        label->setToolTip(MeaningOf(first));
        control->setAccessibleName(name);
        reset->SetMeaning(DialogText("COMMON_DEFAULT"));
        reset->setAccessibleName(name + QLatin1String(": ") + DialogText("COMMON_DEFAULT"));
    });
    const auto showReset = [this, reset, control, keys] {
        const bool isDefault =
            std::all_of(keys.begin(), keys.end(), [this](const std::string& key) { return values_.IsDefault(key); });
        reset->setEnabled(!isDefault && control->isEnabled());
    };
    Follow(showReset);
    OnEnable(keys.front(), [label, control, showReset](bool enabled) {
        label->setEnabled(enabled);
        control->setEnabled(enabled);
        showReset();
    });
    connect(reset, &GlyphButton::clicked, this, [this, keys] { ToDefaults(keys); });
    connect(label, &ResetLabel::DoubleClicked, this, [this, keys] { ToDefaults(keys); });
}

void ParameterPanel::AddWhole(QWidget* control) { grid_->addWidget(control, NextRow(), 0, 1, kColumns); }

// Colors

/// Three keys hold a byte each; a single number is written in hexadecimal with blue in the low byte, or else has red
/// there.
QColor ParameterPanel::ColorOf(const Keys& keys) const {
    if (keys.size() == 3) return {values_.Integer(keys[0]), values_.Integer(keys[1]), values_.Integer(keys[2])};
    const auto number = static_cast<QRgb>(values_.Integer(keys[0]));
    return values_.Key(keys[0]).hexadecimal ? QColor(number) : QColor(qBlue(number), qGreen(number), qRed(number));
}

void ParameterPanel::TakeColor(const Keys& keys, const QColor& color) {
    if (keys.size() == 3) return Take({{keys[0], color.red()}, {keys[1], color.green()}, {keys[2], color.blue()}});
    constexpr QRgb kNoAlpha = 0xffffff;
    const QRgb plain = color.rgb() & kNoAlpha;
    const QRgb swapped = qRgb(color.blue(), color.green(), color.red()) & kNoAlpha;
    Take(keys[0], values_.Key(keys[0]).hexadecimal ? plain : swapped);
}

QWidget* ParameterPanel::MakePipette(const std::string& textKey, std::function<void(const QColor&)> take) {
    auto* const pipette = new GlyphButton(Glyph::Pipette, this);
    Translate([pipette, textKey] { pipette->SetMeaning(OneLine(textKey)); });
    Follow([this, pipette] { pipette->setEnabled(!PictureSize().isEmpty()); });
    connect(pipette, &GlyphButton::clicked, this, [this, take = std::move(take)] {
        if (!picture_) return;
        picture_->PickPoint(this, [panel = QPointer(this), take](QPoint, QRgb color) {
            if (panel) take(QColor(color));
        });
    });
    return pipette;
}

void ParameterPanel::AddColor(const std::string& textKey, const Keys& keys, const std::string& pickTextKey) {
    auto* const control = new QWidget(this);
    auto* const well = new ColorWell(control);
    control->setObjectName(NameOf(keys.front()) + QLatin1String(".color"));
    well->setObjectName(control->objectName() + QLatin1String(".well"));
    auto* const row = new QHBoxLayout(control);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(well, 1);
    QWidget* const pipette = MakePipette(pickTextKey, [this, keys](const QColor& color) { TakeColor(keys, color); });
    pipette->setObjectName(NameOf(keys.front()) + QLatin1String(".pick"));
    row->addWidget(pipette);
    control->setFocusProxy(well);
    AddControl(textKey, control, keys);
    Translate([this, well, textKey, key = keys.front()] {
        well->setAccessibleName(OneLine(textKey));
        well->setToolTip(MeaningOf(values_.Key(key)));
        well->setAccessibleDescription(well->toolTip());
    });
    Follow([this, well, keys] { well->SetColor(ColorOf(keys)); });
    connect(well, &ColorWell::ColorChanged, this, [this, keys](const QColor& color) { TakeColor(keys, color); });
}

}  // namespace kestrel
