#pragma once
#include "kestrel/dialogs/panels/CropPanel.h"

namespace kestrel {

/// A turn and the crop after it: an angle, a line that is to become level or upright, and the edges; over the picture
/// a frame that turns.
class StraightenPanel : public CropPanel {
    Q_OBJECT
public:
    StraightenPanel(const ClassRow& filter, QWidget* parent);

protected:
    HandleFrame FrameOver(const QSize& size) const override;
    void TakeFrame(const HandleFrame& frame, const QSize& size) override;

private:
    void AddAngle();
    void AddCoordinate(const std::string& key, const char* axis);
    void AddLineEnd(const std::string& x, const std::string& y, bool last);
    void Align();
    double Degrees() const;
};

}  // namespace kestrel
