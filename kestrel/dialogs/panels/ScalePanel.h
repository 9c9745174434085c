#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

/// The box that a picture is fitted into. What becomes of the proportions is one key of three values: two check boxes.
class ScalePanel : public ParameterPanel {
    Q_OBJECT
public:
    ScalePanel(const ClassRow& filter, QWidget* parent);
};

}  // namespace kestrel
