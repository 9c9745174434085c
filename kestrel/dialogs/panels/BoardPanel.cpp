#include "kestrel/dialogs/panels/BoardPanel.h"

namespace kestrel {

BoardPanel::BoardPanel(const ClassRow& filter, QWidget* parent) : GenericPanel(filter, parent, Bare{}) {
    AddRadio("BordersizeOn", 1);
    AddNumber("Borderhori");
    AddNumber("Borderverti");
    AddRadio("BordersizeOn", 0);
    AddNumber("TotalHori");
    AddNumber("TotalVerti");
    AddRows({"Radius", "Red", "Green", "Blue", "Transparency", "Poscorhori", "Poscorverti"});
    Finish();
}

}  // namespace kestrel
