#include "kestrel/dialogs/controls/SwatchBar.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>

#include "kestrel/dialogs/controls/SwatchButton.h"

namespace kestrel {

SwatchBar::SwatchBar(const std::vector<QColor>& colors, QWidget* parent)
    : QWidget(parent), group_(new QButtonGroup(this)), name_(new QLabel(this)) {
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    for (const QColor& color : colors) {
        auto* const button = new SwatchButton(color, this);
        button->setObjectName(QStringLiteral("swatch%1").arg(buttons_.size()));
        group_->addButton(button, static_cast<int>(buttons_.size()));
        buttons_.push_back(button);
        row->addWidget(button);
    }
    QFont font = name_->font();
    font.setBold(true);
    name_->setFont(font);
    name_->setTextFormat(Qt::PlainText);
    name_->setWordWrap(true);  // a name may grow while the dialog is open
    row->addSpacing(8);
    row->addWidget(name_, 1);
    buttons_.front()->setChecked(true);
    connect(group_, &QButtonGroup::idToggled, this, [this](int index, bool down) {
        if (!down) return;
        ShowName();
        Q_EMIT ChosenChanged(index);
    });
}

int SwatchBar::Chosen() const { return group_->checkedId(); }

void SwatchBar::Choose(int index) {
    const QSignalBlocker quiet(group_);
    buttons_[static_cast<std::size_t>(index)]->setChecked(true);
    ShowName();
}

void SwatchBar::SetName(int index, const QString& name) {
    SwatchButton* const button = buttons_[static_cast<std::size_t>(index)];
    button->setToolTip(name);
    button->setAccessibleName(name);
    ShowName();
}

void SwatchBar::SetInUse(int index, bool inUse) { buttons_[static_cast<std::size_t>(index)]->SetInUse(inUse); }

void SwatchBar::ShowName() { name_->setText(buttons_[static_cast<std::size_t>(Chosen())]->accessibleName()); }

}  // namespace kestrel
