#include "kestrel/dialogs/controls/ColorWell.h"

#include <QPainter>
#include <QScreen>
#include <QStyleOptionButton>
#include <QStyleOptionFocusRect>
#include <QStylePainter>
#include <algorithm>

#include "kestrel/dialogs/controls/ColorEditor.h"

namespace kestrel {

ColorWell::ColorWell(QWidget* parent) : QAbstractButton(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, &ColorWell::Open);
}

void ColorWell::SetColor(const QColor& color) {
    color_ = color;
    if (editor_) editor_->SetColor(color);
    update();
}

ColorEditor* ColorWell::Editor() const { return editor_; }

QSize ColorWell::sizeHint() const { return {80, std::max(fontMetrics().height() + 8, 24)}; }

void ColorWell::Open() {
    if (editor_) return;
    editor_ = new ColorEditor(color_, this);
    connect(editor_, &ColorEditor::ColorChanged, this, [this](const QColor& color) {
        color_ = color;
        update();
        Q_EMIT ColorChanged(color);
    });
    // Below the button, and on its screen.
    const QSize size = editor_->sizeHint();
    const QRect room = screen()->availableGeometry();
    QPoint corner = mapToGlobal(rect().bottomLeft());
    if (corner.y() + size.height() > room.bottom()) corner.setY(mapToGlobal(QPoint()).y() - size.height());
    corner.setX(std::clamp(corner.x(), room.left(), std::max(room.left(), room.right() - size.width())));
    corner.setY(std::max(corner.y(), room.top()));
    editor_->move(corner);
    editor_->show();
}

void ColorWell::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionButton option;
    option.initFrom(this);
    option.state |= isDown() ? QStyle::State_Sunken : QStyle::State_Raised;
    painter.drawControl(QStyle::CE_PushButtonBevel, option);
    const QRect swatch = rect().adjusted(5, 5, -5, -5);
    painter.setPen(palette().color(QPalette::Mid));
    painter.setBrush(isEnabled() ? QBrush(color_) : QBrush(color_, Qt::Dense4Pattern));
    painter.drawRect(swatch.adjusted(0, 0, -1, -1));
    if (!hasFocus()) return;
    QStyleOptionFocusRect focus;
    focus.initFrom(this);
    focus.rect = rect().adjusted(2, 2, -2, -2);
    painter.drawPrimitive(QStyle::PE_FrameFocusRect, focus);
}

}  // namespace kestrel
