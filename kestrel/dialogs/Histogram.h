#pragma once
#include <QColor>
#include <QRectF>
#include <QWidget>
#include <array>
#include <cstdint>
#include <vector>

#include "kestrel/foundation/Export.h"

class QPainter;

namespace kestrel {

/// How many pixels have each tone 0..255.
using ToneCounts = std::array<std::uint32_t, 256>;

/// Fills the area below the counts: tone 0 at the left of `area`, 255 at the right. The highest inner tone reaches the
/// top; black and white, which clipping piles up, are cut there. Nothing is drawn where nothing was counted.
KESTREL_API void PaintHistogram(QPainter& painter, const QRectF& area, const ToneCounts& counts, const QColor& color);

/// Shows how often each tone occurs in a picture: the luminance, or one channel in its color. Tones rise to the right
/// in every language.
class KESTREL_API Histogram : public QWidget {
    Q_OBJECT
public:
    explicit Histogram(QWidget* parent = nullptr);

    /// As `PictureContext::InputHistogram` gives them: luminance, red, green, blue; empty without a picture.
    void SetCounts(std::vector<ToneCounts> counts);
    /// 0 luminance, 1 red, 2 green, 3 blue.
    void SetChannel(int channel);
    /// The color of a channel, readable on the window's ground.
    static QColor ChannelColor(int channel, const QPalette& palette);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<ToneCounts> counts_;
    int channel_ = 0;
};

}  // namespace kestrel
