#pragma once
#include "kestrel/dialogs/panels/CropPanel.h"

namespace kestrel {

/// A crop for a print whose size is given in centimeters or inches. The frame over the picture keeps its proportions.
class PrintCropPanel : public CropPanel {
    Q_OBJECT
public:
    PrintCropPanel(const ClassRow& filter, QWidget* parent);

protected:
    double Aspect() const override;
};

}  // namespace kestrel
