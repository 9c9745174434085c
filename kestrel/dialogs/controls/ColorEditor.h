#pragma once
#include <QColor>
#include <QFrame>

class QLabel;
class QLineEdit;
class QSlider;
class QSpinBox;

namespace kestrel {

class HueField;

/// A small window that edits a color: a field of hue and saturation, a slider of brightness, the three channels and the
/// hexadecimal number. It closes when the user clicks elsewhere or presses Escape; each step is told at once.
class ColorEditor : public QFrame {
    Q_OBJECT
public:
    ColorEditor(const QColor& color, QWidget* parent);

    QColor Color() const { return color_; }
    /// Emits nothing.
    void SetColor(const QColor& color);

Q_SIGNALS:
    /// The user has changed the color.
    void ColorChanged(const QColor& color);

private:
    void Take(const QColor& color);
    void Show();
    /// In the language chosen when the editor opens.
    void SetTexts();

    QColor color_;
    int hue_ = 0;  ///< kept while the color is gray
    HueField* field_;
    QSlider* brightness_;
    QSpinBox* channels_[3];
    QLabel* channelLabels_[3];
    QLineEdit* number_;
};

}  // namespace kestrel
