#include "kestrel/dialogs/DialogWindow.h"

#include <gtest/gtest.h>

#include <QDialogButtonBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>

namespace kestrel {
namespace {

Picture Plain(int width, int height) {
    Picture picture = MakePicture(width, height);
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 3 * width; ++i) DibRow(picture.image.get(), y)[i] = 200;
    picture.mask = nullptr;
    return picture;
}

struct DialogWindowTest : testing::Test {
    void Open(const char* text, Picture picture = Plain(60, 40)) {
        window = DialogWindow::Make("TMFilter.Invert.1", std::move(picture), text);
        ASSERT_TRUE(window);
        QObject::connect(window.get(), &DialogWindow::Finished, [this](bool ok) { ended += ok ? "ok" : "cancel"; });
        window->show();
    }
    void Settle() {
        QCoreApplication::processEvents();  // what the user changed reaches the filter when nothing else is to be done
        QSignalSpy spy(window->View(), &PictureView::Current);
        while (!window->View()->IsCurrent()) ASSERT_TRUE(spy.wait(60000));
    }
    QRgb Middle() {
        QWidget* const view = window->View();
        return view->grab().toImage().pixel(view->rect().center());
    }
    void Press(QDialogButtonBox::StandardButton button) {
        for (auto* const box : window->findChildren<QDialogButtonBox*>())
            if (box->isVisible() && box->button(button)) return QTest::mouseClick(box->button(button), Qt::LeftButton);
        FAIL();
    }

    std::unique_ptr<DialogWindow> window;
    std::string ended;
};

TEST_F(DialogWindowTest, TheViewFollowsTheDialog) {
    Open("Inversity=000");
    Settle();
    EXPECT_EQ(qRed(Middle()), 200);
    auto* const slider = window->Dialog().findChild<QSlider*>();
    ASSERT_TRUE(slider);
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_End);
    Settle();
    EXPECT_EQ(window->ParameterText(), "Inversity=100");
    EXPECT_EQ(qRed(Middle()), 55);
    Press(QDialogButtonBox::Ok);
    EXPECT_EQ(ended, "ok");
    EXPECT_EQ(window->ParameterText(), "Inversity=100");
}

TEST_F(DialogWindowTest, EndsOnceHoweverItIsClosed) {
    Open("Inversity=030");
    EXPECT_EQ(window->ParameterText(), "Inversity=030");
    Press(QDialogButtonBox::Cancel);
    EXPECT_EQ(ended, "cancel");
    ended.clear();
    Open("", {});  // without a picture, at the defaults
    EXPECT_EQ(window->View(), nullptr);
    EXPECT_EQ(window->ParameterText(), "Inversity=000");
    window->close();
    EXPECT_EQ(ended, "cancel");
    ended.clear();
    Open("Inversity=040");
    window->Dialog().UndockView(nullptr);
    QTest::keyClick(&window->Dialog(), Qt::Key_Escape);
    window->close();
    EXPECT_EQ(ended, "cancel");
    EXPECT_EQ(DialogWindow::Make("TMFilter.None.1", {}, ""), nullptr);
}

}  // namespace
}  // namespace kestrel
