// A dialog that moves into a widget of the host and back.
#include <QDockWidget>
#include <QLayout>
#include <QSplitter>

#include "kestrel/dialogs/DokkerControl.h"
#include "kestrel/dialogs/TMDialog.h"

namespace kestrel {

void CTMDialog::SaveFreePlace() {
    free_.owner = parentWidget();
    free_.style = windowFlags();
    free_.position = pos();
    free_.size = size();
    free_.placed = testAttribute(Qt::WA_Moved) || isVisible();
    free_.visible = isVisible();
}

void CTMDialog::SetDocked(bool docked) {
    docked_ = docked;
    for (SystemButton* const button : SystemButtons()) {
        const SysBtnID id = button->Id();
        if (id == SysBtnID::Dock) button->SetDocked(docked);
        if (id == SysBtnID::Minimize || id == SysBtnID::Maximize) button->setVisible(!docked);
        if (id == SysBtnID::Windorize) button->setVisible(!docked || !FindSystemButton(SysBtnID::Dock));
    }
    ArrangeModalButtons();
}

void CTMDialog::DockView(QWidget* window, DokkerControl* dokker, bool show) {
    if (dokker) dokker_ = dokker;
    QWidget* const host = window ? window : dokker_ ? dokker_->Bar() : nullptr;
    if (!host || host == this || isAncestorOf(host)) return;
    const MessageScope scope;
    if (docked_)
        parentWidget()->removeEventFilter(this);
    else
        SaveFreePlace();
    docked_ = false;  // while it moves
    MarkOpen();
    setParent(host, Qt::Widget);
    setAttribute(Qt::WA_Moved);  // or else a dialog centers itself when it is shown
    ArrangeDockView();
    SetDocked(true);
    if (show) setVisible(true);
    Q_EMIT DockedChanged(true);
}

void CTMDialog::ArrangeDockView() {
    QWidget* const host = parentWidget();
    if (!host) return;
    if (auto* const splitter = qobject_cast<QSplitter*>(host)) {
        if (splitter->indexOf(this) < 0) splitter->addWidget(this);
    } else if (auto* const dock = qobject_cast<QDockWidget*>(host)) {
        if (dock->widget() != this) dock->setWidget(this);
    } else if (QLayout* const layout = host->layout()) {
        if (layout->indexOf(this) < 0) layout->addWidget(this);
    } else {
        host->installEventFilter(this);
        setGeometry(host->contentsRect());
    }
}

void CTMDialog::LeaveDock() {
    parentWidget()->removeEventFilter(this);
    setParent(free_.owner, free_.style);
    SetDocked(false);
    setAttribute(Qt::WA_Moved, free_.placed);
    if (!free_.placed) return adjustSize();
    resize(free_.size);
    move(free_.position);
}

void CTMDialog::UndockView(const QPoint* to) {
    if (!docked_) return;
    const MessageScope scope;
    const bool visible = isVisible();
    LeaveDock();
    if (to) move(*to);
    if (visible || free_.visible) show();
    Q_EMIT DockedChanged(false);
}

}  // namespace kestrel
