#pragma once
#include <QColor>
#include <QPoint>
#include <QRectF>
#include <QSize>
#include <QWidget>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A frame with handles over the view of a picture.
struct HandleFrame {
    QRectF area;           ///< full-scale pixels of the filter's input, row 0 at the bottom
    double angle = 0;      ///< degrees, counter-clockwise around the middle of `area`
    double aspect = 0;     ///< width divided by height, which dragging keeps; 0 is free
    bool resizes = true;   ///< has handles at its corners and sides
    bool rotates = false;  ///< has a handle that turns it
};

/// What a panel may ask about the picture that its filter works on. All of it may be missing.
struct PictureContext {
    virtual ~PictureContext() = default;
    /// Counts of the filter's input: [0] luminance, [1] red, [2] green, [3] blue; empty when there is no picture.
    virtual std::vector<std::array<std::uint32_t, 256>> InputHistogram() = 0;
    /// Size of the filter's input at full scale, pixels; empty without a picture.
    virtual QSize InputSize() = 0;
    /// Asks the user for a point of the filter's input (full-scale pixels, row 0 at the bottom, with its color);
    /// `picked` is called once, or never when the user gives up.
    virtual void PickPoint(QWidget* asker, std::function<void(QPoint, QRgb)> picked) = 0;
    /// Shows a frame with handles over the view (crop, straighten); `moved` is called while it is dragged. An empty
    /// function ends it.
    virtual void ShowHandles(const HandleFrame& frame, std::function<void(const HandleFrame&)> moved) = 0;
};

/// The controls of one filter. Shows a parameter text and tells when its user has changed it.
class KESTREL_API FilterPanel : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
    /// Shows a text of any bytes; what it does not hold or what is out of range is shown as the filter would take it.
    /// Never emits `Edited`.
    virtual void SetParameterText(const std::string& text) = 0;
    /// What the controls show, in the dialog form of the filter's text.
    virtual std::string ParameterText() const = 0;
    /// Asks for all texts again, in the language now chosen (kestrel/dialogs/DialogText.h).
    virtual void Retranslate() = 0;
    /// The filter's defaults; emits `Edited`.
    virtual void Reset() = 0;
    /// `context` outlives the panel or is taken away with null.
    virtual void SetPicture(PictureContext* context) { (void)context; }

Q_SIGNALS:
    /// The user has changed a value. Comes while a slider is dragged, too.
    void Edited();
};

}  // namespace kestrel
