#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

class SwatchBar;

/// Like sliders for all colors and for six ranges of them: a bar that chooses the range, and the sliders of that one.
class RangePanel : public ParameterPanel {
    Q_OBJECT
public:
    RangePanel(const ClassRow& filter, QWidget* parent);

private:
    struct Range {
        std::string textKey;
        std::vector<ValueRow*> rows;
        Keys keys;
    };

    void CollectRanges();
    void ShowRange(int chosen);

    SwatchBar* bar_;
    std::vector<Range> ranges_;
};

}  // namespace kestrel
