#pragma once
#include "kestrel/dialogs/panels/GenericPanel.h"

namespace kestrel {

/// A light with its direction, and the relief and the shadow that it makes.
class ShadowPanel : public GenericPanel {
    Q_OBJECT
public:
    ShadowPanel(const ClassRow& filter, QWidget* parent);
};

}  // namespace kestrel
