#include "kestrel/dialogs/Histogram.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

namespace kestrel {
namespace {

TEST(Histogram, ColumnsRiseWithTheCounts) {
    ToneCounts counts{};
    counts[0] = 1000;  // clipped black does not flatten the rest
    counts[100] = 40;
    counts[200] = 10;
    QImage image(512, 80, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    PaintHistogram(painter, image.rect(), counts, Qt::black);
    painter.end();
    const auto height = [&image](int tone) {
        int filled = 0;
        for (int y = 0; y < image.height(); ++y) filled += image.pixel(tone * 2, y) == qRgb(0, 0, 0);
        return filled;
    };
    EXPECT_EQ(height(0), 80);
    EXPECT_EQ(height(100), 80);
    EXPECT_EQ(height(200), 20);
    EXPECT_EQ(height(150), 0);
}

TEST(Histogram, ShowsNothingWithoutAPicture) {
    const auto shown = [](std::vector<ToneCounts> counts, int channel) {
        Histogram histogram;
        histogram.resize(260, 60);
        histogram.SetCounts(std::move(counts));
        histogram.SetChannel(channel);
        return histogram.grab().toImage();
    };
    ToneCounts some{};
    some[50] = 1;
    const QImage empty = shown({}, 3);
    EXPECT_EQ(shown({ToneCounts{}, ToneCounts{}, ToneCounts{}, ToneCounts{}}, 3), empty);
    EXPECT_EQ(shown({some}, 3), empty);  // fewer channels than promised
    EXPECT_NE(shown({some, some, some, some}, 3), empty);
}

}  // namespace
}  // namespace kestrel
