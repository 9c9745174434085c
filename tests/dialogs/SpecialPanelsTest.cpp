// What single panels do beyond a row for each key.
#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include "kestrel/dialogs/FilterPanels.h"
#include "kestrel/dialogs/controls/AngleDial.h"
#include "kestrel/dialogs/controls/ColorEditor.h"
#include "kestrel/dialogs/controls/ColorWell.h"
#include "kestrel/dialogs/panels/TextPanel.h"
#include "tests/dialogs/FakePicture.h"

namespace kestrel {
namespace {

struct SpecialPanels : testing::Test {
    void Open(const char* progId) {
        panel = MakeFilterPanel(progId, nullptr);
        panel->SetPicture(&picture);
        panel->show();
        panel->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(panel.get()));
    }
    template <class Widget>
    Widget* Find(const char* name) {
        auto* const widget = panel->findChild<Widget*>(QLatin1String(name));
        EXPECT_TRUE(widget) << name;
        return widget;
    }
    void Click(const char* name) { QTest::mouseClick(Find<QAbstractButton>(name), Qt::LeftButton); }
    bool Holds(const char* piece) { return panel->ParameterText().find(piece) != std::string::npos; }

    test::FakePicture picture;
    std::unique_ptr<FilterPanel> panel;
};

TEST_F(SpecialPanels, ColorsArePickedFromThePicture) {
    struct Case {
        const char* progId;
        const char* button;
        const char* text;
    };
    const Case cases[] = {{"TMFilter.WhiteBlackGrey.1", "RedG.pick", "RedG=010, GreenG=020, BlueG=030"},
                          {"TMFilter.DuoColor.1", "Red2.pick", "Red2=010,Green2=020,Blue2=030"},
                          {"TMFilter.Text.1", "fcol.pick", "fcol=1971210"},  // blue * 65536 + green * 256 + red
                          {"TMFilter.PrintPad.1", "PadColor.pick", "PadColor=0a141e"}};  // red first
    for (const Case& each : cases) {
        Open(each.progId);
        Click(each.button);
        picture.Click({5, 6}, qRgb(10, 20, 30));
        EXPECT_TRUE(Holds(each.text)) << panel->ParameterText();
        picture.Click({0, 0}, qRgb(1, 1, 1));
        EXPECT_TRUE(Holds(each.text)) << "one click, one color";
        Click(each.button);
        panel.reset();
        picture.Click({0, 0}, qRgb(1, 1, 1));  // a click that comes late finds nobody
    }
    Open("TMFilter.ImgBg.1");
    panel->SetPicture(nullptr);
    EXPECT_FALSE(Find<QAbstractButton>("Red.pick")->isEnabled());
}

TEST_F(SpecialPanels, AColorIsEditedAsHueAndAsNumber) {
    Open("TMFilter.ImgBg.1");
    Click("Red.color.well");
    ColorEditor* const editor = Find<ColorWell>("Red.color.well")->Editor();
    ASSERT_TRUE(editor);
    QTest::mouseClick(editor->findChild<QWidget*>(QStringLiteral("hues")), Qt::LeftButton, {}, QPoint(0, 1));
    EXPECT_EQ(editor->Color().hsvHue(), 0) << "at the left";
    EXPECT_GT(editor->Color().hsvSaturation(), 245) << "at the top";
    EXPECT_TRUE(Holds("Red=180,Green=00")) << "as bright as before: " << panel->ParameterText();
    auto* const number = editor->findChild<QLineEdit*>(QStringLiteral("number"));
    number->setFocus();
    number->selectAll();
    QTest::keyClicks(number, QStringLiteral("#0a14x1E"));
    EXPECT_TRUE(Holds("Red=010,Green=020,Blue=030")) << panel->ParameterText();
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_FALSE(editor->isVisible());
}

TEST_F(SpecialPanels, EyesAreClickedUntilTheButtonIsLetUp) {
    Open("TMFilter.RedEye.1");
    QSignalSpy edited(panel.get(), &FilterPanel::Edited);
    Click("add");
    picture.Click({19, 9}, 0);
    picture.Click({99, 49}, 0);
    EXPECT_EQ(edited.count(), 2);
    EXPECT_TRUE(Holds("N=2, X1=0.0975, Y1=0.0950, E1=0, F1=0, X2=0.4975, Y2=0.4950")) << panel->ParameterText();
    Click("add");
    picture.Click({150, 50}, 0);
    EXPECT_TRUE(Holds("N=2")) << "the button is up";

    Find<QListWidget>("eyes")->setCurrentRow(0);
    QTest::keyClick(Find<QDoubleSpinBox>("E"), Qt::Key_Up);
    QTest::keyClick(Find<QDoubleSpinBox>("F"), Qt::Key_Down);
    EXPECT_TRUE(Holds("E1=1, F1=-1")) << panel->ParameterText();
    EXPECT_TRUE(Holds("E2=0, F2=0"));
    Click("remove");
    EXPECT_EQ(panel->ParameterText(), "N=1, X1=0.4975, Y1=0.4950, E1=0, F1=0");
    Click("remove");
    EXPECT_EQ(panel->ParameterText(), "N=0");
    EXPECT_FALSE(Find<QAbstractButton>("remove")->isEnabled());

    panel->SetParameterText("N=128");
    EXPECT_FALSE(Find<QAbstractButton>("add")->isEnabled()) << "no room for another";
}

TEST_F(SpecialPanels, TheMixerIsInColorOrMonochromeAndKeepsWhatIsNeither) {
    Open("TMFilter.RgbMixer.1");
    Click("monochrome");
    EXPECT_TRUE(Holds("BOnK=1, BOnR=0, BOnG=0, BOnB=0, BBypass=0,")) << panel->ParameterText();
    EXPECT_TRUE(Find<QDoubleSpinBox>("kR")->isVisible());
    Click("color");
    EXPECT_TRUE(Holds("BOnK=0, BOnR=1, BOnG=1, BOnB=1, BBypass=0,")) << panel->ParameterText();
    Click("BBypass");
    EXPECT_TRUE(Holds("BBypass=1,"));
    panel->SetParameterText("BOnK=1,BOnR=1,BOnG=0,BOnB=1");
    EXPECT_TRUE(Holds("BOnK=1, BOnR=1, BOnG=0, BOnB=1, BBypass=0,")) << panel->ParameterText();
    EXPECT_EQ(Find<QToolButton>("swatch0")->accessibleName(), u"Gray is internal channel");
    EXPECT_EQ(Find<QToolButton>("swatch1")->accessibleName(), u"Red channel is colored gray");
    EXPECT_EQ(Find<QToolButton>("swatch2")->accessibleName(), u"Green channel is halftone (gray)");
    panel->SetParameterText("");
    EXPECT_EQ(Find<QToolButton>("swatch0")->accessibleName(), u"Gray channel is off");
    EXPECT_EQ(Find<QToolButton>("swatch3")->accessibleName(), u"Blue channel not modified");
    Click("swatch3");
    QTest::keyClick(Find<QDoubleSpinBox>("bR"), Qt::Key_Up);
    EXPECT_TRUE(Holds("bR=001,")) << panel->ParameterText();
    EXPECT_EQ(Find<QToolButton>("swatch3")->accessibleName(), u"Blau channel is RGB-mix");
    EXPECT_EQ(Find<QDoubleSpinBox>("bR")->accessibleName(), u"Red");
    QTest::keyClick(Find<QAbstractButton>("BRgb3"), Qt::Key_Space);
    EXPECT_EQ(Find<QDoubleSpinBox>("bR")->accessibleName(), u"Red Offset");
}

TEST_F(SpecialPanels, ACropFollowsItsHandlesAndTheHandlesFollowIt) {
    Open("TMFilter.Crop.1");
    panel->SetParameterText("LeftMargin=0.1,RightMargin=0.6,BottomMargin=0.2,TopMargin=0.9,FixRatioOn=1,FixRatio=1.5");
    ASSERT_TRUE(picture.frame);
    EXPECT_EQ(picture.frame->area, QRectF(20, 20, 100, 70));
    EXPECT_DOUBLE_EQ(picture.frame->aspect, 1.5);
    EXPECT_FALSE(picture.frame->rotates);
    QSignalSpy edited(panel.get(), &FilterPanel::Edited);
    HandleFrame moved = *picture.frame;
    moved.area = QRectF(50, 10, 100, 50);
    picture.moved(moved);
    EXPECT_EQ(edited.count(), 1);
    EXPECT_TRUE(Holds("LeftMargin=0.2500, RightMargin=0.7500, BottomMargin=0.1000, TopMargin=0.6000"))
        << panel->ParameterText();
    EXPECT_EQ(picture.frame->area, QRectF(20, 20, 100, 70)) << "the view is not told what it said";
    panel.reset();
    EXPECT_FALSE(picture.frame) << "the handles end with the panel";
}

TEST_F(SpecialPanels, AStraightenedCropTurnsItsFrameTheOtherWay) {
    Open("TMFilter.RotCrop.1");
    for (const bool mirrored : {false, true}) {
        const std::string mirror = mirrored ? ",Mirrored=1" : ",Mirrored=0";
        panel->SetParameterText("Angle=1.5708,LeftMargin=0,RightMargin=0.5,BottomMargin=0,TopMargin=1" + mirror);
        // Turned by a quarter counterclockwise, the left half of the result is the upper half of the picture; the
        // mirror turns the other way, and the left half comes from the lower half.
        ASSERT_TRUE(picture.frame);
        EXPECT_NEAR(picture.frame->area.center().x(), 100, 0.1);
        EXPECT_NEAR(picture.frame->area.center().y(), mirrored ? 25 : 75, 0.1);
        EXPECT_NEAR(picture.frame->area.width(), 50, 0.1);
        EXPECT_NEAR(picture.frame->area.height(), 200, 0.1);
        EXPECT_NEAR(picture.frame->angle, -90, 0.01);
        const std::string before = panel->ParameterText();
        picture.moved(*picture.frame);
        EXPECT_EQ(panel->ParameterText(), before) << "there and back";
    }
    // Any other angle: the box around 200 by 100, rounded up, and the filter's room for soft edges, 2 by 6.
    panel->SetParameterText("Angle=0.5,LeftMargin=0,RightMargin=1,BottomMargin=0,TopMargin=1");
    EXPECT_EQ(picture.frame->area.center(), QPointF(100, 50));
    EXPECT_EQ(picture.frame->area.size(), QSizeF(226, 190));
}

TEST_F(SpecialPanels, ALineIsTurnedLevelOrUpright) {
    Open("TMFilter.RotCrop.1");
    Click("Rot1X.pick");
    picture.Click({0, 0}, 0);
    Click("Rot2X.pick");
    picture.Click({50, 5}, 0);  // rises by a tenth: the picture turns clockwise
    EXPECT_TRUE(Holds("Angle=-0.0997,Rot1X=0.00250,Rot1Y=0.00500, Rot2X=0.25250, Rot2Y=0.05500"))
        << panel->ParameterText();
    panel->SetParameterText("Rot1X=0.5,Rot1Y=0,Rot2X=0.55,Rot2Y=1");
    Click("align");
    EXPECT_TRUE(Holds("Angle=0.0997,")) << "leans to the right by a tenth: " << panel->ParameterText();
}

TEST_F(SpecialPanels, AnglesAreTurnedByDialAndButtons) {
    Open("TMFilter.Rotate.1");
    auto* const dial = Find<AngleDial>("Angle.dial");
    QTest::mouseClick(dial, Qt::LeftButton, {}, QPoint(2, dial->height() / 2));  // from up to the left
    EXPECT_TRUE(Holds("Angle=90.000,")) << panel->ParameterText();
    QTest::keyClick(dial, Qt::Key_Right);
    EXPECT_TRUE(Holds("Angle=89.000,"));
    Click("IDS_DREH_45CW");
    EXPECT_TRUE(Holds("Angle=44.000,"));
    Click("IDS_DREH_45CW");
    EXPECT_TRUE(Holds("Angle=359.000,"));
    Click("IDS_DREH_180");
    Click("IDS_DREH_45CCW");
    EXPECT_TRUE(Holds("Angle=224.000,"));
    panel->SetParameterText("Angle=-30");
    EXPECT_TRUE(Holds("Angle=330.000,"));

    Open("TMFilter.Shadow.1");
    auto* const light = Find<AngleDial>("LightDirection.dial");
    QTest::mouseClick(light, Qt::LeftButton, {}, QPoint(light->width() / 2, 2));
    EXPECT_TRUE(Holds("LightDirection=900,")) << "from above: " << panel->ParameterText();
}

TEST_F(SpecialPanels, AnotherPrintUnitIsTheSamePrint) {
    Open("TMFilter.PrintCrop.1");
    panel->SetParameterText("Width=25.4,Height=5.08,Measur=1");
    EXPECT_NEAR(picture.frame->aspect, 5, 1e-9);
    QTest::keyClick(Find<QComboBox>("Measur"), Qt::Key_Up);
    EXPECT_TRUE(Holds("Width=10.0000, Height=2.0000, Measur=0")) << panel->ParameterText();
    EXPECT_EQ(Find<QDoubleSpinBox>("Width")->suffix(), u" in");
    QTest::keyClick(Find<QDoubleSpinBox>("Height"), Qt::Key_Up);
    EXPECT_TRUE(Holds("Width=10.0000, Height=3.0000, Measur=0")) << panel->ParameterText();
}

TEST_F(SpecialPanels, OldSoftEdgesAreConvertedWhereThePictureIsKnown) {
    Open("TMFilter.SoftFrame.1");
    panel->SetParameterText("FrameWidth=40,CalcPix=0");
    EXPECT_TRUE(Holds("FrameWidth=60,")) << "100 - 200 / 2 * 40 / 100: " << panel->ParameterText();
    EXPECT_TRUE(Holds("Ver=2,"));
    panel->SetParameterText("FrameWidth=40,CalcPix=0,Ver=2");
    EXPECT_TRUE(Holds("FrameWidth=40,"));
    panel->SetPicture(nullptr);
    panel->SetParameterText("FrameWidth=40,CalcPix=0");
    EXPECT_TRUE(Holds("FrameWidth=40,"));
    panel->SetPicture(&picture);
    EXPECT_TRUE(Holds("FrameWidth=60,")) << "the picture came later";
}

TEST_F(SpecialPanels, TextsAreTypedInAnyCharacterSet) {
    Open("TMFilter.Text.1");
    auto* const box = Find<QPlainTextEdit>("txt");
    QTest::keyClicks(box, QStringLiteral("a,b"));
    QTest::keyClick(box, Qt::Key_Return);
    box->insertPlainText(QStringLiteral("ü"));
    EXPECT_TRUE(Holds("fchs=0,")) << panel->ParameterText();
    EXPECT_TRUE(Holds("txt=a\\2cb\\0a\xfc")) << panel->ParameterText();
    box->insertPlainText(QString::fromUcs4(U"\U0001F600"));
    EXPECT_TRUE(Holds("fchs=0,")) << "no set holds that";
    EXPECT_EQ(box->toPlainText(), QStringLiteral("a,b\nü")) << "what cannot be kept does not stay";
    box->setPlainText(QStringLiteral("жук"));
    EXPECT_TRUE(Holds("fchs=204,")) << panel->ParameterText();
    EXPECT_TRUE(Holds("txt=\xe6\xf3\xea"));
    const std::string cyrillic = panel->ParameterText();
    panel->SetParameterText("");
    panel->SetParameterText(cyrillic);
    EXPECT_EQ(box->toPlainText(), QStringLiteral("жук"));
    box->setPlainText(QString(199, u'x'));
    QTest::keyClicks(box, QStringLiteral("y"));
    EXPECT_EQ(box->toPlainText().size(), 199) << "as much as a filter holds";
}

TEST_F(SpecialPanels, TheTextsMenuAndDescriptor) {
    Open("TMFilter.Text.1");
    auto* const box = Find<QPlainTextEdit>("txt");
    Click("ButtonDescriptor");
    EXPECT_TRUE(Holds("txt=\xa9 %%COPYRIGHT%%")) << panel->ParameterText();
    box->setPlainText(QStringLiteral("ab"));
    box->selectAll();
    const std::unique_ptr<QMenu> menu(static_cast<TextPanel*>(panel.get())->MakeMenu());
    const auto entry = [&](const char* key) { return menu->findChild<QAction*>(QLatin1String(key)); };
    EXPECT_TRUE(entry("CTX_CUT")->isEnabled());
    EXPECT_EQ(entry("CTX_SPECIALCHAR_1")->text(), QStringLiteral("© Copyright Sign"));
    entry("CTX_TOGGLECASE")->trigger();
    EXPECT_TRUE(Holds("txt=AB"));
    entry("CTX_SPECIALCHAR_4")->trigger();
    EXPECT_TRUE(Holds("txt=AB\xb0")) << panel->ParameterText();
}

TEST_F(SpecialPanels, FontAndPlaceOfAText) {
    Open("TMFilter.Text.1");
    Click("pos=1");
    EXPECT_TRUE(Holds("pos=1,"));
    QTest::keyClick(Find<QRadioButton>("pos=1"), Qt::Key_Right);
    EXPECT_TRUE(Holds("pos=2,")) << panel->ParameterText();
    auto* const family = Find<QComboBox>("fname");
    family->setFocus();
    family->lineEdit()->selectAll();
    QTest::keyClicks(family->lineEdit(), QStringLiteral("No Such Font"));
    EXPECT_TRUE(Holds("fname=No Such Font,fpia=0,")) << panel->ParameterText();
    panel->Reset();
    EXPECT_TRUE(Holds("fname=Arial,")) << panel->ParameterText();
}

TEST_F(SpecialPanels, WhatIsIdleIsGray) {
    Open("TMFilter.Tonwert.1");
    panel->SetParameterText("AutoContrast=1,Lo=5,Addlo=5");
    EXPECT_FALSE(Find<QWidget>("Lo")->isEnabled());
    EXPECT_FALSE(Find<QWidget>("Lo.reset")->isEnabled());
    EXPECT_TRUE(Find<QWidget>("Addlo.reset")->isEnabled());
    QTest::keyClick(Find<QAbstractButton>("AutoContrast"), Qt::Key_Space);
    EXPECT_TRUE(Find<QWidget>("Lo")->isEnabled());
    EXPECT_TRUE(Find<QWidget>("Lo.slider")->isEnabled());
    EXPECT_TRUE(Find<QWidget>("Lo.reset")->isEnabled());
    EXPECT_FALSE(Find<QWidget>("Addlo.reset")->isEnabled());
}

TEST_F(SpecialPanels, ALabelsDoubleClickBringsTheDefault) {
    Open("TMFilter.Invert.1");
    panel->SetParameterText("Inversity=50");
    for (QLabel* const label : panel->findChildren<QLabel*>())
        if (!label->text().isEmpty()) QTest::mouseDClick(label, Qt::LeftButton);
    EXPECT_EQ(panel->ParameterText(), "Inversity=000");
}

}  // namespace
}  // namespace kestrel
