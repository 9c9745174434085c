#include "kestrel/dialogs/panels/RangePanel.h"

#include <QColor>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/controls/SwatchBar.h"
#include "kestrel/dialogs/controls/ValueRow.h"

namespace kestrel {

RangePanel::RangePanel(const ClassRow& filter, QWidget* parent)
    : ParameterPanel(filter, parent),
      bar_(new SwatchBar({QColor(), Qt::red, Qt::yellow, Qt::green, Qt::cyan, Qt::blue, Qt::magenta}, this)) {
    AddWhole(bar_);
    CollectRanges();
    for (Range& range : ranges_)
        for (const std::string& key : range.keys) range.rows.push_back(AddNumber(key));
    Translate([this] {
        for (std::size_t i = 0; i < ranges_.size(); ++i)
            bar_->SetName(static_cast<int>(i), DialogText(ranges_[i].textKey.c_str()));
        ShowRange(bar_->Chosen());
    });
    Follow([this] {
        for (std::size_t i = 0; i < ranges_.size(); ++i)
            bar_->SetInUse(static_cast<int>(i),
                           std::any_of(ranges_[i].keys.begin(), ranges_[i].keys.end(),
                                       [this](const std::string& key) { return Values().Number(key) != 0; }));
    });
    connect(bar_, &SwatchBar::ChosenChanged, this, &RangePanel::ShowRange);
    Finish();
}

/// Keys of one range stand together and under its caption.
void RangePanel::CollectRanges() {
    for (const KeyInfo& key : Values().Info().keys) {
        if (key.role != Role::Setting) continue;
        if (ranges_.empty() || ranges_.back().textKey != key.caption) ranges_.push_back({key.caption, {}, {}});
        ranges_.back().keys.push_back(key.key);
    }
}

void RangePanel::ShowRange(int chosen) {
    for (std::size_t i = 0; i < ranges_.size(); ++i)
        for (ValueRow* const row : ranges_[i].rows) row->SetVisible(static_cast<int>(i) == chosen);
}

}  // namespace kestrel
