// The gradation editor, driven as a user drives it.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QCursor>
#include <QGroupBox>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <random>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/gradation/CurvePlot.h"
#include "kestrel/dialogs/gradation/DlgGradation.h"
#include "kestrel/editing/GradationPreset.h"
#include "kestrel/filters/tone/GradCurvesFilter.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {

void PrintTo(const CGradCurve::Node& node, std::ostream* out) { *out << node.x << ',' << node.y; }

namespace {

using Nodes = std::vector<CGradCurve::Node>;
std::string logged;

struct Editor : testing::Test {
    Editor() {
        logged.clear();
        SetLogSink([](int, const char*, int, const std::string& text) { logged += text; });
        std::filesystem::create_directories(folders / "share" / "Filter" / "Gradation_Factory");
        panel = std::make_unique<CDlgGradation>();
        plot = panel->findChild<CurvePlot*>();
        QObject::connect(panel.get(), &FilterPanel::Edited, [this] { ++edits; });
        // One pixel for each tone, so that the plot's pixels are the curve's coordinates.
        panel->show();
        panel->resize(panel->size() + QSize(256, 256) - plot->PlotRect().size());
        QApplication::processEvents();
        EXPECT_EQ(plot->PlotRect().size(), QSize(256, 256));
        logged.clear();
    }
    ~Editor() override { SetLogSink(nullptr); }

    QPoint At(int x, int y) const { return plot->PlotRect().bottomLeft() + QPoint(x, -y); }
    Nodes Curve() const { return panel->State().Active().Nodes(); }
    int Selected() const { return panel->State().Active().GetSelected(); }
    QToolButton* Button(const char* key) const { return panel->findChild<QToolButton*>(QLatin1String(key)); }
    void Click(const char* key) const { QTest::mouseClick(Button(key), Qt::LeftButton); }
    QSpinBox* Number(int i) const { return panel->findChildren<QSpinBox*>()[i]; }
    int Edits() { return std::exchange(edits, 0); }
    void Show(const char* text) {
        panel->SetParameterText(text);
        Edits();
    }
    QPoint Cursor() const { return plot->mapFromGlobal(QCursor::pos()); }

    test::PrivateFolders folders;
    std::unique_ptr<CDlgGradation> panel;
    CurvePlot* plot = nullptr;
    int edits = 0;
};

constexpr const char* kThree = "nL=3,xL1=0,yL1=0,xL2=100,yL2=150,xL3=255,yL3=255";

TEST_F(Editor, ANodeIsDraggedUpToItsNeighbour) {
    Show(kThree);
    QTest::mousePress(plot, Qt::LeftButton, {}, At(110, 130));  // within reach of the node
    EXPECT_EQ(Selected(), 1);
    EXPECT_EQ(Cursor(), At(100, 150));
    EXPECT_EQ(Number(0)->value(), 100);
    QTest::mouseMove(plot, At(60, 200));
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{60, 200}));
    EXPECT_EQ(Number(1)->value(), 200);
    QTest::mouseMove(plot, At(300, 90));  // beyond the last node and beyond the plot
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{254, 90}));
    EXPECT_EQ(Cursor(), At(254, 90));
    QTest::mouseMove(plot, At(-40, -40));
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{1, 0}));
    EXPECT_EQ(Edits(), 0);
    QTest::mouseRelease(plot, Qt::LeftButton, {}, At(-40, -40));
    EXPECT_EQ(Edits(), 1);
    QTest::mouseMove(plot, At(90, 90));
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{1, 0}));

    // The outer nodes move in x up to their neighbour, too.
    QTest::mousePress(plot, Qt::LeftButton, {}, At(255, 255));
    QTest::mouseMove(plot, At(-5, 12));
    QTest::mouseRelease(plot, Qt::LeftButton, {}, At(-5, 12));
    EXPECT_EQ(Curve(), (Nodes{{0, 0}, {1, 0}, {2, 12}}));
}

TEST_F(Editor, AClickOnlySelectsWhateverTheSizeOfThePlot) {
    panel->resize(panel->size() - QSize(70, 70));  // several tones to a pixel
    QApplication::processEvents();
    for (int x = 1; x < 255; x += 7) {
        Show(("nL=3,xL2=" + std::to_string(x) + ",yL2=" + std::to_string(255 - x) + ",xL3=255,yL3=255").c_str());
        const Nodes before = Curve();
        const QPoint near = plot->ToWidget(QPointF(x, 255 - x)).toPoint() + QPoint(3, 2);
        QTest::mousePress(plot, Qt::LeftButton, {}, near);
        QApplication::processEvents();  // the system tells where the cursor was put
        QTest::mouseMove(plot, plot->ToWidget(QPointF(x, 255 - x)).toPoint());
        QTest::mouseRelease(plot, Qt::LeftButton, {}, near);
        EXPECT_EQ(Curve(), before);
        EXPECT_EQ(Cursor(), near);
        EXPECT_EQ(Edits(), 1);
    }
    QTest::mousePress(plot, Qt::LeftButton, {}, plot->ToWidget({200, 20}).toPoint());  // no node is near
    QTest::mouseRelease(plot, Qt::LeftButton, {}, plot->ToWidget({200, 20}).toPoint());
    EXPECT_EQ(Edits(), 0);
}

TEST_F(Editor, TheRightButtonInsertsAndADoubleClickRemoves) {
    QTest::mouseClick(plot, Qt::RightButton, {}, At(80, 120));
    EXPECT_EQ(Curve(), (Nodes{{0, 0}, {80, 120}, {255, 255}}));
    EXPECT_EQ(logged, "ptNewNode: x=80, y=120\nNode 2 (base 1) inserted @ x = 80, y = 120\n");
    EXPECT_EQ(Edits(), 1);
    QTest::mouseClick(plot, Qt::RightButton, {}, At(80, 200));   // no place on a node's x
    QTest::mouseClick(plot, Qt::RightButton, {}, At(256, 100));  // just outside
    QTest::mouseClick(plot, Qt::RightButton, {}, At(100, -1));
    EXPECT_EQ(Curve().size(), 3u);
    EXPECT_EQ(Edits(), 0);

    QTest::mouseDClick(plot, Qt::LeftButton, {}, At(80, 120));
    EXPECT_EQ(Curve(), (Nodes{{0, 0}, {255, 255}}));
    Edits();
    QTest::mouseDClick(plot, Qt::LeftButton, {}, At(0, 0));  // two nodes are the least
    EXPECT_EQ(Curve(), (Nodes{{0, 0}, {255, 255}}));
}

TEST_F(Editor, ThePlotIsEditedByKeys) {
    Show(kThree);
    plot->setFocus();
    struct Case {
        Qt::Key key;
        int selected;
        Nodes nodes;
        int edits;
    };
    const Nodes three = {{0, 0}, {100, 150}, {255, 255}};
    const Case cases[] = {
        {Qt::Key_End, 2, three, 0},
        {Qt::Key_PageUp, 2, three, 0},
        {Qt::Key_PageDown, 1, three, 0},
        {Qt::Key_Left, 1, {{0, 0}, {99, 150}, {255, 255}}, 1},
        {Qt::Key_Up, 1, {{0, 0}, {99, 151}, {255, 255}}, 1},
        {Qt::Key_Right, 1, {{0, 0}, {100, 151}, {255, 255}}, 1},
        {Qt::Key_Down, 1, three, 1},
        {Qt::Key_Home, 0, three, 0},
        {Qt::Key_Left, 0, three, 1},  // held by the limit
        {Qt::Key_Insert, 2, {{0, 0}, {100, 150}, {177, 202}, {255, 255}}, 1},
        {Qt::Key_Delete, 2, three, 1},
        {Qt::Key_X, 2, three, 0},
    };
    for (const Case& c : cases) {
        QTest::keyClick(plot, c.key);
        EXPECT_EQ(Curve(), c.nodes) << c.key;
        EXPECT_EQ(Selected(), c.selected) << c.key;
        EXPECT_EQ(Edits(), c.edits) << c.key;
    }
}

TEST_F(Editor, CommandsDoWhatTheirLabelSays) {
    struct Case {
        const char* key;
        const char* holds;  // what the text holds afterwards
        int edits;
    };
    const Case cases[] = {
        {"IDS_GRADCURVES_VIEW_SPLINE", "Linear=1,YIQOn=0,", 1},
        {"IDS_GRADCURVES_VIEW_SPLINE", "Linear=0,YIQOn=0,", 1},
        {"IDS_GRADCURVES_VIEW_YIQ", "YIQOn=1,FilterOn=1,", 1},
        {"IDS_GRADCURVES_POINT_ADD", "nL=3, nR=2, nG=2, nB=2, xL1=0, xL2=127, xL3=255, ", 1},
        {"IDS_GRADCURVES_MOVE_LEFT", "xL1=0, xL2=126, ", 1},
        {"IDS_GRADCURVES_MOVE_UP", "yL1=0, yL2=128, yL3=255, ", 1},
        {"IDS_GRADCURVES_MOVE_RIGHT", "xL1=0, xL2=127, ", 1},
        {"IDS_GRADCURVES_MOVE_UP", "yL1=0, yL2=129, ", 1},
        {"IDS_GRADCURVES_MOVE_DOWN", "yL1=0, yL2=128, ", 1},
        {"IDS_GRADCURVES_MIRROR_H", "yL1=255, yL2=127, yL3=0, ", 1},
        {"IDS_GRADCURVES_MIRROR_V", "xL1=0, xL2=128, xL3=255, ", 1},
        {"IDS_GRADCURVES_MIRROR_V", "yL1=255, yL2=127, yL3=0, ", 1},
        {"IDS_GRADCURVES_VIEW_RED", "nL=3, nR=2, ", 0},
        {"IDS_GRADCURVES_POINT_ADD", "nL=3, nR=3, nG=2, nB=2, ", 1},
        {"IDS_GRADCURVES_VIEW_BLUE", "nB=2, ", 0},
        {"IDS_GRADCURVES_MIRROR_H", "yB1=255, yB2=0, ", 1},
        {"IDS_GRADCURVES_VIEW_GREEN", "nG=2, ", 0},
        {"IDS_GRADCURVES_MIRROR_H", "yG1=255, yG2=0, ", 1},
        {"IDS_GRADCURVES_VIEW_GRAY", "nL=3, ", 0},
        {"IDS_GRADCURVES_POINT_REMOVE", "nL=2, nR=3, ", 1},
        {"IDS_GRADCURVES_POINT_REMOVE", "nL=2, nR=3, ", 0},
        {"IDS_GRADCURVES_POINT_REMOVESELECTED", "nL=2, ", 0},
        {"IDS_GRADCURVES_POINT_ADD", "nL=3, ", 1},
        {"IDS_GRADCURVES_POINT_REMOVESELECTED", "nL=2, ", 1},
        {"IDS_GRADCURVES_VIEW_PERCENT", "nL=2, ", 0},
        {"IDS_GRADCURVES_VIEW_GRID", "nL=2, ", 0},
        {"IDS_GRADCURVES_VIEW_RGB", "nL=2, ", 0},
    };
    for (const Case& c : cases) {
        Click(c.key);
        EXPECT_NE(panel->ParameterText().find(c.holds), std::string::npos) << c.key << '\n' << panel->ParameterText();
        EXPECT_EQ(Edits(), c.edits) << c.key;
    }
    EXPECT_TRUE(plot->hasFocus());
    EXPECT_TRUE(panel->State().percent && !panel->State().grid && panel->State().onlyActive);
    EXPECT_TRUE(Button("IDS_GRADCURVES_VIEW_PERCENT")->isChecked());
    EXPECT_FALSE(Button("IDS_GRADCURVES_VIEW_GRID")->isChecked());
    EXPECT_FALSE(Button("IDS_GRADCURVES_VIEW_RGB")->isChecked());    // shown inverted
    EXPECT_TRUE(Button("IDS_GRADCURVES_VIEW_SPLINE")->isChecked());  // likewise
    EXPECT_TRUE(Button("IDS_GRADCURVES_VIEW_GRAY")->isChecked());
    EXPECT_FALSE(Button("IDS_GRADCURVES_VIEW_RED")->isChecked());
    EXPECT_FALSE(Button("IDS_GRADCURVES_POINT_REMOVE")->isEnabled());
    for (int i = 0; i < 20; ++i) Click("IDS_GRADCURVES_POINT_ADD");
    EXPECT_EQ(Curve().size(), 12u);
    EXPECT_FALSE(Button("IDS_GRADCURVES_POINT_ADD")->isEnabled());
}

TEST_F(Editor, TypedValuesAreTakenAfterAPause) {
    Show(kThree);
    QTest::mouseClick(plot, Qt::LeftButton, {}, At(100, 150));
    Edits();
    auto* const timer = panel->findChild<QTimer*>();
    EXPECT_EQ(timer->interval(), 500);
    EXPECT_TRUE(timer->isSingleShot());
    const auto type = [this](int field, const char* text) {
        Number(field)->setFocus();
        Number(field)->selectAll();
        QTest::keyClicks(Number(field), QLatin1String(text));
    };
    type(0, "90");
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(Curve()[1].x, 100);
    const auto fire = [timer] {
        QTimerEvent event(timer->timerId());
        QApplication::sendEvent(timer, &event);
    };
    fire();
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{90, 150}));
    EXPECT_FALSE(timer->isActive());
    EXPECT_TRUE(Number(0)->hasFocus());
    EXPECT_EQ(Edits(), 1);

    type(1, "7");
    QTest::keyClick(Number(1), Qt::Key_Return);  // does not wait
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{90, 7}));
    EXPECT_EQ(Edits(), 1);
    type(0, "255");
    Click("IDS_GRADCURVES_MOVE_UP");  // neither does a command; neighbours hold typed values, too
    EXPECT_EQ(Curve()[1], (CGradCurve::Node{254, 8}));
    EXPECT_EQ(Number(0)->value(), 254);
    Edits();
    type(0, "3");
    Show(kThree);  // another text has come in between
    fire();
    EXPECT_EQ(Curve()[1].x, 100);
    EXPECT_EQ(Edits(), 0);
}

TEST_F(Editor, ShowsTextsAsTheFilterTakesThem) {
    std::mt19937 random(5);
    const auto number = [&random](int from, int to) { return std::uniform_int_distribution(from, to)(random); };
    for (int round = 0; round < 50; ++round) {
        std::string text = "Linear=" + std::to_string(number(0, 1)) + ",YIQOn=" + std::to_string(number(0, 1));
        for (const char curve : {'L', 'R', 'G', 'B'}) {
            const int count = number(2, 12);
            text += std::string(",n") + curve + "=" + std::to_string(count);
            for (int i = 1; i <= count; ++i)
                text += std::string(",x") + curve + std::to_string(i) + "=" + std::to_string(i * 21 - number(0, 20)) +
                        ",y" + curve + std::to_string(i) + "=" + std::to_string(number(0, 255));
        }
        Show(text.c_str());
        GradCurvesParameters given, shown;
        table::ReadAll(text, kGradCurvesText, given);
        table::ReadAll(panel->ParameterText(), kGradCurvesText, shown);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_TRUE(std::ranges::equal(given.curves[i].Nodes(), shown.curves[i].Nodes())) << text;
        EXPECT_EQ(given.linear, shown.linear);
        EXPECT_EQ(given.yiqOn, shown.yiqOn);
        EXPECT_TRUE(shown.filterOn);
    }
    panel->Reset();
    EXPECT_EQ(Edits(), 1);
    EXPECT_EQ(panel->ParameterText(), Gradation().ParameterText());
}

/// Runs once the next box is open.
void InBox(std::function<void(QDialog&)> act) {
    QTimer::singleShot(0, [act] {
        auto* const box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        act(*box);
    });
}

void Press(QDialog& box, const char* key) {
    for (auto* const button : box.findChildren<QAbstractButton*>())
        if (button->text() == DialogText(key)) return button->click();
    ADD_FAILURE() << key;
}

TEST_F(Editor, PresetsAreSavedLoadedAndDeleted) {
    auto* const list = panel->findChild<QComboBox*>();
    EXPECT_FALSE(Button("IDS_GRADCURVES_PRESET_DELETE")->isEnabled());
    Click("IDS_GRADCURVES_POINT_ADD");
    const std::string text = panel->ParameterText();
    InBox([](QDialog& box) {
        EXPECT_EQ(box.windowTitle(), u"Save Current Settings");
        dynamic_cast<QInputDialog&>(box).setTextValue(QStringLiteral("My curve"));
        InBox([](QDialog& refusal) {
            auto& message = dynamic_cast<QMessageBox&>(refusal);
            EXPECT_EQ(message.text(), DialogText("IDS_GRADCURVES_DISALLOWEDCHARS"));
            EXPECT_EQ(message.icon(), QMessageBox::Warning);
            InBox([](QDialog& again) {
                EXPECT_EQ(dynamic_cast<QInputDialog&>(again).textValue(), QString());
                dynamic_cast<QInputDialog&>(again).setTextValue(QStringLiteral("Mine"));
                Press(again, "COMMON_OK");
            });
            Press(refusal, "COMMON_OK");
        });
        Press(box, "COMMON_OK");
    });
    Click("IDS_GRADCURVES_PRESET_SAVE");
    EXPECT_EQ(list->currentText(), u"Mine");
    EXPECT_EQ(list->currentData().toInt(), 1);
    EXPECT_TRUE(Button("IDS_GRADCURVES_PRESET_DELETE")->isEnabled());

    panel->Reset();
    const auto other = folders / "data" / "Filter" / "Gradation_User" / "Other.fp2";
    test::WriteBytes(other, "Gradation, Version 3\n");
    panel->FillPresetList();
    Edits();
    list->setFocus();
    InBox([](QDialog& box) {
        EXPECT_EQ(dynamic_cast<QMessageBox&>(box).text(), DialogText("IDS_GRADCURVES_FILEERROR"));
        Press(box, "COMMON_OK");
    });
    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_EQ(Edits(), 0);
    QTest::keyClick(list, Qt::Key_Up);
    EXPECT_EQ(panel->ParameterText(), text);
    EXPECT_EQ(Edits(), 1);

    InBox([](QDialog& box) {
        EXPECT_EQ(dynamic_cast<QMessageBox&>(box).text(), u"Do you want to delete the settings \"Mine\"?");
        QTest::keyClick(&box, Qt::Key_Escape);  // means no
    });
    Click("IDS_GRADCURVES_PRESET_DELETE");
    EXPECT_EQ(list->count(), 2);
    InBox([](QDialog& box) { Press(box, "COMMON_YES"); });
    Click("IDS_GRADCURVES_PRESET_DELETE");
    EXPECT_EQ(list->count(), 1);
    EXPECT_FALSE(Button("IDS_GRADCURVES_PRESET_DELETE")->isEnabled());
}

TEST_F(Editor, MayEndWhileAQuestionIsOpen) {
    InBox([this](QDialog&) { panel.reset(); });
    Button("IDS_GRADCURVES_PRESET_SAVE")->click();
    EXPECT_EQ(panel, nullptr);
}

TEST_F(Editor, SpeaksTheChosenLanguageWhileOpen) {
    SetDialogLanguage(Language::German);
    panel->Retranslate();
    EXPECT_EQ(Button("IDS_GRADCURVES_VIEW_RED")->toolTip(), u"Rotkanal");
    EXPECT_EQ(Button("IDS_GRADCURVES_MOVE_UP")->accessibleName(), u"Nach oben");
    EXPECT_EQ(panel->findChild<QGroupBox*>()->title(), u"Kurve spiegeln");
    Click("IDS_GRADCURVES_VIEW_RED");
    EXPECT_EQ(panel->findChild<QLabel*>()->text(), u"Rotkanal Eingang");
    SetDialogLanguage(Language::English);
}

}  // namespace
}  // namespace kestrel
