#include "kestrel/dialogs/PictureView.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <cmath>

#include "kestrel/dialogs/DialogText.h"

namespace kestrel {
namespace {

/// Blue counts the columns, green the rows from the bottom, red is 200.
Picture Gradient(int width, int height) {
    Picture picture = MakePicture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* const pixel = DibRow(picture.image.get(), y) + 3 * x;
            pixel[0] = static_cast<std::uint8_t>(x);
            pixel[1] = static_cast<std::uint8_t>(y);
            pixel[2] = 200;
            DibRow(picture.mask.get(), y)[x] = 0;
        }
    return picture;
}

constexpr const char* kInvert = "TMFilter.Invert.1\tInversity=100\n";

struct PictureViewTest : testing::Test {
    PictureViewTest() {
        view.resize(200, 200);
        view.show();
    }
    /// Waits for what the view is to show.
    void Settle() {
        if (!view.IsCurrent()) {
            QSignalSpy spy(&view, &PictureView::Current);
            ASSERT_TRUE(spy.wait(60000));
        }
        ASSERT_TRUE(view.IsCurrent());
    }
    /// The color on the screen at a pixel of the picture on show.
    QColor ColorAt(int x, int y) { return view.grab().toImage().pixelColor(At(x + 0.5, y + 0.5)); }
    /// The pixel of the screen that holds a point of the picture.
    QPoint At(double x, double y) const {
        const QPointF at = view.ToView({x, y});
        return QPoint(static_cast<int>(std::floor(at.x())), static_cast<int>(std::floor(at.y())));
    }

    PictureView view;
};

TEST_F(PictureViewTest, ShowsTheLineAndThePictureBefore) {
    view.SetPicture(Gradient(100, 80));
    view.SetChainText(kInvert);
    Settle();
    EXPECT_EQ(ColorAt(30, 70), QColor(55, 185, 225));
    QTest::keyPress(&view, Qt::Key_Space);
    EXPECT_TRUE(view.ShowsBefore());
    Settle();
    EXPECT_EQ(ColorAt(30, 70), QColor(200, 70, 30));
    QTest::keyRelease(&view, Qt::Key_Space);
    EXPECT_FALSE(view.ShowsBefore());
    Settle();
    EXPECT_EQ(ColorAt(30, 5), QColor(55, 250, 225));
    view.SetChainText("");
    Settle();
    EXPECT_EQ(ColorAt(30, 70), QColor(200, 70, 30));
    view.SetChainText("TMFilter.None.1\t\n");
    Settle();
    view.SetChainText(kInvert);
    Settle();
    EXPECT_EQ(ColorAt(30, 70), QColor(55, 185, 225));
}

TEST_F(PictureViewTest, ShowsTheNewestOfManyTexts) {
    view.SetPicture(Gradient(1500, 1200));
    for (int i = 0; i <= 100; ++i) {
        view.SetChainText("TMFilter.Blur.1\tBlurness=050\nTMFilter.Invert.1\tInversity=" + std::to_string(i) + "\n");
        if (i % 10 == 0) QCoreApplication::processEvents();
    }
    Settle();
    EXPECT_NEAR(ColorAt(700, 600).red(), 55, 2);
    view.SetZoom(PictureView::Zoom::FullScale);  // ended while it works
}

TEST(PreviewWorker, StopsARequestWhenANewerOneArrives) {
    PreviewWorker worker(Gradient(2000, 1500));
    std::vector<Preview> ready;
    QObject::connect(&worker, &PreviewWorker::Ready, [&](const Preview& preview) { ready.push_back(preview); });
    PreviewRequest slow, newer;  // seconds, if it is not stopped
    for (int i = 0; i < 60; ++i) slow.chainText += "TMFilter.Blur.1\tBlurness=050\n";
    newer.box = {20, 20};
    worker.Ask(slow);
    while (!worker.IsBusy()) QCoreApplication::processEvents();
    worker.Ask(newer);
    QSignalSpy spy(&worker, &PreviewWorker::Ready);
    ASSERT_TRUE(spy.wait(60000));
    EXPECT_EQ(ready[0].request, newer);
    EXPECT_EQ(ready[0].full, QSize(2000, 1500));
    EXPECT_LE(ready[0].image.width(), 20);
}

TEST_F(PictureViewTest, FitsOrShowsEveryPixel) {
    view.SetPicture(Gradient(1000, 500));
    Settle();
    EXPECT_EQ(view.ToView({0, 500}), QPointF(0, 50));
    EXPECT_EQ(view.ToView({1000, 0}), QPointF(200, 150));
    QTest::keyClick(&view, Qt::Key_1);
    Settle();
    EXPECT_EQ(view.ToPicture({100, 100}), QPointF(500, 250));
    EXPECT_EQ(ColorAt(500, 250), QColor(200, 250, 500 % 256));
    QTest::mousePress(&view, Qt::LeftButton, {}, {100, 100});
    QTest::mouseMove(&view, {130, 90});
    EXPECT_EQ(view.ToPicture({130, 90}), QPointF(500, 250));
    QTest::mouseMove(&view, {9000, 9000});  // as far as the corner
    QTest::mouseRelease(&view, Qt::LeftButton, {}, {9000, 9000});
    EXPECT_EQ(view.ToPicture({0, 0}), QPointF(0, 500));
    QTest::keyClick(&view, Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(view.ToPicture({0, 0}), QPointF(10, 500));
    QTest::mouseDClick(&view, Qt::LeftButton);
    EXPECT_EQ(view.CurrentZoom(), PictureView::Zoom::Fit);
}

TEST_F(PictureViewTest, TellsOfItsInput) {
    EXPECT_TRUE(view.InputHistogram().empty());
    EXPECT_TRUE(view.InputSize().isEmpty());
    view.SetPicture(Gradient(100, 80));
    EXPECT_EQ(view.InputSize(), QSize(100, 80));
    const auto counts = view.InputHistogram();
    ASSERT_EQ(counts.size(), 4U);
    EXPECT_EQ(counts[1][200], 8000U);
    EXPECT_EQ(counts[2][79], 100U);
    EXPECT_EQ(counts[3][99], 80U);
    EXPECT_EQ(counts[0][(77 * 200) >> 8], 8U + 3U);  // 151 green + 28 blue below 216
}

TEST_F(PictureViewTest, PicksAPointOfTheInput) {
    view.SetPicture(Gradient(100, 80));
    view.SetChainText("TMFilter.Invert.1\tInversity=100\nTMFilter.Scale100.1\tPercent=50\n");
    Settle();
    std::vector<std::pair<QPoint, QRgb>> picked;
    const auto pick = [&](QPoint at, QRgb color) { picked.emplace_back(at, color); };
    QWidget asker;
    view.PickPoint(&asker, pick);
    Settle();
    QTest::mouseClick(&view, Qt::LeftButton, {}, {1, 1});  // beside the picture
    EXPECT_TRUE(view.IsPicking());
    QTest::mouseClick(&view, Qt::LeftButton, {}, At(30.5, 70.5));
    QTest::mouseClick(&view, Qt::LeftButton, {}, At(40.5, 70.5));  // no longer asked for
    ASSERT_EQ(picked.size(), 1U);
    EXPECT_EQ(picked[0], std::pair(QPoint(30, 70), qRgb(200, 70, 30)));

    view.PickPoint(&asker, pick);  // by keyboard, from the middle
    QTest::keyClick(&view, Qt::Key_Left, Qt::ShiftModifier);
    QTest::keyClick(&view, Qt::Key_Up);
    QTest::keyClick(&view, Qt::Key_Return);
    ASSERT_EQ(picked.size(), 2U);
    EXPECT_EQ(picked[1].first, QPoint(40, 41));

    view.PickPoint(&asker, pick);
    QTest::keyClick(&view, Qt::Key_Escape);
    EXPECT_FALSE(view.IsPicking());
    {
        QWidget gone;
        view.PickPoint(&gone, pick);
    }
    QTest::mouseClick(&view, Qt::LeftButton, {}, At(30.5, 70.5));
    EXPECT_EQ(picked.size(), 2U);
}

TEST_F(PictureViewTest, DragsTheFrameByItsHandles) {
    view.SetPicture(Gradient(100, 80));
    HandleFrame frame;
    frame.area = {20, 20, 40, 40};
    QRectF area;
    const auto moved = [&](const HandleFrame& to) { area = to.area; };
    view.ShowHandles(frame, moved);
    Settle();
    EXPECT_TRUE(view.ShowsBefore());
    QTest::mousePress(&view, Qt::LeftButton, {}, At(60, 60));
    QTest::mouseMove(&view, At(70, 65));
    EXPECT_EQ(area, QRectF(20, 20, 50, 45));  // while it is dragged
    QTest::mouseMove(&view, At(300, 300));
    QTest::mouseRelease(&view, Qt::LeftButton, {}, At(300, 300));
    EXPECT_EQ(area, QRectF(20, 20, 80, 60));
    QTest::keyClick(&view, Qt::Key_Down);
    EXPECT_EQ(area, QRectF(20, 19, 80, 60));
    // Outside of the frame the picture is dimmed, inside it is as it was.
    EXPECT_EQ(ColorAt(50, 50), QColor(200, 50, 50));
    EXPECT_NEAR(ColorAt(5, 10).red(), 100, 1);
    view.ShowHandles({}, {});
    EXPECT_FALSE(view.ShowsBefore());
    QTest::keyClick(&view, Qt::Key_Down);
    EXPECT_EQ(area, QRectF(20, 19, 80, 60));
}

TEST_F(PictureViewTest, SpeaksTheLanguageOfTheDialogs) {
    SetDialogLanguage(Language::German);
    EXPECT_EQ(view.accessibleName(), u"Vorschau");
    SetDialogLanguage(Language::English);
    EXPECT_EQ(view.accessibleName(), u"Preview");
}

}  // namespace
}  // namespace kestrel
