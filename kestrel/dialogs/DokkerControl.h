#pragma once
#include <QScrollArea>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A bar of a host's window into which dialogs are docked, one below the other; it scrolls when they do not fit.
/// Dialogs dock into any other widget as well (`CTMDialog::DockView`).
class KESTREL_API DokkerControl : public QScrollArea {
    Q_OBJECT
public:
    explicit DokkerControl(QWidget* parent = nullptr);

    /// What docked dialogs become children of.
    QWidget* Bar() const { return bar_; }
    /// Wide enough for the dialogs, without a scroll bar across.
    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void FitWidth();

    QWidget* const bar_;
};

}  // namespace kestrel
