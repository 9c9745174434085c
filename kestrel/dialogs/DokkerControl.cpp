#include "kestrel/dialogs/DokkerControl.h"

#include <QEvent>
#include <QScrollBar>
#include <QVBoxLayout>

namespace kestrel {

DokkerControl::DokkerControl(QWidget* parent) : QScrollArea(parent), bar_(new QWidget) {
    auto* const whole = new QWidget;
    auto* const outer = new QVBoxLayout(whole);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(bar_);
    outer->addStretch(1);  // takes the height that the dialogs leave
    auto* const column = new QVBoxLayout(bar_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    setWidget(whole);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    whole->installEventFilter(this);
    FitWidth();
}

QSize DokkerControl::sizeHint() const {
    const QSize dialogs = widget()->sizeHint();
    return {dialogs.width() + verticalScrollBar()->sizeHint().width(), dialogs.height()};
}

void DokkerControl::FitWidth() {
    setMinimumWidth(widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width());
    updateGeometry();
}

bool DokkerControl::eventFilter(QObject* object, QEvent* event) {
    if (object == widget() && event->type() == QEvent::LayoutRequest) FitWidth();
    return QScrollArea::eventFilter(object, event);
}

}  // namespace kestrel
