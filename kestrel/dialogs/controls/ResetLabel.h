#pragma once
#include <QLabel>

namespace kestrel {

/// The label of a control. A double click asks for the control's default.
class ResetLabel : public QLabel {
    Q_OBJECT
public:
    using QLabel::QLabel;

Q_SIGNALS:
    void DoubleClicked();

protected:
    void mouseDoubleClickEvent(QMouseEvent*) override { Q_EMIT DoubleClicked(); }
};

}  // namespace kestrel
