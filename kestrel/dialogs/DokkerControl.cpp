#include "kestrel/dialogs/DokkerControl.h"

#include <QEvent>
#include <QScrollBar>
#include <QVBoxLayout>

namespace kestrel {

DokkerControl::DokkerControl(QWidget* parent) : QScrollArea(parent) {
    auto* const bar = new QWidget;
    auto* const column = new QVBoxLayout(bar);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->setAlignment(Qt::AlignTop);
    setWidget(bar);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    bar->installEventFilter(this);
    FitWidth();
}

QSize DokkerControl::sizeHint() const {
    const QSize bar = widget()->sizeHint();
    return {bar.width() + verticalScrollBar()->sizeHint().width(), bar.height()};
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
