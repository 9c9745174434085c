#pragma once
#include <QPoint>
#include <QString>
#include <QToolButton>
#include <functional>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The buttons of a dialog's head, in the order in which they stand there.
enum class SysBtnID { Copy, Lock, Help, Dock, Minimize, Maximize, Windorize, Close };

/// A button of a dialog's head. It shows a state that its dialog sets: a click alone does not change it.
class KESTREL_API SystemButton final : public QToolButton {
    Q_OBJECT
public:
    /// The text of a key; any other text as it is.
    using Localize = std::function<QString(const char* key)>;
    SystemButton(SysBtnID id, Localize localize, QWidget* parent = nullptr);

    SysBtnID Id() const { return id_; }
    bool IsPressed() const { return isChecked(); }
    /// Draws the button anew only when the state is another one.
    void SetPressed(bool pressed) { setChecked(pressed); }
    /// Tooltip and accessible name; empty is the text that belongs to id and state. A key of the shipped texts is
    /// translated.
    void SetText(const QString& text);
    /// Draws the dock button as the one that undocks.
    void SetDocked(bool docked);
    void Retranslate();

Q_SIGNALS:
    /// The pointer left the place where the button was pressed, which is still held.
    void DragBegun();

protected:
    void nextCheckState() override {}
    void checkStateSet() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Look {
        const char* icon;
        const char* textKey;
    };
    Look CurrentLook() const;
    void Show();
    void FitIcon();

    const SysBtnID id_;
    const Localize localize_;
    QString text_;
    QPoint pressedAt_;
    bool docked_ = false;
    bool dragging_ = false;
};

}  // namespace kestrel
