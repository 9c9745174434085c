#include "kestrel/dialogs/controls/SwatchButton.h"

#include <QConicalGradient>
#include <QPainter>
#include <QStyleOptionToolButton>
#include <QStylePainter>

namespace kestrel {
namespace {

constexpr double kRadius = 8;     // of the swatch
constexpr double kDotRadius = 2;  // of the mark under it

}  // namespace

SwatchButton::SwatchButton(const QColor& color, QWidget* parent) : QToolButton(parent), color_(color) {
    setCheckable(true);
    setAutoRaise(true);
    setFocusPolicy(Qt::StrongFocus);
}

void SwatchButton::SetInUse(bool inUse) {
    inUse_ = inUse;
    update();
}

QSize SwatchButton::sizeHint() const { return {30, 34}; }

void SwatchButton::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionToolButton option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ToolButton, option);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF middle(width() / 2.0, height() / 2.0 - kDotRadius - 1);
    QBrush brush(color_);
    if (!color_.isValid()) {
        QConicalGradient wheel(middle, 0);
        for (int i = 0; i <= 6; ++i) wheel.setColorAt(i / 6.0, QColor::fromHsv(i % 6 * 60, 255, 240));
        brush = wheel;
    }
    painter.setPen(palette().color(QPalette::Mid));
    painter.setBrush(brush);
    painter.drawEllipse(middle, kRadius, kRadius);
    if (!inUse_) return;
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::ButtonText));
    painter.drawEllipse(QPointF(middle.x(), middle.y() + kRadius + kDotRadius + 2), kDotRadius, kDotRadius);
}

}  // namespace kestrel
