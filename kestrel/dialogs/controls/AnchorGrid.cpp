#include "kestrel/dialogs/controls/AnchorGrid.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QRadioButton>
#include <QSignalBlocker>

namespace kestrel {

AnchorGrid::AnchorGrid(const QString& name, const std::vector<int>& places, QWidget* parent)
    : QWidget(parent), group_(new QButtonGroup(this)) {
    constexpr int kSide = 3;
    auto* const grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(4);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    for (int i = 0; i < kSide * kSide; ++i) {
        auto* const button = new QRadioButton(this);
        const int place = places[static_cast<std::size_t>(i)];
        button->setObjectName(name + QStringLiteral("=%1").arg(place));
        group_->addButton(button, place);
        grid->addWidget(button, i / kSide, i % kSide);
    }
    setLayoutDirection(Qt::LeftToRight);  // the places are those of a picture, which no language mirrors
    connect(group_, &QButtonGroup::idToggled, this, [this](int place, bool down) {
        if (down) Q_EMIT ChosenChanged(place);
    });
}

void AnchorGrid::Choose(int place) {
    const QSignalBlocker quiet(group_);
    if (QAbstractButton* const button = group_->button(place)) button->setChecked(true);
}

void AnchorGrid::SetName(int place, const QString& name) {
    QAbstractButton* const button = group_->button(place);
    button->setToolTip(name);
    button->setAccessibleName(name);
}

}  // namespace kestrel
