#include "kestrel/dialogs/Histogram.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <utility>

namespace kestrel {
namespace {

constexpr int kTones = 256;

}  // namespace

void PaintHistogram(QPainter& painter, const QRectF& area, const ToneCounts& counts, const QColor& color) {
    auto highest = *std::max_element(counts.begin() + 1, counts.end() - 1);
    if (highest == 0) highest = std::max(counts.front(), counts.back());
    if (highest == 0) return;
    QPainterPath path(area.bottomLeft());
    const double width = area.width() / kTones;
    for (int tone = 0; tone < kTones; ++tone) {
        const double share = std::min(1.0, static_cast<double>(counts[static_cast<std::size_t>(tone)]) / highest);
        const double y = area.bottom() - share * area.height();
        path.lineTo(area.left() + tone * width, y);
        path.lineTo(area.left() + (tone + 1) * width, y);
    }
    path.lineTo(area.bottomRight());
    painter.fillPath(path, color);
}

Histogram::Histogram(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void Histogram::SetCounts(std::vector<ToneCounts> counts) {
    counts_ = std::move(counts);
    update();
}

void Histogram::SetChannel(int channel) {
    channel_ = channel;
    update();
}

QColor Histogram::ChannelColor(int channel, const QPalette& palette) {
    const bool dark = palette.color(QPalette::Base).lightness() < 128;
    switch (channel) {
        case 1:
            return dark ? QColor(0xFF6B6B) : QColor(0xD02B2B);
        case 2:
            return dark ? QColor(0x5CD68A) : QColor(0x1B8A44);
        case 3:
            return dark ? QColor(0x74A9FF) : QColor(0x2460D8);
        default:
            return palette.color(QPalette::Text);
    }
}

QSize Histogram::sizeHint() const { return {kTones + 2, fontMetrics().height() * 5}; }
QSize Histogram::minimumSizeHint() const { return {kTones / 2, fontMetrics().height() * 2}; }

void Histogram::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    QColor color = ChannelColor(channel_, palette());
    color.setAlphaF(0.5F);
    const auto shown = static_cast<std::size_t>(channel_);
    if (shown < counts_.size()) PaintHistogram(painter, QRectF(rect()).adjusted(1, 1, -1, -1), counts_[shown], color);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

}  // namespace kestrel
