#include "kestrel/dialogs/panels/BalancePanel.h"

namespace kestrel {

BalancePanel::BalancePanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    const Keys grayPoint = {"RedG", "GreenG", "BlueG"};
    AddChoice("Mode");
    AddColor("IDS_WHITEBLACKGREY_COLOR", grayPoint, "IDS_WHITEBLACKGREY_COLORPICKER");
    for (const std::string& key : grayPoint) AddNumber(key);
    AddNumber("Opacity");
    Finish();
}

}  // namespace kestrel
