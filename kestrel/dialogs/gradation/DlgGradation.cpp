#include "kestrel/dialogs/gradation/DlgGradation.h"

#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTimer>
#include <QToolButton>
#include <algorithm>
#include <utility>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/gradation/CurveCommand.h"
#include "kestrel/dialogs/gradation/CurvePlot.h"
#include "kestrel/dialogs/gradation/PresetQuestions.h"
#include "kestrel/editing/GradationPreset.h"
#include "kestrel/host/Strings.h"

namespace kestrel {
namespace {

constexpr int kTypingPause = 500;  // milliseconds after which typed values count
constexpr int kInset = 6;          // of buttons within their group, pixels

/// Labels of the buttons, in the order of `CurveCommand`.
constexpr const char* kLabelKeys[] = {
    "IDS_GRADCURVES_VIEW_PERCENT", "IDS_GRADCURVES_VIEW_SPLINE",  "IDS_GRADCURVES_VIEW_GRID",
    "IDS_GRADCURVES_VIEW_RGB",     "IDS_GRADCURVES_VIEW_YIQ",     "IDS_GRADCURVES_VIEW_GRAY",
    "IDS_GRADCURVES_VIEW_RED",     "IDS_GRADCURVES_VIEW_GREEN",   "IDS_GRADCURVES_VIEW_BLUE",
    "IDS_GRADCURVES_POINT_ADD",    "IDS_GRADCURVES_POINT_REMOVE", "IDS_GRADCURVES_POINT_REMOVESELECTED",
    "IDS_GRADCURVES_MIRROR_H",     "IDS_GRADCURVES_MIRROR_V",     "IDS_GRADCURVES_MOVE_LEFT",
    "IDS_GRADCURVES_MOVE_RIGHT",   "IDS_GRADCURVES_MOVE_UP",      "IDS_GRADCURVES_MOVE_DOWN",
    "IDS_GRADCURVES_PRESET_SAVE",  "IDS_GRADCURVES_PRESET_DELETE"};

const char* LabelKey(CurveCommand command) { return kLabelKeys[static_cast<std::size_t>(command)]; }

bool IsToggle(CurveCommand command) { return command <= CurveCommand::ShowBlue; }

constexpr std::array<CurveCommand, Gradation::kChannels> kShowChannel = {
    CurveCommand::ShowGray, CurveCommand::ShowRed, CurveCommand::ShowGreen, CurveCommand::ShowBlue};

/// The channel that one of the four commands shows.
int ChannelOf(CurveCommand show) {
    return static_cast<int>(std::ranges::find(kShowChannel, show) - kShowChannel.begin());
}

/// Labels of the number fields: what goes in, what comes out.
constexpr std::array<std::array<const char*, 2>, Gradation::kChannels> kNumberKeys = {
    {{"IDS_GRADCURVES_GRAY_IN", "IDS_GRADCURVES_GRAY_OUT"},
     {"IDS_GRADCURVES_RED_IN", "IDS_GRADCURVES_RED_OUT"},
     {"IDS_GRADCURVES_GREEN_IN", "IDS_GRADCURVES_GREEN_OUT"},
     {"IDS_GRADCURVES_BLUE_IN", "IDS_GRADCURVES_BLUE_OUT"}}};

/// The name of a preset that came with the library in the user's language; any other name as it is.
QString PresetLabel(const PresetEntry& entry) {
    const QString name = QString::fromStdString(entry.name);
    const std::string key =
        "IDS_GRADCURVES_FACTORY_" + name.toUpper().replace(QLatin1Char(' '), QLatin1Char('_')).toStdString();
    const bool hasLabel = !entry.user && BuiltInStrings().Has(key);
    return hasLabel ? DialogText(key.c_str()) : name;
}

}  // namespace

struct CDlgGradation::Presets {
    explicit Presets(QWidget& over) : questions(over) {}

    PresetQuestions questions;
    GradationPresetList list{questions};
};

// ---- construction --------------------------------------------------------------------------------------------------

CDlgGradation::CDlgGradation(QWidget* parent) : FilterPanel(parent), presets_(std::make_shared<Presets>(*this)) {
    Build();
    SizeIcons();
    presets_->list.Open();
    Retranslate();
}

/// A number field that dies with the focus says that its editing is finished.
CDlgGradation::~CDlgGradation() {
    for (QSpinBox* const number : numbers_) number->disconnect(this);
}

void CDlgGradation::Build() {
    plot_ = new CurvePlot(gradation_, this);
    connect(plot_, &CurvePlot::Moved, this, &CDlgGradation::ShowState);
    connect(plot_, &CurvePlot::Changed, this, &CDlgGradation::Edited);
    typed_ = new QTimer(this);
    typed_->setSingleShot(true);
    typed_->setInterval(kTypingPause);
    connect(typed_, &QTimer::timeout, this, &CDlgGradation::TakeTyped);

    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(BuildViewRow());
    layout->addWidget(plot_, 1);
    layout->addLayout(BuildNumbers());
    auto* const shapes = new QHBoxLayout;
    QGroupBox* const flips = MakeGroup("IDS_GRADCURVES_MIRROR");
    AddButtons(*flips->layout(), {CurveCommand::FlipY, CurveCommand::FlipX});
    QGroupBox* const moves = MakeGroup("IDS_GRADCURVES_MOVE");
    auto* const arrows = new QWidget(moves);
    arrows->setLayoutDirection(Qt::LeftToRight);  // left is left in every language
    auto* const arrowRow = new QHBoxLayout(arrows);
    arrowRow->setContentsMargins({});
    arrowRow->setSpacing(1);
    AddButtons(*arrowRow,
               {CurveCommand::MoveLeft, CurveCommand::MoveUp, CurveCommand::MoveDown, CurveCommand::MoveRight});
    moves->layout()->addWidget(arrows);
    shapes->addWidget(flips);
    shapes->addWidget(moves);
    layout->addLayout(shapes);
    layout->addWidget(BuildSaved());
    setFocusProxy(plot_);
}

QLayout* CDlgGradation::BuildViewRow() {
    auto* const row = new QHBoxLayout;
    row->setSpacing(1);
    AddButtons(*row, {CurveCommand::TogglePercent, CurveCommand::ToggleSpline, CurveCommand::ToggleGrid,
                      CurveCommand::ToggleAllChannels, CurveCommand::ToggleLuminance});
    row->addStretch();
    AddButtons(*row, {CurveCommand::ShowGray, CurveCommand::ShowRed, CurveCommand::ShowGreen, CurveCommand::ShowBlue});
    return row;
}

QLayout* CDlgGradation::BuildNumbers() {
    auto* const grid = new QGridLayout;
    for (int i = 0; i < 2; ++i) {
        auto* const label = new QLabel(this);
        auto* const number = new QSpinBox(this);
        number->setRange(CGradCurve::kMinimum, CGradCurve::kMaximum);
        label->setBuddy(number);
        connect(number, &QSpinBox::valueChanged, this, [this] {
            waiting_ = true;
            typed_->start();
        });
        connect(number, &QSpinBox::editingFinished, this, &CDlgGradation::TakeTyped);
        grid->addWidget(label, i, 0);
        grid->addWidget(number, i, 1);
        numberLabels_[static_cast<std::size_t>(i)] = label;
        numbers_[static_cast<std::size_t>(i)] = number;
    }
    auto* const points = new QHBoxLayout;
    points->setSpacing(1);
    AddButtons(*points, {CurveCommand::Insert, CurveCommand::RemoveAuto, CurveCommand::RemoveSelected});
    grid->setColumnStretch(2, 1);
    grid->addLayout(points, 0, 3, 2, 1, Qt::AlignVCenter);
    return grid;
}

QGroupBox* CDlgGradation::BuildSaved() {
    QGroupBox* const saved = MakeGroup("IDS_GRADCURVES_SETTINGS");
    list_ = new QComboBox(saved);
    list_->setMinimumContentsLength(12);
    list_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(list_, &QComboBox::activated, this, &CDlgGradation::LoadSelectedPreset);
    saved->layout()->addWidget(list_);
    AddButtons(*saved->layout(), {CurveCommand::Save, CurveCommand::Delete});
    return saved;
}

QGroupBox* CDlgGradation::MakeGroup(const char* captionKey) {
    auto* const group = new QGroupBox(this);
    group->setObjectName(QLatin1String(captionKey));
    auto* const row = new QHBoxLayout(group);
    row->setContentsMargins(kInset, kInset / 2, kInset, kInset / 2);
    row->setSpacing(1);
    groups_.push_back(group);
    return group;
}

void CDlgGradation::AddButtons(QLayout& layout, std::initializer_list<CurveCommand> commands) {
    for (const CurveCommand command : commands) {
        auto* const button = new QToolButton(this);
        button->setObjectName(QLatin1String(LabelKey(command)));
        button->setIcon(CurveIcon(command));
        button->setAutoRaise(true);
        button->setCheckable(IsToggle(command));
        button->setFocusPolicy(Qt::StrongFocus);
        connect(button, &QToolButton::clicked, this, [this, command] { Run(command); });
        layout.addWidget(button);
        buttons_[command] = button;
    }
}

void CDlgGradation::SizeIcons() {
    const int side = fontMetrics().height() * 4 / 3;
    for (const auto& [command, button] : buttons_) button->setIconSize({side, side});
}

// ---- commands ------------------------------------------------------------------------------------------------------

void CDlgGradation::Run(CurveCommand command) {
    TakeTyped();
    const QPointer<CDlgGradation> self(this);  // a question of the command may outlive the editor
    const bool changed = Apply(command);
    if (!self) return;
    ShowState();
    plot_->setFocus();
    if (changed) Q_EMIT Edited();
}

bool CDlgGradation::Apply(CurveCommand command) {
    if (command == CurveCommand::Save)
        SaveCurrentPreset();
    else if (command == CurveCommand::Delete)
        DeleteSelectedPreset();
    else
        return IsToggle(command) ? Toggle(command) : EditCurve(command);
    return false;
}

bool CDlgGradation::Toggle(CurveCommand command) {
    switch (command) {
        case CurveCommand::TogglePercent:
            gradation_.percent = !gradation_.percent;
            return false;
        case CurveCommand::ToggleSpline:
            gradation_.SetLinear(!gradation_.IsLinear());
            return true;
        case CurveCommand::ToggleGrid:
            gradation_.grid = !gradation_.grid;
            return false;
        case CurveCommand::ToggleAllChannels:
            gradation_.onlyActive = !gradation_.onlyActive;
            return false;
        case CurveCommand::ToggleLuminance:
            gradation_.yiq = !gradation_.yiq;
            return true;
        default:
            gradation_.channel = ChannelOf(command);
            return false;
    }
}

bool CDlgGradation::EditCurve(CurveCommand command) {
    CGradCurve& curve = gradation_.Active();
    switch (command) {
        case CurveCommand::Insert:
            return curve.InsertAuto();
        case CurveCommand::RemoveAuto:
            return curve.RemoveAuto();
        case CurveCommand::RemoveSelected:
            return curve.RemoveNode(curve.GetSelected());
        case CurveCommand::FlipY:
            curve.Mirror(CGradCurve::Flip::Y);
            return true;
        case CurveCommand::FlipX:
            curve.Mirror(CGradCurve::Flip::X);
            return true;
        case CurveCommand::MoveLeft:
            return MoveBy(-1, 0);
        case CurveCommand::MoveRight:
            return MoveBy(1, 0);
        case CurveCommand::MoveUp:
            return MoveBy(0, 1);
        case CurveCommand::MoveDown:
            return MoveBy(0, -1);
        default:
            return false;
    }
}

bool CDlgGradation::MoveBy(int dx, int dy) {
    CGradCurve& curve = gradation_.Active();
    CGradCurve::Node node;
    if (curve.GetNode(curve.GetSelected(), &node) != 0) return false;
    curve.MoveSelected(node.x + dx, node.y + dy);
    return true;
}

bool CDlgGradation::IsOn(CurveCommand command) const {
    switch (command) {
        case CurveCommand::TogglePercent:
            return gradation_.percent;
        case CurveCommand::ToggleSpline:
            return !gradation_.IsLinear();
        case CurveCommand::ToggleGrid:
            return gradation_.grid;
        case CurveCommand::ToggleAllChannels:
            return !gradation_.onlyActive;
        case CurveCommand::ToggleLuminance:
            return gradation_.yiq;
        default:
            return IsToggle(command) && ChannelOf(command) == gradation_.channel;
    }
}

bool CDlgGradation::IsAble(CurveCommand command) const {
    const int count = gradation_.Active().GetCount();
    switch (command) {
        case CurveCommand::Insert:
            return count < CGradCurve::kMaximumCount;
        case CurveCommand::RemoveAuto:
            return count > 2;
        case CurveCommand::RemoveSelected:
            return count > 2 && HasSelected();
        case CurveCommand::MoveLeft:
        case CurveCommand::MoveRight:
        case CurveCommand::MoveUp:
        case CurveCommand::MoveDown:
            return HasSelected();
        case CurveCommand::Delete:
            return presets_->list.CanDelete();
        default:
            return true;
    }
}

void CDlgGradation::TakeTyped() {
    if (!std::exchange(waiting_, false)) return;
    typed_->stop();
    gradation_.Active().MoveSelected(numbers_[0]->value(), numbers_[1]->value());
    ShowState();
    Q_EMIT Edited();
}

// ---- presets -------------------------------------------------------------------------------------------------------

bool CDlgGradation::ReadPreset(const std::filesystem::path& path) {
    if (!kestrel::ReadPreset(path, gradation_)) return false;
    ShowState();
    Q_EMIT Edited();
    return true;
}

bool CDlgGradation::WritePreset(const std::filesystem::path& path) const {
    return kestrel::WritePreset(path, gradation_);
}

void CDlgGradation::FillPresetList() {
    presets_->list.FillPresetList();
    ShowPresets();
}

void CDlgGradation::LoadSelectedPreset() {
    presets_->list.Select(static_cast<std::size_t>(list_->currentIndex()));
    const QPointer<CDlgGradation> self(this);
    const auto presets = presets_;
    const bool loaded = presets->list.LoadSelectedPreset(gradation_);
    if (!self) return;
    ShowPresets();
    ShowState();
    if (loaded) Q_EMIT Edited();
}

void CDlgGradation::DeleteSelectedPreset() {
    const QPointer<CDlgGradation> self(this);
    const auto presets = presets_;
    presets->list.DeleteSelectedPreset();
    if (self) ShowPresets();
}

void CDlgGradation::SaveCurrentPreset() {
    const QPointer<CDlgGradation> self(this);
    const auto presets = presets_;
    presets->list.SaveCurrentPreset(gradation_);
    if (self) ShowPresets();
}

void CDlgGradation::ShowPresets() {
    const QSignalBlocker quiet(list_);
    list_->clear();
    for (const PresetEntry& entry : presets_->list.Entries()) list_->addItem(PresetLabel(entry), entry.user ? 1 : 0);
    const std::size_t selected = presets_->list.Selected();
    list_->setCurrentIndex(selected == GradationPresetList::kNone ? -1 : static_cast<int>(selected));
    buttons_[CurveCommand::Delete]->setEnabled(IsAble(CurveCommand::Delete));
}

// ---- the panel -----------------------------------------------------------------------------------------------------

void CDlgGradation::SetParameterText(const std::string& text) {
    waiting_ = false;
    gradation_.Read(text);
    ShowState();
}

std::string CDlgGradation::ParameterText() const { return gradation_.ParameterText(); }

void CDlgGradation::Reset() {
    SetParameterText({});
    Q_EMIT Edited();
}

void CDlgGradation::SetPicture(PictureContext* context) {
    picture_ = context;
    CountPicture();
}

void CDlgGradation::CountPicture() {
    plot_->SetCounts(picture_ && isVisible() ? picture_->InputHistogram() : std::vector<ToneCounts>());
}

void CDlgGradation::ShowNumbers() {
    CGradCurve::Node node{0, 0};
    const bool selected = gradation_.Active().GetNode(gradation_.Active().GetSelected(), &node) == 0;
    const std::array<int, 2> values = {node.x, node.y};
    for (std::size_t i = 0; i < numbers_.size(); ++i) {
        const QString label = DialogText(kNumberKeys[static_cast<std::size_t>(gradation_.channel)][i]);
        const QSignalBlocker quiet(numbers_[i]);
        if (numbers_[i]->value() != values[i]) numbers_[i]->setValue(values[i]);
        numbers_[i]->setEnabled(selected);
        numbers_[i]->setAccessibleName(label);
        numberLabels_[i]->setText(label);
    }
}

void CDlgGradation::ShowState() {
    ShowNumbers();
    for (const auto& [command, button] : buttons_) {
        button->setEnabled(IsAble(command));
        button->setChecked(IsOn(command));
    }
    const CurveCommand shown = kShowChannel[static_cast<std::size_t>(gradation_.channel)];
    plot_->setAccessibleName(buttons_[shown]->accessibleName());
    plot_->update();
}

void CDlgGradation::Retranslate() {
    for (const auto& [command, button] : buttons_) {
        const QString label = DialogText(LabelKey(command));
        button->setToolTip(label);
        button->setAccessibleName(label);
    }
    for (QGroupBox* const group : groups_) group->setTitle(DialogText(group->objectName().toLatin1().constData()));
    list_->setAccessibleName(DialogText("IDS_GRADCURVES_SETTINGS"));
    ShowPresets();
    ShowState();
}

void CDlgGradation::showEvent(QShowEvent* event) {
    FilterPanel::showEvent(event);
    CountPicture();
}

void CDlgGradation::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) SizeIcons();
    FilterPanel::changeEvent(event);
}

}  // namespace kestrel
