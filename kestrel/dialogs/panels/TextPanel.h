#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

class QMenu;
class QPlainTextEdit;

namespace kestrel {

class FontChooser;

/// A text in the picture: the words, their font, colors and place.
class TextPanel : public ParameterPanel {
    Q_OBJECT
public:
    TextPanel(const ClassRow& filter, QWidget* parent);

    /// The menu of the text box, in the language now chosen. The caller deletes it.
    QMenu* MakeMenu();

private:
    void AddWords();
    void AddFont();
    void AddPlace();
    /// Takes what stands in the box; brings back what stood there before when no character set holds it, or when it is
    /// too long.
    void TakeBox();
    void ShowBox();
    void InsertDescriptor();
    void ToggleCase();

    QPlainTextEdit* box_ = nullptr;
    FontChooser* font_ = nullptr;
};

}  // namespace kestrel
