#pragma once
#include "kestrel/dialogs/panels/GenericPanel.h"

namespace kestrel {

/// A crop: its edges in numbers, and as a frame with handles over the picture.
class CropPanel : public GenericPanel {
    Q_OBJECT
public:
    CropPanel(const ClassRow& filter, QWidget* parent);
    ~CropPanel() override;

    void SetPicture(PictureContext* context) override;

protected:
    /// The keys of the edges, as fractions of the picture.
    struct Edges {
        std::string left, right, bottom, top;
    };
    /// For derived panels, which lay out their own rows.
    CropPanel(const ClassRow& filter, QWidget* parent, Edges edges);

    /// The rows for the edges in numbers.
    void AddEdges();
    /// The rows for the proportions of the cut.
    void AddRatio();
    void ShowValues() override;
    /// The frame over a picture of this size.
    virtual HandleFrame FrameOver(const QSize& size) const;
    /// Takes what the user has made of the frame.
    virtual void TakeFrame(const HandleFrame& frame, const QSize& size);

    /// Width to height that the cut keeps; 0 for any.
    virtual double Aspect() const;
    /// The cut as an area of a picture of this size, and back.
    QRectF AreaOf(const QSizeF& size) const;
    std::vector<std::pair<std::string, double>> EdgesOf(const QRectF& area, const QSizeF& size) const;

private:
    Edges edges_;
    bool dragging_ = false;
};

}  // namespace kestrel
