#include "kestrel/dialogs/FilterPanels.h"

#include <algorithm>
#include <string_view>

#include "kestrel/dialogs/gradation/DlgGradation.h"
#include "kestrel/dialogs/panels/BalancePanel.h"
#include "kestrel/dialogs/panels/BoardPanel.h"
#include "kestrel/dialogs/panels/CropPanel.h"
#include "kestrel/dialogs/panels/GenericPanel.h"
#include "kestrel/dialogs/panels/LevelsPanel.h"
#include "kestrel/dialogs/panels/MixerPanel.h"
#include "kestrel/dialogs/panels/PrintCropPanel.h"
#include "kestrel/dialogs/panels/RangePanel.h"
#include "kestrel/dialogs/panels/RedEyePanel.h"
#include "kestrel/dialogs/panels/RotatePanel.h"
#include "kestrel/dialogs/panels/ScalePanel.h"
#include "kestrel/dialogs/panels/ShadowPanel.h"
#include "kestrel/dialogs/panels/SoftFramePanel.h"
#include "kestrel/dialogs/panels/StraightenPanel.h"
#include "kestrel/dialogs/panels/TextPanel.h"
#include "kestrel/server/ClassTable.h"

namespace kestrel {
namespace {

template <class Panel>
std::unique_ptr<FilterPanel> Make(const ClassRow& filter, QWidget* parent) {
    return std::make_unique<Panel>(filter, parent);
}

/// Filters whose panels are more than a row for each key.
struct SpecialPanel {
    std::string_view progId;
    std::unique_ptr<FilterPanel> (*make)(const ClassRow& filter, QWidget* parent);
};
constexpr SpecialPanel kSpecialPanels[] = {
    {"TMFilter.Crop.1", Make<CropPanel>},
    {"TMFilter.Gamma.1", Make<RangePanel>},
    {"TMFilter.GradCurves.1",
     [](const ClassRow&, QWidget* parent) -> std::unique_ptr<FilterPanel> {
         return std::make_unique<CDlgGradation>(parent);
     }},
    {"TMFilter.HSB.1", Make<RangePanel>},
    {"TMFilter.Passpartout.1", Make<BoardPanel>},
    {"TMFilter.PrintCrop.1", Make<PrintCropPanel>},
    {"TMFilter.RedEye.1", Make<RedEyePanel>},
    {"TMFilter.RgbMixer.1", Make<MixerPanel>},
    {"TMFilter.RotCrop.1", Make<StraightenPanel>},
    {"TMFilter.Rotate.1", Make<RotatePanel>},
    {"TMFilter.Scale.1", Make<ScalePanel>},
    {"TMFilter.Shadow.1", Make<ShadowPanel>},
    {"TMFilter.SoftFrame.1", Make<SoftFramePanel>},
    {"TMFilter.Text.1", Make<TextPanel>},
    {"TMFilter.Tonwert.1", Make<LevelsPanel>},
    {"TMFilter.WhiteBlackGrey.1", Make<BalancePanel>},
};

}  // namespace

std::unique_ptr<FilterPanel> MakeFilterPanel(const std::string& progId, QWidget* parent) {
    const ClassRow* const filter = FindClass(progId);
    if (!filter || !filter->IsFilter()) return nullptr;
    const auto special = std::find_if(std::begin(kSpecialPanels), std::end(kSpecialPanels),
                                      [&](const SpecialPanel& each) { return each.progId == progId; });
    if (special != std::end(kSpecialPanels)) return special->make(*filter, parent);
    return Make<GenericPanel>(*filter, parent);
}

}  // namespace kestrel
