#pragma once
#include <QWidget>

namespace kestrel {

/// A dial for a direction: a hand that is dragged, or moved with the arrow keys by a degree, with Page Up and Page Down
/// by 15. With Shift the hand keeps to multiples of 15 degrees.
class AngleDial : public QWidget {
    Q_OBJECT
public:
    /// `zeroAt`: where the hand points at 0, degrees counterclockwise from the right.
    AngleDial(double zeroAt, QWidget* parent);

    /// Degrees, counterclockwise. Emits nothing.
    void SetAngle(double degrees);
    QSize sizeHint() const override;

Q_SIGNALS:
    /// The user has turned the hand; 0 to below 360.
    void AngleChanged(double degrees);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void Turn(double degrees);
    void PointAt(const QMouseEvent& event);

    double zeroAt_;
    double angle_ = 0;
};

}  // namespace kestrel
