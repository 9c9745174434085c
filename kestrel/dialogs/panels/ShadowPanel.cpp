#include "kestrel/dialogs/panels/ShadowPanel.h"

#include "kestrel/dialogs/controls/AngleDial.h"

namespace kestrel {

ShadowPanel::ShadowPanel(const ClassRow& filter, QWidget* parent) : GenericPanel(filter, parent, Bare{}) {
    AddWhole(MakeDial("LightDirection", 0));
    AddNumber("LightDirection");
    AddRows({"LightIntensity"});
    AddCaption("IDS_SCHATTEN_SCHATTEN");
    AddRadio("InnerOn", 0);
    AddRadio("InnerOn", 1);
    for (const char* const key : {"ShadowDensity", "ShadowBlur", "Size", "ShadowDistance"}) AddNumber(key);
    AddColor("IDS_SCHATTEN_FARBE", {"ShadowRed", "ShadowGreen", "ShadowBlue"});
    Finish();
}

}  // namespace kestrel
