#include "kestrel/dialogs/gradation/CurvePlot.h"

#include <fmt/format.h>

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionFocusRect>
#include <cmath>
#include <utility>

#include "kestrel/diagnostics/LogSink.h"

namespace kestrel {
namespace {

constexpr int kGap = 4;                                  // between the plot and the labels, pixels
constexpr int kMark = CGradCurve::kNodeRadius + 1;       // what a node on the edge takes of the margin, pixels
constexpr int kReach = 2 * CGradCurve::kNodeRadius + 2;  // of the mouse beyond the plot, pixels
constexpr int kQuarters = 4;                             // that grid and labels divide the axes into

/// The value of an axis as its label shows it.
QString AxisLabel(int quarter, bool percent) {
    if (percent) return QString::number(100 * quarter / kQuarters);
    return QString::number(std::min(256 * quarter / kQuarters, CGradCurve::kMaximum));
}

double AxisTone(int quarter) { return double{CGradCurve::kMaximum} * quarter / kQuarters; }

QPoint Between(const CGradCurve::Node& node) { return {node.x, node.y}; }

}  // namespace

CurvePlot::CurvePlot(Gradation& gradation, QWidget* parent) : QWidget(parent), gradation_(gradation) {
    setFocusPolicy(Qt::StrongFocus);
    setLayoutDirection(Qt::LeftToRight);  // tones rise to the right everywhere
    setContextMenuPolicy(Qt::PreventContextMenu);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void CurvePlot::SetCounts(std::vector<ToneCounts> counts) {
    counts_ = std::move(counts);
    update();
}

QMargins CurvePlot::PlotMargins() const {
    const int left = fontMetrics().horizontalAdvance(AxisLabel(kQuarters, false));
    return {left + kGap + kMark, kReach, kReach, fontMetrics().height() + kGap + kMark};
}

QSize CurvePlot::sizeHint() const {
    return QSize(CGradCurve::kMaximum + 1, CGradCurve::kMaximum + 1).grownBy(PlotMargins());
}

QSize CurvePlot::minimumSizeHint() const { return sizeHint() * 0.7; }

QRect CurvePlot::PlotRect() const { return rect() - PlotMargins(); }

QRect CurvePlot::HitRect() const { return PlotRect().adjusted(-kReach, -kReach, kReach, kReach); }

QPointF CurvePlot::ToWidget(QPointF tones) const {
    const QRect plot = PlotRect();
    return {plot.left() + tones.x() * (plot.width() - 1) / CGradCurve::kMaximum,
            plot.bottom() - tones.y() * (plot.height() - 1) / CGradCurve::kMaximum};
}

QPoint CurvePlot::ToTones(QPointF point) const {
    const QRect plot = PlotRect();
    const double width = std::max(plot.width() - 1, 1);
    const double height = std::max(plot.height() - 1, 1);
    return {static_cast<int>(std::lround((point.x() - plot.left()) * CGradCurve::kMaximum / width)),
            static_cast<int>(std::lround((plot.bottom() - point.y()) * CGradCurve::kMaximum / height))};
}

// ---- mouse ---------------------------------------------------------------------------------------------------------

/// False where the window system lets no program move the pointer.
bool CurvePlot::PutCursorOnNode() {
    const CGradCurve& curve = gradation_.Active();
    if (curve.GetNode(curve.GetSelected(), &cursorNode_) != 0) return false;
    cursor_ = ToWidget(Between(cursorNode_)).toPoint();
    QCursor::setPos(mapToGlobal(cursor_));
    return mapFromGlobal(QCursor::pos()) == cursor_;
}

void CurvePlot::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressed_ = event->position().toPoint();
    m_Moved = false;
    if (!HitRect().contains(pressed_)) return;
    const QPoint tones = ToTones(event->position());
    const int hit = gradation_.Active().HitTest(tones.x(), tones.y());
    if (hit == CGradCurve::kNone) return;
    gradation_.Active().Select(hit);
    m_Dragging = true;
    const bool onNode = PutCursorOnNode();
    offset_ = onNode ? QPoint() : cursor_ - pressed_;
    update();
    Q_EMIT Moved();
}

void CurvePlot::mouseMoveEvent(QMouseEvent* event) {
    if (m_Dragging) Drag(event->position().toPoint());
}

void CurvePlot::Drag(QPoint pointer) {
    CGradCurve& curve = gradation_.Active();
    const QPoint point = pointer + offset_;
    if (point == cursor_) {  // a pixel may be several tones wide: where the cursor was put, the node is as it was
        curve.MoveSelected(cursorNode_.x, cursorNode_.y);
    } else {
        m_Moved = m_Moved || pointer != pressed_;
        const QPoint tones = ToTones(point);
        if (curve.MoveSelected(tones.x(), tones.y())) PutCursorOnNode();
    }
    update();
    Q_EMIT Moved();
}

void CurvePlot::mouseReleaseEvent(QMouseEvent* event) {
    const QPoint point = event->position().toPoint();
    if (event->button() == Qt::LeftButton && m_Dragging) {
        m_Dragging = false;
        if (!m_Moved) QCursor::setPos(mapToGlobal(pressed_));
        Change(true);
    } else if (event->button() == Qt::RightButton && PlotRect().contains(point)) {
        const QPoint tones = ToTones(event->position());
        LogLine(-1, "CurvePlot", __LINE__, fmt::format("ptNewNode: x={}, y={}\n", tones.x(), tones.y()));
        Change(gradation_.Active().InsertAt(tones.x(), tones.y()));
    }
}

void CurvePlot::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !HitRect().contains(event->position().toPoint())) return;
    CGradCurve& curve = gradation_.Active();
    m_Dragging = false;
    Change(curve.GetSelected() != CGradCurve::kNone && curve.RemoveNode(curve.GetSelected()));
}

void CurvePlot::hideEvent(QHideEvent* event) {
    m_Dragging = false;
    QWidget::hideEvent(event);
}

void CurvePlot::Change(bool changed) {
    update();
    Q_EMIT Moved();
    if (changed) Q_EMIT Changed();
}

// ---- keyboard ------------------------------------------------------------------------------------------------------

bool CurvePlot::SelectByKey(int key) {
    CGradCurve& curve = gradation_.Active();
    const int last = curve.GetCount() - 1;
    const int selected = curve.GetSelected();
    switch (key) {
        case Qt::Key_Home:
            curve.Select(0);
            break;
        case Qt::Key_End:
            curve.Select(last);
            break;
        case Qt::Key_PageUp:
            curve.Select(std::min(selected + 1, last));
            break;
        case Qt::Key_PageDown:
            curve.Select(std::max(selected - 1, 0));
            break;
        default:
            return false;
    }
    Change(false);
    return true;
}

bool CurvePlot::EditByKey(int key) {
    CGradCurve& curve = gradation_.Active();
    CGradCurve::Node node;
    const bool selected = curve.GetNode(curve.GetSelected(), &node) == 0;
    switch (key) {
        case Qt::Key_Left:
            --node.x;
            break;
        case Qt::Key_Right:
            ++node.x;
            break;
        case Qt::Key_Up:
            ++node.y;
            break;
        case Qt::Key_Down:
            --node.y;
            break;
        case Qt::Key_Insert:
            Change(curve.InsertAuto());
            return true;
        case Qt::Key_Delete:
            Change(selected && curve.RemoveNode(curve.GetSelected()));
            return true;
        default:
            return false;
    }
    if (selected) curve.MoveSelected(node.x, node.y);
    Change(selected);
    return true;
}

void CurvePlot::keyPressEvent(QKeyEvent* event) {
    const bool plain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (!plain || (!SelectByKey(event->key()) && !EditByKey(event->key()))) QWidget::keyPressEvent(event);
}

// ---- painting ------------------------------------------------------------------------------------------------------

void CurvePlot::PaintGrid(QPainter& painter) const {
    QColor faint = palette().color(QPalette::Text);
    faint.setAlphaF(0.18F);
    painter.setPen(QPen(faint, 1));
    for (int quarter = 1; quarter < kQuarters; ++quarter) {
        const double tone = AxisTone(quarter);
        painter.drawLine(ToWidget({tone, 0}), ToWidget({tone, CGradCurve::kMaximum}));
        painter.drawLine(ToWidget({0, tone}), ToWidget({CGradCurve::kMaximum, tone}));
    }
}

void CurvePlot::PaintAxes(QPainter& painter) const {
    painter.setPen(palette().color(QPalette::WindowText));
    const QRect plot = PlotRect();
    const int height = fontMetrics().height();
    for (int quarter = 0; quarter <= kQuarters; ++quarter) {
        const QPointF at = ToWidget({AxisTone(quarter), AxisTone(quarter)});
        const QString label = AxisLabel(quarter, gradation_.percent);
        const QRectF left(0, at.y() - height / 2.0, plot.left() - kGap - kMark, height);
        painter.drawText(left, Qt::AlignRight | Qt::AlignVCenter, label);
        const double width = fontMetrics().horizontalAdvance(label);
        const double x = std::min(at.x() - width / 2, QWidget::width() - width);
        painter.drawText(QRectF(x, plot.bottom() + kGap + kMark, width + 1, height), Qt::AlignLeft | Qt::AlignTop,
                         label);
    }
}

void CurvePlot::PaintCurve(QPainter& painter, int channel, bool active) const {
    const auto table = gradation_.curves[static_cast<std::size_t>(channel)].Table();
    QPolygonF line;
    for (int tone = 0; tone <= CGradCurve::kMaximum; ++tone)
        line << ToWidget({double(tone), double(table[static_cast<std::size_t>(tone)])});
    painter.setPen(
        QPen(Histogram::ChannelColor(channel, palette()), active ? 2 : 1.4, active ? Qt::SolidLine : Qt::DotLine));
    painter.drawPolyline(line);
}

void CurvePlot::PaintCurves(QPainter& painter) const {
    for (int channel = 0; channel < Gradation::kChannels && !gradation_.onlyActive; ++channel)
        if (channel != gradation_.channel) PaintCurve(painter, channel, false);
    PaintCurve(painter, gradation_.channel, true);
}

void CurvePlot::PaintNodes(QPainter& painter) const {
    const CGradCurve& curve = gradation_.Active();
    const QColor color = Histogram::ChannelColor(gradation_.channel, palette());
    for (int i = 0; i < curve.GetCount(); ++i) {
        const bool selected = i == curve.GetSelected();
        painter.setPen(QPen(selected ? palette().color(QPalette::Highlight) : color, selected ? 2.5 : 1.5));
        painter.setBrush(selected ? palette().color(QPalette::HighlightedText) : palette().color(QPalette::Base));
        const double radius = CGradCurve::kNodeRadius + (selected ? 1 : 0);
        painter.drawEllipse(ToWidget(Between(curve.Nodes()[static_cast<std::size_t>(i)])), radius, radius);
    }
}

void CurvePlot::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect plot = PlotRect();
    painter.fillRect(plot, palette().base());
    const auto channel = static_cast<std::size_t>(gradation_.channel);
    if (channel < counts_.size()) {
        QColor ground = Histogram::ChannelColor(gradation_.channel, palette());
        ground.setAlphaF(0.2F);
        PaintHistogram(painter, plot, counts_[channel], ground);
    }
    if (gradation_.grid) PaintGrid(painter);
    painter.setPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Mid));
    painter.drawRect(plot.adjusted(-1, -1, 0, 0));
    PaintAxes(painter);
    painter.setRenderHint(QPainter::Antialiasing);
    PaintCurves(painter);
    PaintNodes(painter);
}

}  // namespace kestrel
