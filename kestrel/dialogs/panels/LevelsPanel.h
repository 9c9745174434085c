#pragma once
#include "kestrel/dialogs/panels/GenericPanel.h"

namespace kestrel {

class Histogram;

/// Black point, white point and midtones, by hand or from the picture, below the picture's histogram.
class LevelsPanel : public GenericPanel {
    Q_OBJECT
public:
    LevelsPanel(const ClassRow& filter, QWidget* parent);

    void SetPicture(PictureContext* context) override;

private:
    Histogram* histogram_;
};

}  // namespace kestrel
