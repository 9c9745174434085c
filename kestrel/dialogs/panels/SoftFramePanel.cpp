#include "kestrel/dialogs/panels/SoftFramePanel.h"

#include <fmt/format.h>

#include <QCheckBox>
#include <QGridLayout>
#include <algorithm>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {

SoftFramePanel::SoftFramePanel(const ClassRow& filter, QWidget* parent) : ParameterPanel(filter, parent) {
    AddCaption("IDS_SOFTFRAME_CHOOSEEDGES");
    AddEdges();
    AddFlag("SoftCorner");
    ValueRow* const width = AddNumber("FrameWidth");
    Follow([this, width] { width->SetSuffix(QLatin1String(Values().Flag("CalcPix") ? " px" : " %")); });
    AddChoice("CalcPix");
    Finish();
}

void SoftFramePanel::AddEdges() {
    auto* const edges = new QWidget(this);
    auto* const grid = new QGridLayout(edges);
    grid->setContentsMargins(0, 0, 0, 0);
    edges->setLayoutDirection(Qt::LeftToRight);  // the edges are those of a picture, which no language mirrors
    grid->addWidget(MakeFlag("Oben"), 0, 1);
    grid->addWidget(MakeFlag("Links"), 1, 0);
    grid->addWidget(MakeFlag("Rechts"), 1, 2);
    grid->addWidget(MakeFlag("Unten"), 2, 1);
    grid->setColumnStretch(3, 1);
    AddWhole(edges);
}

void SoftFramePanel::SetParameterText(const std::string& text) {
    Values().Read(text);
    oldText_ = Values().Integer("Ver") == 0 ? text : "";
    ConvertOldWidth();
    ShowValues();
}

void SoftFramePanel::SetPicture(PictureContext* context) {
    ParameterPanel::SetPicture(context);
    ConvertOldWidth();
    ShowValues();
}

void SoftFramePanel::Reset() {
    oldText_.clear();
    ParameterPanel::Reset();
}

/// Older texts counted the width in another way, for which the picture has to be known. Until then it stays what their
/// pixels are made with: pixels.
void SoftFramePanel::ConvertOldWidth() {
    if (oldText_.empty()) return;
    Values().Read(oldText_);
    const int width = Values().Integer("FrameWidth");
    const QSize size = PictureSize();
    if (size.isEmpty() || width == 0) {
        Values().SetNumber("CalcPix", 1);
        return;
    }
    oldText_.clear();
    const std::int64_t half = std::max(size.width(), size.height()) / 2;
    Values().SetNumber("FrameWidth", static_cast<double>(100 - half * width / 100));
    LogLine(-1, "SoftFramePanel", __LINE__,
            fmt::format("Filter Weicher Rand wird konvertiert auf {}\n", Values().Integer("FrameWidth")));
}

}  // namespace kestrel
