#include "kestrel/dialogs/DialogHeader.h"

#include <QHBoxLayout>
#include <QLabel>
#include <algorithm>
#include <utility>

namespace kestrel {
namespace {
constexpr int kFirstButton = 2;  ///< in the row, after title and stretch
}

DialogHeader::DialogHeader(SystemButton::Localize localize, QWidget* parent)
    : QWidget(parent), localize_(std::move(localize)), title_(new QLabel(this)), row_(new QHBoxLayout(this)) {
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    title_->setTextFormat(Qt::PlainText);
    row_->setContentsMargins(0, 0, 0, 0);
    row_->setSpacing(0);
    row_->addWidget(title_);
    row_->addStretch(1);
}

void DialogHeader::SetTitle(const QString& title) { title_->setText(title); }

void DialogHeader::SetActive(bool active) {
    title_->setForegroundRole(active ? QPalette::WindowText : QPalette::PlaceholderText);
}

SystemButton* DialogHeader::Find(SysBtnID id) const {
    const auto found =
        std::find_if(buttons_.begin(), buttons_.end(), [id](auto* button) { return button->Id() == id; });
    return found == buttons_.end() ? nullptr : *found;
}

SystemButton* DialogHeader::Add(SysBtnID id) {
    if (SystemButton* const there = Find(id)) return there;
    auto* const button = new SystemButton(id, localize_, this);
    const auto place = std::find_if(buttons_.begin(), buttons_.end(), [id](auto* other) { return other->Id() > id; });
    row_->insertWidget(kFirstButton + static_cast<int>(place - buttons_.begin()), button);
    QWidget* const before = place == buttons_.begin() ? nullptr : *(place - 1);
    if (before) QWidget::setTabOrder(before, button);
    buttons_.insert(place, button);
    connect(button, &QToolButton::clicked, this, [this, id] { Q_EMIT Clicked(id); });
    connect(button, &SystemButton::DragBegun, this, [this, id] { Q_EMIT DragBegun(id); });
    return button;
}

}  // namespace kestrel
