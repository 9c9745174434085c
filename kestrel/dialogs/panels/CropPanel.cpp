#include "kestrel/dialogs/panels/CropPanel.h"

#include <QPointer>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {

CropPanel::CropPanel(const ClassRow& filter, QWidget* parent)
    : CropPanel(filter, parent, {"LeftMargin", "RightMargin", "BottomMargin", "TopMargin"}) {
    AddEdges();
    AddRatio();
    Finish();
}

CropPanel::CropPanel(const ClassRow& filter, QWidget* parent, Edges edges)
    : GenericPanel(filter, parent, Bare{}), edges_(std::move(edges)) {}

void CropPanel::AddEdges() { AddRows({edges_.left, edges_.right, edges_.bottom, edges_.top}); }

void CropPanel::AddRatio() {
    AddRows({"ShrinkAlpha", "FixRatioOn"});
    ValueRow* const ratio = AddNumber("FixRatio");
    Translate([ratio] { ratio->SetMinimumText(DialogText("IDS_CROP_RATIO_OWN")); });
    AddRows({"Landscape", "AdjustOri", "DlgSizeX", "DlgSizeY"});
}

CropPanel::~CropPanel() {
    if (Picture()) Picture()->ShowHandles({}, {});
}

void CropPanel::SetPicture(PictureContext* context) {
    if (Picture() && Picture() != context) Picture()->ShowHandles({}, {});
    GenericPanel::SetPicture(context);
}

void CropPanel::ShowValues() {
    GenericPanel::ShowValues();
    const QSize size = PictureSize();
    if (dragging_ || size.isEmpty()) return;
    Picture()->ShowHandles(FrameOver(size), [panel = QPointer(this), size](const HandleFrame& frame) {
        if (!panel) return;
        panel->dragging_ = true;  // the view shows the frame already
        panel->TakeFrame(frame, size);
        if (panel) panel->dragging_ = false;
    });
}

double CropPanel::Aspect() const {
    if (!Values().Has("FixRatioOn") || !Values().Flag("FixRatioOn") || Values().Number("FixRatio") <= 0) return 0;
    const double width = Values().Number("DlgSizeX"), height = Values().Number("DlgSizeY");
    return width > 0 && height > 0 ? width / height : Values().Number("FixRatio");
}

QRectF CropPanel::AreaOf(const QSizeF& size) const {
    const QPointF low(Values().Number(edges_.left) * size.width(), Values().Number(edges_.bottom) * size.height());
    const QPointF high(Values().Number(edges_.right) * size.width(), Values().Number(edges_.top) * size.height());
    return QRectF(low, high).normalized();
}

std::vector<std::pair<std::string, double>> CropPanel::EdgesOf(const QRectF& area, const QSizeF& size) const {
    return {{edges_.left, area.left() / size.width()},
            {edges_.right, area.right() / size.width()},
            {edges_.bottom, area.top() / size.height()},
            {edges_.top, area.bottom() / size.height()}};
}

HandleFrame CropPanel::FrameOver(const QSize& size) const {
    HandleFrame frame;
    frame.area = AreaOf(size);
    frame.aspect = Aspect();
    return frame;
}

void CropPanel::TakeFrame(const HandleFrame& frame, const QSize& size) { Take(EdgesOf(frame.area, size)); }

}  // namespace kestrel
