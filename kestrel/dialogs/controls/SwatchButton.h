#pragma once
#include <QColor>
#include <QToolButton>

namespace kestrel {

/// A button of a `SwatchBar`.
class SwatchButton : public QToolButton {
    Q_OBJECT
public:
    /// A color that is not valid stands for all colors.
    SwatchButton(const QColor& color, QWidget* parent);

    void SetInUse(bool inUse);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor color_;
    bool inUse_ = false;
};

}  // namespace kestrel
