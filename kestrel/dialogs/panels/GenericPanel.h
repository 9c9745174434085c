#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

/// A row for each key of a filter that its parameter table labels, in the order of the dialog's text.
class GenericPanel : public ParameterPanel {
    Q_OBJECT
public:
    GenericPanel(const ClassRow& filter, QWidget* parent);

protected:
    /// For derived panels with rows of their own: no rows yet.
    struct Bare {};
    GenericPanel(const ClassRow& filter, QWidget* parent, Bare);

    /// The rows of these keys, with the captions that they stand under.
    void AddRows(const Keys& keys);

private:
    void AddRow(const KeyInfo& key);
    /// The keys of the color that a key is part of: red, green, blue.
    Keys PartsOf(const KeyInfo& key) const;
    void GrayWhatIsIdle();

    std::string caption_;
};

}  // namespace kestrel
