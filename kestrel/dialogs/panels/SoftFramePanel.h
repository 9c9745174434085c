#pragma once
#include "kestrel/dialogs/panels/ParameterPanel.h"

namespace kestrel {

/// A soft edge: the edges, laid out as they lie, the width and its unit.
class SoftFramePanel : public ParameterPanel {
    Q_OBJECT
public:
    SoftFramePanel(const ClassRow& filter, QWidget* parent);

    void SetParameterText(const std::string& text) override;
    void SetPicture(PictureContext* context) override;
    void Reset() override;

private:
    void AddEdges();
    void ConvertOldWidth();

    std::string oldText_;  ///< of a version before the unit of the width, and not converted yet; otherwise empty
};

}  // namespace kestrel
