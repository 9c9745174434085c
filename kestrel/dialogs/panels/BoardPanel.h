#pragma once
#include "kestrel/dialogs/panels/GenericPanel.h"

namespace kestrel {

/// A board under the picture, by the width of its border or by its total size.
class BoardPanel : public GenericPanel {
    Q_OBJECT
public:
    BoardPanel(const ClassRow& filter, QWidget* parent);
};

}  // namespace kestrel
