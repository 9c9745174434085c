#pragma once
#include <QImage>
#include <QWidget>

namespace kestrel {

/// A field of all hues, from left to right, and saturations, from below to above. Arrow keys move the mark.
class HueField : public QWidget {
    Q_OBJECT
public:
    explicit HueField(QWidget* parent);

    int Hue() const { return hue_; }                ///< 0..359
    int Saturation() const { return saturation_; }  ///< 0..255
    /// Emits nothing.
    void SetMark(int hue, int saturation);
    QSize sizeHint() const override;

Q_SIGNALS:
    void MarkMoved();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void MoveTo(int hue, int saturation);
    void PointAt(const QPointF& place);

    QImage colors_;
    int hue_ = 0;
    int saturation_ = 0;
};

}  // namespace kestrel
