#include "kestrel/dialogs/controls/GlyphButton.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionToolButton>
#include <QStylePainter>

namespace kestrel {
namespace {

constexpr double kSide = 16;  // of the square that glyphs are drawn in
constexpr int kPadding = 4;   // around it, and between it and a text

/// An arc around the middle, counterclockwise in degrees, with an arrow's head at its end.
void DrawTurn(QPainter& painter, double from, double span) {
    constexpr double kRadius = 5.5;
    const QRectF circle(kSide / 2 - kRadius, kSide / 2 - kRadius, 2 * kRadius, 2 * kRadius);
    QPainterPath path;
    path.arcMoveTo(circle, from);
    path.arcTo(circle, from, span);
    painter.drawPath(path);
    painter.save();
    painter.translate(path.currentPosition());
    painter.rotate(-(from + span) + (span > 0 ? 180 : 0));
    painter.drawPolyline(QPolygonF({{-3, -2.5}, {0, 1}, {3, -2.5}}));
    painter.restore();
}

void DrawPipette(QPainter& painter) {
    painter.drawPolyline(QPolygonF({{9, 4.5}, {3.5, 10}, {2.5, 13.5}, {6, 12.5}, {11.5, 7}}));
    painter.drawLine(QPointF(7.5, 3), QPointF(13, 8.5));
    painter.drawPolyline(QPolygonF({{9.5, 5}, {12, 2}, {14, 4}, {11, 6.5}}));
}

void DrawGlyph(QPainter& painter, Glyph glyph) {
    switch (glyph) {
        case Glyph::Reset:
            DrawTurn(painter, -60, 280);
            break;
        case Glyph::TurnLeft:
            DrawTurn(painter, 0, 180);
            break;
        case Glyph::TurnRight:
            DrawTurn(painter, 180, -180);
            break;
        case Glyph::HalfTurn:
            DrawTurn(painter, 90, -300);
            break;
        case Glyph::Pipette:
            DrawPipette(painter);
            break;
        case Glyph::Add:
            painter.drawLine(QPointF(8, 3.5), QPointF(8, 12.5));
            painter.drawLine(QPointF(3.5, 8), QPointF(12.5, 8));
            break;
        case Glyph::Remove:
            painter.drawLine(QPointF(3.5, 8), QPointF(12.5, 8));
            break;
    }
}

}  // namespace

GlyphButton::GlyphButton(Glyph glyph, QWidget* parent) : QToolButton(parent), glyph_(glyph) {
    setAutoRaise(true);
    setFocusPolicy(Qt::StrongFocus);
}

void GlyphButton::SetMeaning(const QString& words) {
    setToolTip(words);
    setAccessibleName(words);
}

QSize GlyphButton::sizeHint() const {
    const int side = static_cast<int>(kSide) + 2 * kPadding;
    const int words = text().isEmpty() ? 0 : fontMetrics().horizontalAdvance(text()) + kPadding;
    return {side + words, std::max(side, fontMetrics().height() + kPadding)};
}

void GlyphButton::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionToolButton option;
    initStyleOption(&option);
    const QString words = std::exchange(option.text, {});
    painter.drawComplexControl(QStyle::CC_ToolButton, option);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor ink = palette().color(group, QPalette::ButtonText);
    painter.setPen(QPen(ink, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const bool rightToLeft = layoutDirection() == Qt::RightToLeft;
    const double x = words.isEmpty() ? (width() - kSide) / 2 : rightToLeft ? width() - kPadding - kSide : kPadding;
    painter.save();
    painter.translate(x, (height() - kSide) / 2);
    DrawGlyph(painter, glyph_);
    painter.restore();
    if (words.isEmpty()) return;
    const int room = static_cast<int>(kSide) + 2 * kPadding;
    painter.drawText(rightToLeft ? rect().adjusted(kPadding, 0, -room, 0) : rect().adjusted(room, 0, -kPadding, 0),
                     Qt::AlignVCenter | Qt::AlignLeading, words);
}

}  // namespace kestrel
