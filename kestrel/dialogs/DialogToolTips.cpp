#include "kestrel/dialogs/DialogToolTips.h"

#include <QHelpEvent>
#include <QToolTip>
#include <algorithm>

namespace kestrel {

void DialogToolTips::Add(QWidget* control, const QString& text, const QRect& area, int number, int milliseconds) {
    std::erase_if(tips_, [](const Tip& tip) { return !tip.control; });
    if (!control) return;
    Remove(control, number);
    control->removeEventFilter(this);
    control->installEventFilter(this);
    tips_.push_back({control, text, area, number, milliseconds});
}

DialogToolTips::Tip* DialogToolTips::Find(const QWidget* control, int number) {
    const auto found = std::find_if(tips_.begin(), tips_.end(), [&](const Tip& tip) {
        return control && tip.control.data() == control && tip.number == number;
    });
    return found == tips_.end() ? nullptr : &*found;
}

void DialogToolTips::SetText(QWidget* control, const QString& text, int number) {
    if (Tip* const tip = Find(control, number)) tip->text = text;
}

void DialogToolTips::SetArea(QWidget* control, const QRect& area, int number) {
    if (Tip* const tip = Find(control, number)) tip->area = area;
}

void DialogToolTips::Remove(QWidget* control, int number) {
    std::erase_if(tips_, [&](const Tip& tip) { return tip.control.data() == control && tip.number == number; });
}

void DialogToolTips::RemoveAll(QWidget* control) {
    std::erase_if(tips_, [&](const Tip& tip) { return tip.control.data() == control; });
}

const DialogToolTips::Tip* DialogToolTips::At(const QWidget* control, QPoint place) const {
    const auto found = std::find_if(tips_.begin(), tips_.end(), [&](const Tip& tip) {
        return tip.control.data() == control && (tip.area.isEmpty() || tip.area.contains(place));
    });
    return found == tips_.end() ? nullptr : &*found;
}

void DialogToolTips::Show(QWidget* control, QPoint place) const {
    const Tip* const tip = At(control, place);
    if (tip && !tip->text.isEmpty())
        QToolTip::showText(control->mapToGlobal(place), localize_(tip->text), control, tip->area, tip->milliseconds);
    else
        QToolTip::hideText();
}

void DialogToolTips::Update() {
    if (shownFor_ && QToolTip::isVisible()) Show(shownFor_, shownAt_);
}

bool DialogToolTips::eventFilter(QObject* object, QEvent* event) {
    if (event->type() != QEvent::ToolTip) return false;
    auto* const control = qobject_cast<QWidget*>(object);
    const bool ours =
        std::any_of(tips_.begin(), tips_.end(), [&](const Tip& tip) { return tip.control.data() == control; });
    if (!control || !ours) return false;
    shownFor_ = control;
    shownAt_ = static_cast<QHelpEvent*>(event)->pos();
    Show(control, shownAt_);
    return true;
}

}  // namespace kestrel
