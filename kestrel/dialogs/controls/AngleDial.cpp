#include "kestrel/dialogs/controls/AngleDial.h"

#include <QKeyEvent>
#include <QLineF>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

namespace kestrel {
namespace {

constexpr double kTurn = 360;
constexpr double kCoarse = 15;  // degrees
constexpr int kDiameter = 64;   // pixels
constexpr double kMargin = 4;

double Around(double degrees) {
    const double turned = degrees - kTurn * std::floor(degrees / kTurn);
    return turned < kTurn ? turned : 0;
}

}  // namespace

AngleDial::AngleDial(double zeroAt, QWidget* parent) : QWidget(parent), zeroAt_(zeroAt) {
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void AngleDial::SetAngle(double degrees) {
    angle_ = degrees;
    update();
}

QSize AngleDial::sizeHint() const { return {kDiameter, kDiameter}; }

void AngleDial::Turn(double degrees) {
    const double angle = Around(degrees);
    if (angle == angle_) return;
    SetAngle(angle);
    Q_EMIT AngleChanged(angle);
}

void AngleDial::PointAt(const QMouseEvent& event) {
    const QLineF hand(QRectF(rect()).center(), event.position());
    if (hand.length() < 1) return;
    const double step = event.modifiers() & Qt::ShiftModifier ? kCoarse : 1;
    Turn(std::round((hand.angle() - zeroAt_) / step) * step);
}

void AngleDial::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) PointAt(*event);
}

void AngleDial::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) PointAt(*event);
}

void AngleDial::wheelEvent(QWheelEvent* event) {
    if (!hasFocus()) return event->ignore();
    Turn(angle_ + (event->angleDelta().y() > 0 ? 1 : -1));
}

void AngleDial::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Up:
            return Turn(angle_ + 1);
        case Qt::Key_Right:
        case Qt::Key_Down:
            return Turn(angle_ - 1);
        case Qt::Key_PageUp:
            return Turn(angle_ + kCoarse);
        case Qt::Key_PageDown:
            return Turn(angle_ - kCoarse);
        case Qt::Key_Home:
            return Turn(0);
        default:
            QWidget::keyPressEvent(event);
    }
}

void AngleDial::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle = QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin);
    const QPointF middle = circle.center();
    const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor ink = palette().color(group, QPalette::Text);
    QColor faint = ink;
    faint.setAlphaF(0.4F);  // stands out from light and dark grounds alike
    painter.setPen(QPen(hasFocus() ? palette().color(QPalette::Highlight) : faint, 1.5));
    painter.setBrush(palette().color(group, QPalette::Base));
    painter.drawEllipse(circle);
    painter.setPen(faint);
    for (int mark = 0; mark < 8; ++mark) {
        const QLineF radius = QLineF::fromPolar(circle.width() / 2, mark * 45).translated(middle);
        painter.drawLine(QLineF(radius.pointAt(0.86), radius.pointAt(0.96)));
    }
    const QLineF hand = QLineF::fromPolar(circle.width() / 2, zeroAt_ + angle_).translated(middle);
    painter.setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QLineF(middle, hand.pointAt(0.72)));
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawEllipse(hand.pointAt(0.72), 3.5, 3.5);
    painter.drawEllipse(middle, 2, 2);
}

}  // namespace kestrel
