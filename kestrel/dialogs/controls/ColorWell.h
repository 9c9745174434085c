#pragma once
#include <QAbstractButton>
#include <QColor>
#include <QPointer>

namespace kestrel {

class ColorEditor;

/// A button that shows a color and opens an editor for it.
class ColorWell : public QAbstractButton {
    Q_OBJECT
public:
    explicit ColorWell(QWidget* parent);

    QColor Color() const { return color_; }
    /// Emits nothing.
    void SetColor(const QColor& color);
    /// The editor, while it is open.
    ColorEditor* Editor() const;
    QSize sizeHint() const override;

Q_SIGNALS:
    /// The user has changed the color.
    void ColorChanged(const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Open();

    QColor color_ = Qt::black;
    QPointer<ColorEditor> editor_;
};

}  // namespace kestrel
