#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

class QListWidget;

namespace kestrel {

class GlyphButton;

/// The clicked eyes: a list, a button that adds eyes by clicks on the picture, and the values of the chosen eye.
class RedEyePanel : public ParameterPanel {
    Q_OBJECT
public:
    RedEyePanel(const ClassRow& filter, QWidget* parent);

protected:
    void ShowValues() override;

private:
    static constexpr int kValues = 4;  ///< of an eye: place from the left and from below, darkening, sensitivity

    void AddList();
    void AddValues();
    int Count() const;
    /// The eye whose values are shown, counted from 1; 0 for none.
    int Chosen() const;
    void PickNext();
    void AddEye(double x, double y);
    void RemoveChosen();
    void ShowList();

    QListWidget* list_ = nullptr;
    GlyphButton* add_ = nullptr;
    GlyphButton* remove_ = nullptr;
    ValueRow* rows_[kValues] = {};
};

}  // namespace kestrel
