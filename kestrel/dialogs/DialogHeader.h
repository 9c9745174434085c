#pragma once
#include <QString>
#include <QWidget>
#include <vector>

#include "kestrel/dialogs/SystemButton.h"

class QHBoxLayout;
class QLabel;

namespace kestrel {

/// The head of a dialog: its title and its system buttons. Not installed.
class DialogHeader final : public QWidget {
    Q_OBJECT
public:
    DialogHeader(SystemButton::Localize localize, QWidget* parent);

    void SetTitle(const QString& title);
    /// Draws the title as that of the window that has the keyboard, or of another one.
    void SetActive(bool active);
    /// The button of that kind, made when there is none yet.
    SystemButton* Add(SysBtnID id);
    /// Null when there is none.
    SystemButton* Find(SysBtnID id) const;
    const std::vector<SystemButton*>& Buttons() const { return buttons_; }

Q_SIGNALS:
    void Clicked(SysBtnID id);
    void DragBegun(SysBtnID id);

private:
    const SystemButton::Localize localize_;
    QLabel* title_;
    QHBoxLayout* row_;
    std::vector<SystemButton*> buttons_;  ///< in the order of their ids
};

}  // namespace kestrel
