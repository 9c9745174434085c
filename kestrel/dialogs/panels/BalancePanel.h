#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

/// White balance: the method, the gray point as a color and in numbers, and the strength.
class BalancePanel : public ParameterPanel {
    Q_OBJECT
public:
    BalancePanel(const ClassRow& filter, QWidget* parent);
};

}  // namespace kestrel
