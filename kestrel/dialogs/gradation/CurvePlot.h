#pragma once
#include <QMargins>
#include <QPoint>
#include <QWidget>
#include <functional>
#include <vector>

#include "kestrel/dialogs/Histogram.h"
#include "kestrel/editing/Gradation.h"

namespace kestrel {

/// Draws the curves of a gradation over the picture's histogram and lets the user edit the active one: nodes are
/// dragged with the left button and put in with the right one, a double click removes one, the arrow keys move the
/// selected one. Black is at the lower left in every language.
class CurvePlot final : public QWidget {
    Q_OBJECT
public:
    /// `gradation` outlives the plot; `update` follows each change of it.
    explicit CurvePlot(Gradation& gradation, QWidget* parent = nullptr);

    /// As `PictureContext::InputHistogram` gives them.
    void SetCounts(std::vector<ToneCounts> counts);

    /// The plot proper, without the labels of the axes.
    QRect PlotRect() const;
    /// Where a node stands, and which place of the curve a point of the widget is. Both go beyond the plot.
    QPointF ToWidget(QPointF tones) const;
    QPoint ToTones(QPointF point) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user has moved a node, while it is dragged too, or has selected another one.
    void Moved();
    /// The user has finished a change that the filter should follow.
    void Changed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    /// Room for the labels of the axes, and for half a node.
    QMargins PlotMargins() const;
    QRect HitRect() const;
    bool PutCursorOnNode();
    void Drag(QPoint pointer);
    /// Shows what was done to the active curve; `changed` when the filter should follow.
    void Change(bool changed);
    bool SelectByKey(int key);
    bool EditByKey(int key);
    void PaintGrid(QPainter& painter) const;
    void PaintAxes(QPainter& painter) const;
    void PaintCurves(QPainter& painter) const;
    void PaintCurve(QPainter& painter, int channel, bool active) const;
    void PaintNodes(QPainter& painter) const;

    Gradation& gradation_;
    std::vector<ToneCounts> counts_;
    bool m_Dragging = false;
    bool m_Moved = false;  ///< since the button was pressed
    QPoint pressed_;       ///< point of the last press of the left button
    QPoint cursor_;        ///< where the cursor was put, and the node that it was put on
    CGradCurve::Node cursorNode_;
    QPoint offset_;  ///< from the pointer to the node, where the cursor cannot be put anywhere
};

}  // namespace kestrel
