#include "kestrel/dialogs/SystemButton.h"

#include <QApplication>
#include <QEvent>
#include <QMouseEvent>
#include <algorithm>
#include <utility>

#include "kestrel/dialogs/DialogIcon.h"

namespace kestrel {
namespace {
constexpr int kDrawnSide = 22;  ///< of the shipped icons, where they are sharpest
}

SystemButton::SystemButton(SysBtnID id, Localize localize, QWidget* parent)
    : QToolButton(parent), id_(id), localize_(std::move(localize)) {
    setAutoRaise(true);
    setCheckable(id == SysBtnID::Copy || id == SysBtnID::Lock);
    FitIcon();
    Show();
}

SystemButton::Look SystemButton::CurrentLook() const {
    switch (id_) {
        case SysBtnID::Copy:
            return {"icons_sys_copy", "IDS_COMMON_COPY"};
        case SysBtnID::Lock:
            return IsPressed() ? Look{"icons_sys_lock", "IDS_COMMON_UNLOCK"}
                               : Look{"icons_sys_unlock", "IDS_COMMON_LOCK"};
        case SysBtnID::Help:
            return {"icons_sys_help", "IDS_COMMON_HELP"};
        case SysBtnID::Dock:
            return docked_ ? Look{"icons_sys_undock", "IDS_COMMON_UNDOCK"} : Look{"icons_sys_dock", "IDS_COMMON_DOCK"};
        case SysBtnID::Minimize:
            return {"icons_sys_minimize", "IDS_COMMON_MINIMIZE"};
        case SysBtnID::Maximize:
            return {"icons_sys_maximize", "IDS_COMMON_MAXIMIZE"};
        case SysBtnID::Windorize:
            return {"icons_sys_windorize", "IDS_COMMON_WINDORIZE"};
        case SysBtnID::Close:
            break;
    }
    return {"icons_sys_close", "IDS_COMMON_CLOSE"};
}

void SystemButton::SetText(const QString& text) {
    text_ = text;
    Retranslate();
}

void SystemButton::SetDocked(bool docked) {
    if (docked == docked_) return;
    docked_ = docked;
    Show();
}

void SystemButton::Show() {
    setIcon(DialogIcon(CurrentLook().icon));
    Retranslate();
}

void SystemButton::Retranslate() {
    const bool ownText = text_.isEmpty() || (id_ == SysBtnID::Dock && docked_);
    const QString text = localize_(ownText ? CurrentLook().textKey : text_.toUtf8().constData());
    setToolTip(text);
    setAccessibleName(text);
}

void SystemButton::FitIcon() {
    const int side = std::max(kDrawnSide, fontMetrics().height());
    setIconSize({side, side});
}

void SystemButton::checkStateSet() {
    QToolButton::checkStateSet();
    Show();
}

void SystemButton::mousePressEvent(QMouseEvent* event) {
    pressedAt_ = event->position().toPoint();
    dragging_ = false;
    QToolButton::mousePressEvent(event);
}

void SystemButton::mouseMoveEvent(QMouseEvent* event) {
    const int way = (event->position().toPoint() - pressedAt_).manhattanLength();
    if (dragging_ || !isDown() || way < QApplication::startDragDistance()) return QToolButton::mouseMoveEvent(event);
    dragging_ = true;
    setDown(false);  // the release that ends the drag is no click
    Q_EMIT DragBegun();
}

void SystemButton::changeEvent(QEvent* event) {
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) Retranslate();
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) FitIcon();
}

}  // namespace kestrel
