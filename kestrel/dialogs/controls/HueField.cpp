#include "kestrel/dialogs/controls/HueField.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace kestrel {
namespace {

constexpr int kHues = 360;
constexpr int kSaturations = 256;

QImage AllColors() {
    QImage colors(kHues, kSaturations, QImage::Format_RGB32);
    for (int y = 0; y < kSaturations; ++y)
        for (int x = 0; x < kHues; ++x) colors.setPixelColor(x, y, QColor::fromHsv(x, kSaturations - 1 - y, 255));
    return colors;
}

}  // namespace

HueField::HueField(QWidget* parent) : QWidget(parent), colors_(AllColors()) { setFocusPolicy(Qt::StrongFocus); }

void HueField::SetMark(int hue, int saturation) {
    hue_ = hue;
    saturation_ = saturation;
    update();
}

QSize HueField::sizeHint() const { return {200, 120}; }

void HueField::MoveTo(int hue, int saturation) {
    SetMark(std::clamp(hue, 0, kHues - 1), std::clamp(saturation, 0, kSaturations - 1));
    Q_EMIT MarkMoved();
}

void HueField::PointAt(const QPointF& place) {
    MoveTo(static_cast<int>(std::lround(place.x() * (kHues - 1) / std::max(width() - 1, 1))),
           static_cast<int>(std::lround((height() - 1 - place.y()) * (kSaturations - 1) / std::max(height() - 1, 1))));
}

void HueField::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) PointAt(event->position());
}

void HueField::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) PointAt(event->position());
}

void HueField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
            return MoveTo(hue_ - 1, saturation_);
        case Qt::Key_Right:
            return MoveTo(hue_ + 1, saturation_);
        case Qt::Key_Up:
            return MoveTo(hue_, saturation_ + 1);
        case Qt::Key_Down:
            return MoveTo(hue_, saturation_ - 1);
        default:
            QWidget::keyPressEvent(event);
    }
}

void HueField::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(rect(), colors_);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF mark(hue_ * (width() - 1.0) / (kHues - 1),
                       height() - 1 - saturation_ * (height() - 1.0) / (kSaturations - 1));
    for (const auto& [color, radius] : {std::pair(Qt::white, 6.0), std::pair(Qt::black, 5.0)}) {
        painter.setPen(QPen(color, 1.5));
        painter.drawEllipse(mark, radius, radius);
    }
    if (!hasFocus()) return;
    painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
    painter.drawRect(rect().adjusted(1, 1, -1, -1));
}

}  // namespace kestrel
