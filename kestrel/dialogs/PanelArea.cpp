#include "kestrel/dialogs/PanelArea.h"

#include <QEvent>
#include <QScrollBar>
#include <algorithm>

namespace kestrel {
namespace {
constexpr int kFewestLines = 6;  ///< of text that stay in sight
}

PanelArea::PanelArea(QWidget* panel, QWidget* parent) : QScrollArea(parent) {
    setFrameShape(NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    setWidget(panel);
    panel->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    panel->installEventFilter(this);
}

QSize PanelArea::sizeHint() const { return widget()->sizeHint().expandedTo(widget()->minimumSize()); }

QSize PanelArea::minimumSizeHint() const {
    const QSize panel = widget()->minimumSizeHint().expandedTo(widget()->minimumSize());
    const int lines = fontMetrics().lineSpacing() * kFewestLines;
    if (panel.height() <= lines) return panel;
    return {panel.width() + verticalScrollBar()->sizeHint().width(), lines};
}

bool PanelArea::eventFilter(QObject* object, QEvent* event) {
    if (object == widget() && event->type() == QEvent::LayoutRequest) updateGeometry();
    return QScrollArea::eventFilter(object, event);
}

}  // namespace kestrel
