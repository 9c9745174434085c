#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "kestrel/dialogs/Histogram.h"
#include "kestrel/dialogs/gradation/CurveCommand.h"

namespace kestrel {
namespace {

constexpr double kSide = 22;  // units of a drawing

/// A pen on a square of 22 by 22 units, y downward.
class Drawing {
public:
    explicit Drawing(QPainter& painter, const QPalette& palette, double opacity)
        : painter_(painter), palette_(palette) {
        painter_.setOpacity(opacity);
        SetPen(Ink());
    }

    QColor Ink() const { return palette_.color(QPalette::ButtonText); }
    QColor Channel(int channel) const { return Histogram::ChannelColor(channel, palette_); }
    void SetPen(const QColor& color, double width = 1.6, Qt::PenStyle style = Qt::SolidLine) {
        painter_.setPen(QPen(color, width, style, Qt::RoundCap, Qt::RoundJoin));
    }
    void Lines(std::initializer_list<QPointF> points) { painter_.drawPolyline(points.begin(), int(points.size())); }
    void Curve(QPointF from, QPointF to1, QPointF to2, QPointF to) {
        QPainterPath path(from);
        path.cubicTo(to1, to2, to);
        painter_.drawPath(path);
    }
    void Axes() { Lines({{3, 3}, {3, 19}, {19, 19}}); }
    void Knot(QPointF at, const QColor& color, double radius = 2.6) {
        painter_.setBrush(color);
        painter_.drawEllipse(at, radius, radius);
        painter_.setBrush(Qt::NoBrush);
    }
    void Arrow(QPointF from, QPointF to) {
        const QPointF along = (to - from) / std::hypot((to - from).x(), (to - from).y()) * 4;
        const QPointF across(-along.y(), along.x());
        Lines({from, to});
        Lines({to - along + across, to, to - along - across});
    }
    void Plus(QPointF at) {
        Lines({at - QPointF(3, 0), at + QPointF(3, 0)});
        Lines({at - QPointF(0, 3), at + QPointF(0, 3)});
    }
    void Minus(QPointF at) { Lines({at - QPointF(3, 0), at + QPointF(3, 0)}); }
    void Cross(QPointF at) {
        Lines({at - QPointF(2.6, 2.6), at + QPointF(2.6, 2.6)});
        Lines({at + QPointF(-2.6, 2.6), at + QPointF(2.6, -2.6)});
    }
    void Disk(const QColor& from, const QColor& to) {
        QLinearGradient blend(3, 0, 19, 0);
        blend.setColorAt(0, from);
        blend.setColorAt(1, to);
        painter_.setBrush(blend);
        painter_.drawEllipse(QPointF(11, 11), 7.5, 7.5);
        painter_.setBrush(Qt::NoBrush);
    }
    QPainter& Painter() { return painter_; }

private:
    QPainter& painter_;
    const QPalette& palette_;
};

/// A curve over its axes with a node in the middle.
void Node(Drawing& d, int channel) {
    d.SetPen(d.Ink(), 1.4);
    d.Curve({3, 19}, {9, 18}, {8, 6}, {18, 4});
    d.Knot({9, 12}, channel == 0 ? d.Ink() : d.Channel(channel));
    d.SetPen(d.Ink(), 1.8);
}

void Luminance(Drawing& d) {
    d.Painter().drawEllipse(QPointF(11, 8.5), 5.8, 5.8);
    d.Painter().setBrush(d.Ink());
    d.Painter().drawPie(QRectF(5.2, 2.7, 11.6, 11.6), 90 * 16, 180 * 16);
    d.SetPen(Qt::transparent);
    for (int channel = 1; channel <= 3; ++channel) d.Knot({1 + channel * 5.0, 18.6}, d.Channel(channel), 2);
}

void Flip(Drawing& d, bool horizontalAxis) {
    QPainter& painter = d.Painter();
    painter.save();
    if (!horizontalAxis) painter.translate(kSide, 0), painter.rotate(90);
    d.SetPen(d.Ink(), 1.4, Qt::DotLine);
    d.Lines({{2.5, 11}, {19.5, 11}});
    d.SetPen(d.Ink());
    d.Lines({{4, 8.4}, {18, 8.4}, {18, 2.8}, {4, 8.4}});
    painter.setOpacity(painter.opacity() * 0.55);
    d.Lines({{4, 13.6}, {18, 13.6}, {18, 19.2}, {4, 13.6}});
    painter.restore();
}

void Save(Drawing& d) {
    d.Lines({{3.5, 13}, {3.5, 18.5}, {18.5, 18.5}, {18.5, 13}});
    d.Arrow({11, 3}, {11, 14});
}

void Delete(Drawing& d) {
    d.Lines({{4, 6}, {18, 6}});
    d.Lines({{8.5, 6}, {8.5, 3.5}, {13.5, 3.5}, {13.5, 6}});
    d.Lines({{5.5, 6}, {6.5, 19}, {15.5, 19}, {16.5, 6}});
    d.Lines({{9.3, 9.5}, {9.3, 15.5}});
    d.Lines({{12.7, 9.5}, {12.7, 15.5}});
}

void Percent(Drawing& d) {
    d.Lines({{17.5, 4}, {4.5, 18}});
    d.Painter().drawEllipse(QPointF(6.5, 6.5), 2.8, 2.8);
    d.Painter().drawEllipse(QPointF(15.5, 15.5), 2.8, 2.8);
}

void Grid(Drawing& d) {
    d.SetPen(d.Ink(), 1.3);
    d.Painter().drawRect(QRectF(3, 3, 16, 16));
    for (const double at : {8.3, 13.7}) {
        d.Lines({{at, 3}, {at, 19}});
        d.Lines({{3, at}, {19, at}});
    }
}

void AllChannels(Drawing& d) {
    d.Axes();
    d.SetPen(d.Channel(1), 1.6, Qt::DotLine);
    d.Curve({4, 18}, {10, 17}, {10, 12}, {18, 11});
    d.SetPen(d.Channel(3), 1.6, Qt::DotLine);
    d.Curve({4, 18}, {4, 8}, {8, 4}, {15, 3});
    d.SetPen(d.Channel(2), 2);
    d.Lines({{4, 18}, {18, 4}});
}

void Spline(Drawing& d) {
    d.Axes();
    d.SetPen(d.Ink(), 2);
    d.Curve({4, 18}, {13, 18}, {9, 4}, {18, 4});
}

void Draw(CurveCommand command, Drawing& d) {
    switch (command) {
        case CurveCommand::TogglePercent:
            return Percent(d);
        case CurveCommand::ToggleSpline:
            return Spline(d);
        case CurveCommand::ToggleGrid:
            return Grid(d);
        case CurveCommand::ToggleAllChannels:
            return AllChannels(d);
        case CurveCommand::ToggleLuminance:
            return Luminance(d);
        case CurveCommand::ShowGray:
            return d.Disk(Qt::black, Qt::white);
        case CurveCommand::ShowRed:
            return d.Disk(d.Channel(1), d.Channel(1));
        case CurveCommand::ShowGreen:
            return d.Disk(d.Channel(2), d.Channel(2));
        case CurveCommand::ShowBlue:
            return d.Disk(d.Channel(3), d.Channel(3));
        case CurveCommand::Insert:
            return Node(d, 2), d.Plus({16, 15.5});
        case CurveCommand::RemoveAuto:
            return Node(d, 0), d.Minus({16, 15.5});
        case CurveCommand::RemoveSelected:
            return Node(d, 1), d.Cross({16, 15.5});
        case CurveCommand::FlipY:
            return Flip(d, true);
        case CurveCommand::FlipX:
            return Flip(d, false);
        case CurveCommand::MoveLeft:
            return d.Arrow({18, 11}, {4, 11});
        case CurveCommand::MoveRight:
            return d.Arrow({4, 11}, {18, 11});
        case CurveCommand::MoveUp:
            return d.Arrow({11, 18}, {11, 4});
        case CurveCommand::MoveDown:
            return d.Arrow({11, 4}, {11, 18});
        case CurveCommand::Save:
            return Save(d);
        case CurveCommand::Delete:
            return Delete(d);
    }
}

class Engine final : public QIconEngine {
public:
    explicit Engine(CurveCommand command) : command_(command) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const double scale = std::min(rect.width(), rect.height()) / kSide;
        painter->translate(rect.center() + QPointF(0.5, 0.5));
        painter->scale(scale, scale);
        painter->translate(-kSide / 2, -kSide / 2);
        const QPalette palette = QGuiApplication::palette();
        Drawing drawing(*painter, palette, mode == QIcon::Disabled ? 0.35 : 1);
        Draw(command_, drawing);
        painter->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }
    QIconEngine* clone() const override { return new Engine(*this); }

private:
    CurveCommand command_;
};

}  // namespace

QIcon CurveIcon(CurveCommand command) { return QIcon(new Engine(command)); }

}  // namespace kestrel
