#pragma once
#include <QPointer>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/dialogs/FilterPanel.h"
#include "kestrel/dialogs/HandleGeometry.h"
#include "kestrel/dialogs/PreviewWorker.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Shows a picture as its line makes it, live: a worker renders, and the window never waits for it. Fitted to the view,
/// or one pixel of the picture to one of the screen, moved by dragging or by the wheel.
///
/// The picture as it was is shown while Space is held, and while a point is picked or handles are moved, as those are
/// places of the filter's input. Keys: 0 fits, 1 shows at full scale, arrows move the cross or the frame by a pixel,
/// with Shift by ten; Enter picks, Escape gives up.
class KESTREL_API PictureView : public QWidget, public PictureContext {
    Q_OBJECT
public:
    enum class Zoom { Fit, FullScale };

    explicit PictureView(QWidget* parent = nullptr);
    ~PictureView() override;

    /// Takes a picture over (`Rendering::SetPicture`).
    void SetPicture(Picture picture);
    /// The line, in the form of `Rendering::SetChainText`.
    void SetChainText(const std::string& text);
    void SetZoom(Zoom zoom);
    Zoom CurrentZoom() const { return zoom_; }
    bool ShowsBefore() const { return beforeKey_ || picked_ || moved_; }
    bool IsPicking() const { return picked_ != nullptr; }
    /// Is what stands on the screen the newest, at the view's size?
    bool IsCurrent() const;
    /// Where a point of the picture on show (pixels at full scale, row 0 at the bottom) stands in the view.
    QPointF ToView(QPointF point) const;
    QPointF ToPicture(QPointF point) const;

    std::vector<std::array<std::uint32_t, 256>> InputHistogram() override;
    QSize InputSize() override;
    void PickPoint(QWidget* asker, std::function<void(QPoint, QRgb)> picked) override;
    void ShowHandles(const HandleFrame& frame, std::function<void(const HandleFrame&)> moved) override;

    QSize sizeHint() const override { return {640, 480}; }

Q_SIGNALS:
    /// The newest picture is on the screen, or the reason why there is none.
    void Current();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    PreviewRequest Wanted() const;
    Preview& Shown() { return ShowsBefore() ? before_ : after_; }
    const Preview& Shown() const { return ShowsBefore() ? before_ : after_; }
    /// Asks for what is to be seen when it is not there yet.
    void Refresh();
    void TakePreview(const Preview& preview);
    /// Logical pixels of the screen for a pixel of the picture on show.
    double Scale() const;
    QPointF TopLeft() const;
    void MoveTo(QPointF middle);
    void StopPicking();
    void Pick(QPointF point);
    void MoveByKey(QPoint step);
    void ChangeFrame(const HandleFrame& frame);
    void Retranslate();
    void UpdateCursor(QPointF at);
    void PaintPicture(QPainter& painter) const;
    void PaintHandles(QPainter& painter) const;
    void PaintWords(QPainter& painter, const QString& words) const;
    double Reach() const;

    std::unique_ptr<PreviewWorker> worker_;
    QSize inputSize_;
    std::vector<std::array<std::uint32_t, 256>> histogram_;  ///< counted when it is first asked for
    std::string chainText_;
    Preview before_;
    Preview after_;
    Zoom zoom_ = Zoom::Fit;
    QPointF middle_;  ///< of the view, in pixels of the picture on show, rows counted downwards
    bool beforeKey_ = false;

    QPointer<QWidget> asker_;
    bool hasAsker_ = false;
    std::function<void(QPoint, QRgb)> picked_;
    QPointF cross_;  ///< where Enter picks

    HandleFrame frame_;
    std::function<void(const HandleFrame&)> moved_;
    std::optional<Handle> held_;
    HandleFrame heldFrame_;  ///< as it was when the handle was taken
    QPointF heldAt_;         ///< in the picture for a handle, in the view for the picture itself
    bool dragging_ = false;  ///< the picture is moved
    QPointF draggedFrom_;    ///< the middle then
};

}  // namespace kestrel
