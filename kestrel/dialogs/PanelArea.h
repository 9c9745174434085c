#pragma once
#include <QScrollArea>

namespace kestrel {

/// Holds a panel at its full size and scrolls it where the screen is too small for that. Not installed.
class PanelArea final : public QScrollArea {
    Q_OBJECT
public:
    PanelArea(QWidget* panel, QWidget* parent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
};

}  // namespace kestrel
