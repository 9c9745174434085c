#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

/// A turn by any angle, buttons for the frequent ones, and the mirror.
class RotatePanel : public ParameterPanel {
    Q_OBJECT
public:
    RotatePanel(const ClassRow& filter, QWidget* parent);
};

}  // namespace kestrel
