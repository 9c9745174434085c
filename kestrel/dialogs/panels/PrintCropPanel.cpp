#include "kestrel/dialogs/panels/PrintCropPanel.h"

#include <QComboBox>

#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {
namespace {

constexpr int kCentimeters = 1;  // of the key `Measur`; 0 are inches
constexpr double kCentimetersPerInch = 2.54;

}  // namespace

PrintCropPanel::PrintCropPanel(const ClassRow& filter, QWidget* parent)
    : CropPanel(filter, parent, {"MarginL", "MarginR", "MarginB", "MarginT"}) {
    AddEdges();
    for (const char* const key : {"Width", "Height"}) {
        ValueRow* const row = AddNumber(key);
        Follow([this, row] {
            row->SetSuffix(Values().Integer("Measur") == kCentimeters ? QStringLiteral(" cm") : QStringLiteral(" in"));
        });
    }
    AddRows({"Measur", "PPI", "FixedPPI"});
    // Another unit is another number for the same print.
    auto* const units = findChild<QComboBox*>(QStringLiteral("Measur"));
    units->disconnect(this);
    connect(units, &QComboBox::activated, this, [this, units](int i) {
        const int unit = units->itemData(i).toInt();
        if (unit == Values().Integer("Measur")) return;
        const double factor = unit == kCentimeters ? kCentimetersPerInch : 1 / kCentimetersPerInch;
        Take({{"Measur", unit},
              {"Width", Values().Number("Width") * factor},
              {"Height", Values().Number("Height") * factor}});
    });
    Finish();
}

double PrintCropPanel::Aspect() const { return Values().Number("Width") / Values().Number("Height"); }

}  // namespace kestrel
