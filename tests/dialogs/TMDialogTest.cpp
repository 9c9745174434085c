#include "kestrel/dialogs/TMDialog.h"

#include <gtest/gtest.h>

#include <QDockWidget>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QHelpEvent>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSplitter>
#include <QTest>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>
#include <memory>
#include <set>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/DokkerControl.h"

namespace kestrel {
namespace {

constexpr int kId = 4711;

/// Lets everything happen that waits to happen, deletions too.
void RunEvents() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

class CountPaints : public QObject {
public:
    explicit CountPaints(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Paint;
        return false;
    }
    int count = 0;
};

QMenu* OpenMenu(const QWidget& dialog) {
    for (QMenu* const menu : dialog.findChildren<QMenu*>())
        if (menu->isVisible()) return menu;
    return nullptr;
}

TEST(TMDialog, TheListKnowsWindowsById) {
    EXPECT_EQ(CTMDialog::FindDialog(kId), nullptr);
    CTMDialog first(kId), second(kId), other(kId + 1);
    EXPECT_FALSE(CTMDialog::IsDialogOpen(kId)) << "no window yet";
    for (CTMDialog* const dialog : {&first, &other, &second}) EXPECT_TRUE(dialog->CreateModeless(false));
    EXPECT_FALSE(first.CreateModeless(false)) << "it has a window";
    CTMDialog::DialogCreated(&first);  // is listed once only
    EXPECT_EQ(CTMDialog::FindDialog(kId), &first);
    EXPECT_EQ(CTMDialog::FindDialog(kId, &first), &second);
    EXPECT_EQ(CTMDialog::FindDialog(kId, &second), nullptr);

    first.CloseDialog();
    EXPECT_EQ(CTMDialog::FindDialog(kId), &second);
    EXPECT_FALSE(CTMDialog::IsDialogOpen(&first));
    second.CloseDialog();
    EXPECT_FALSE(CTMDialog::IsDialogOpen(kId)) << "both windows have gone";
    EXPECT_TRUE(CTMDialog::IsDialogOpen(&other));
    CTMDialog::DialogDestroyed(&other);
    EXPECT_FALSE(CTMDialog::IsDialogOpen(&other));
    EXPECT_TRUE(second.CreateModeless(false)) << "a closed dialog opens again";
    EXPECT_TRUE(CTMDialog::IsDialogOpen(kId));
}

TEST(TMDialog, CleaningDeletesAllButThoseThatHaveAnOwner) {
    CTMDialog owned(kId);
    owned.IgnoreDestroyOnClean();
    const QPointer<CTMDialog> parent(new CTMDialog(kId)), child(new CTMDialog(kId, parent));
    for (CTMDialog* const dialog : {&owned, parent.data(), child.data()}) dialog->CreateModeless(false);
    CTMDialog::CleanDestroyedDialogs();
    EXPECT_FALSE(parent || child);
    EXPECT_TRUE(CTMDialog::IsDialogOpen(&owned));
}

TEST(TMDialog, NoDialogIsDeletedBelowItsOwnHandler) {
    struct Probe : CTMDialog {
        using CTMDialog::CTMDialog;
        void OnCopyClicked() override {
            bool& told = *stillThere;
            CloseDialog();
            DeleteClosedDialogs();
            RunEvents();  // as an event loop of its own would
            told = IsClosed();
        }
        bool* stillThere = nullptr;
    };
    const QPointer<Probe> probe(new Probe(kId));
    bool stillThere = false;
    probe->stillThere = &stillThere;
    probe->AllowSelfDelete();
    SystemButton* const copy = probe->AddCopyBtn();
    probe->CreateModeless();
    QTest::mouseClick(copy, Qt::LeftButton);
    EXPECT_TRUE(stillThere);
    RunEvents();
    EXPECT_FALSE(probe);

    const std::unique_ptr<CTMDialog> keeps(new CTMDialog(kId));
    keeps->CreateModeless();
    keeps->CloseDialog();
    CTMDialog::DeleteClosedDialogs();
    RunEvents();
    EXPECT_FALSE(CTMDialog::IsDialogOpen(keeps.get())) << "without leave to delete itself it stays its owner's";
}

TEST(TMDialog, NoDialogIsDeletedBelowAnEventLoopThatAControlRuns) {
    const QPointer<CTMDialog> dialog(new CTMDialog(kId));
    dialog->AllowSelfDelete();
    auto* const button = new QPushButton;
    dialog->AddChildCtrl(button);
    dialog->CreateModeless();
    bool alive = false;
    QEventLoop outer;
    QObject::connect(button, &QPushButton::clicked, [&] {
        QEventLoop inner;
        QTimer::singleShot(0, [&] {
            dialog->CloseDialog();
            QTimer::singleShot(0, [&] { QTimer::singleShot(0, &inner, &QEventLoop::quit); });
        });
        inner.exec();
        CTMDialog::DeleteClosedDialogs();  // the dialog's control is still in its handler
        alive = dialog;
    });
    QObject::connect(dialog, &QObject::destroyed, &outer, &QEventLoop::quit);
    QTimer::singleShot(0, [&] { QTest::mouseClick(button, Qt::LeftButton); });
    outer.exec();
    EXPECT_TRUE(alive);
    EXPECT_FALSE(dialog);
}

TEST(TMDialog, ClosingTellsInOrderAndOnce) {
    struct Log : CTMDialog {
        using CTMDialog::CTMDialog;
        void PrepareClose() override { steps += isVisible() ? u"prepare " : u"late "; }
        void PostNcDestroy() override {
            steps += isVisible() ? u"early " : u"gone ";
            CTMDialog::PostNcDestroy();
        }
        QString steps;
    };
    const struct {
        const char* what;
        void (*close)(Log&);
        int result;
    } cases[] = {
        {"CloseDialog", [](Log& dialog) { dialog.CloseDialog(); }, QDialog::Accepted},
        {"OK", [](Log& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); }, QDialog::Accepted},
        {"CancelDialog", [](Log& dialog) { dialog.CancelDialog(); }, QDialog::Rejected},
        {"Escape", [](Log& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }, QDialog::Rejected},
        {"window", [](Log& dialog) { dialog.close(); }, QDialog::Rejected},
    };
    for (const auto& way : cases) {
        SCOPED_TRACE(way.what);
        Log dialog(kId);
        dialog.AddModalButton("COMMON_OK", QDialogButtonBox::AcceptRole);
        const QSignalSpy closed(&dialog, &CTMDialog::Closed);
        dialog.CreateModeless();
        way.close(dialog);
        dialog.CloseDialog();
        EXPECT_EQ(dialog.steps, u"prepare gone ");
        EXPECT_EQ(dialog.result(), way.result);
        EXPECT_EQ(closed.count(), 1);
        EXPECT_FALSE(dialog.isVisible());
    }
}

TEST(TMDialog, ModalReturnsHowItWasClosed) {
    CTMDialog dialog(kId);
    QPushButton* const ok = dialog.AddModalButton("COMMON_OK", QDialogButtonBox::AcceptRole);
    QPushButton* const cancel = dialog.AddModalButton("COMMON_CANCEL", QDialogButtonBox::RejectRole);
    EXPECT_EQ(dialog.ModalButtonsCount(), 2);
    for (QPushButton* const button : {ok, cancel}) {
        QTimer::singleShot(0, [&] {
            EXPECT_TRUE(dialog.IsModal());
            EXPECT_EQ(dialog.DoModal(), QDialog::Rejected) << "it is open already";
            QTest::mouseClick(button, Qt::LeftButton);
        });
        EXPECT_EQ(dialog.DoModal(), button == ok ? QDialog::Accepted : QDialog::Rejected);
        EXPECT_FALSE(dialog.IsModal());
    }
    dialog.RemoveModalButtons();
    EXPECT_EQ(dialog.ModalButtonsCount(), 0);
}

TEST(TMDialog, LockFlipsAndIsDrawnOnlyWhenItChanges) {
    CTMDialog dialog(kId);
    SystemButton* const lock = dialog.AddLockBtn();
    dialog.CreateModeless();
    RunEvents();
    CountPaints paints(lock);
    const QSignalSpy told(&dialog, &CTMDialog::DataLocked);
    EXPECT_EQ(lock->toolTip(), u"Lock Settings");
    QTest::mouseClick(lock, Qt::LeftButton);
    RunEvents();
    EXPECT_TRUE(dialog.IsDataLocked() && lock->IsPressed());
    EXPECT_EQ(lock->toolTip(), u"Unlock Settings");
    EXPECT_GT(paints.count, 0);

    paints.count = 0;
    dialog.SetDataLocked(true);
    RunEvents();
    EXPECT_EQ(paints.count, 0);
    EXPECT_EQ(told.count(), 1);
    lock->setFocus();
    QTest::keyClick(lock, Qt::Key_Space);
    EXPECT_FALSE(dialog.IsDataLocked() || lock->IsPressed());
    EXPECT_EQ(told.count(), 2);
}

TEST(TMDialog, TheCopyButtonShowsOnlyWhatItIsTold) {
    struct Drags : CTMDialog {
        using CTMDialog::CTMDialog;
        void OnBeginDragCopy() override { ++drags; }
        int drags = 0;
    };
    Drags dialog(kId);
    SystemButton* const copy = dialog.AddCopyBtn();
    EXPECT_EQ(dialog.AddCopyBtn(), copy) << "one of each kind";
    dialog.CreateModeless();
    const QSignalSpy clicked(&dialog, &CTMDialog::CopyClicked), reset(&dialog, &CTMDialog::CopyReset);
    QTest::mouseClick(copy, Qt::LeftButton);
    EXPECT_EQ(clicked.count(), 1);
    EXPECT_FALSE(copy->IsPressed());
    dialog.SetCopyButtonPressed(true);
    EXPECT_TRUE(copy->IsPressed() && dialog.IsCopyPressed());

    QTest::mousePress(copy, Qt::LeftButton, {}, {5, 5});
    QTest::mouseMove(copy, {6, 5});
    EXPECT_EQ(dialog.drags, 0);
    QTest::mouseMove(copy, {60, 5});
    QTest::mouseMove(copy, {90, 5});
    QTest::mouseRelease(copy, Qt::LeftButton, {}, {5, 5});
    EXPECT_EQ(dialog.drags, 1);
    EXPECT_EQ(clicked.count(), 1) << "a drag is no click";

    dialog.SetCopyButtonContextMenuResetText(QStringLiteral("COMMON_RESET"));
    QContextMenuEvent event(QContextMenuEvent::Mouse, {5, 5}, copy->mapToGlobal(QPoint(5, 5)));
    QCoreApplication::sendEvent(copy, &event);
    QMenu* const menu = OpenMenu(dialog);
    ASSERT_TRUE(menu);
    ASSERT_EQ(menu->actions().size(), 2);
    EXPECT_EQ(menu->actions()[0]->text(), copy->toolTip());
    EXPECT_EQ(menu->actions()[1]->text(), u"Reset");
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(menu->actions()[1]).center());
    EXPECT_EQ(reset.count(), 1);
}

TEST(TMDialog, TheHeadOffersBothMenusInOneAndTheButtonsInOrder) {
    CTMDialog dialog(kId);
    dialog.AddSystemButton(SysBtnID::Close);
    dialog.AddDockBtn();
    dialog.AddLockBtn();
    dialog.AddCopyBtn();
    dialog.resize(500, 200);
    dialog.CreateModeless();
    RunEvents();
    std::vector<SysBtnID> order;
    int right = 0;
    for (const SystemButton* const button : dialog.SystemButtons()) {
        order.push_back(button->Id());
        EXPECT_GE(button->x(), right);
        right = button->geometry().right();
        EXPECT_FALSE(button->icon().isNull());
        EXPECT_EQ(button->accessibleName(), button->toolTip());
    }
    EXPECT_EQ(order, (std::vector{SysBtnID::Copy, SysBtnID::Lock, SysBtnID::Dock, SysBtnID::Close}));
    QWidget* const head = dialog.SystemButtons()[0]->parentWidget();
    QContextMenuEvent event(QContextMenuEvent::Mouse, {5, 5}, head->mapToGlobal(QPoint(5, 5)));
    QCoreApplication::sendEvent(head, &event);
    ASSERT_TRUE(OpenMenu(dialog));
    EXPECT_EQ(OpenMenu(dialog)->actions().size(), 4) << "copy, reset, a line, lock";
}

TEST(TMDialog, DocksIntoAnyWidgetAndComesBackAsItWas) {
    QWidget owner;
    QWidget plain, withLayout;
    QVBoxLayout layout(&withLayout);
    QSplitter splitter;
    QDockWidget dock;
    DokkerControl bar;
    plain.resize(300, 400);
    const struct {
        const char* what;
        QWidget* window;
        DokkerControl* dokker;
        QWidget* top;
    } hosts[] = {{"plain", &plain, nullptr, &plain},
                 {"layout", &withLayout, nullptr, &withLayout},
                 {"splitter", &splitter, nullptr, &splitter},
                 {"dock", &dock, nullptr, &dock},
                 {"bar", nullptr, &bar, &bar}};
    CTMDialog dialog(kId, &owner);
    SystemButton* const dockButton = dialog.AddDockBtn();
    dialog.AddModalButton("COMMON_OK", QDialogButtonBox::AcceptRole);
    dialog.CreateModeless();
    QTest::mouseClick(dockButton, Qt::LeftButton);
    EXPECT_FALSE(dialog.IsDocked()) << "there is no place to dock into";
    dialog.setGeometry(40, 50, 320, 240);
    const Qt::WindowFlags style = dialog.windowFlags();
    for (const auto& host : hosts) {
        SCOPED_TRACE(host.what);
        host.top->show();
        dialog.DockView(host.window, host.dokker, true);
        RunEvents();
        EXPECT_TRUE(dialog.IsDocked() && dialog.isVisible() && !dialog.isWindow());
        EXPECT_EQ(dialog.window(), host.top);
        EXPECT_TRUE(host.top->rect().contains(QRect(dialog.mapTo(host.top, QPoint(0, 0)), dialog.size())));
        EXPECT_EQ(dockButton->toolTip(), u"Undock");
        QTest::keyClick(&dialog, Qt::Key_Escape);
        EXPECT_TRUE(dialog.isVisible()) << "Escape is for windows";

        QTest::mouseClick(dockButton, Qt::LeftButton);
        EXPECT_TRUE(!dialog.IsDocked() && dialog.isVisible() && dialog.isWindow());
        EXPECT_EQ(dialog.parentWidget(), &owner);
        EXPECT_EQ(dialog.windowFlags(), style);
        EXPECT_EQ(dialog.geometry(), QRect(40, 50, 320, 240));
        EXPECT_EQ(dockButton->toolTip(), u"Dock");
        host.top->hide();
    }

    dialog.DockView(&plain, nullptr, true);
    plain.show();
    plain.resize(350, 420);
    EXPECT_EQ(dialog.size(), plain.size()) << "without a layout it fills its host";
    QTest::mouseClick(dockButton, Qt::LeftButton);
    QTest::mouseClick(dockButton, Qt::LeftButton);
    EXPECT_EQ(dialog.parentWidget(), bar.Bar()) << "the docking control is remembered";
    const QPoint to(7, 9);
    dialog.UndockView(&to);
    EXPECT_EQ(dialog.pos(), to);

    dialog.DockView(&plain, nullptr, true);
    dialog.CloseDialog();
    EXPECT_FALSE(dialog.IsDocked());
    EXPECT_EQ(dialog.parentWidget(), &owner) << "a closed dialog leaves its host";
}

TEST(TMDialog, ADockedDialogGoesWithItsHost) {
    auto host = std::make_unique<QWidget>();
    const QPointer<CTMDialog> dialog(new CTMDialog(kId));
    dialog->CreateModeless();
    dialog->DockView(host.get(), nullptr, true);
    host.reset();
    EXPECT_FALSE(dialog);
    EXPECT_FALSE(CTMDialog::IsDialogOpen(kId));
}

QString TipAt(QWidget& control, QPoint place) {
    QHelpEvent event(QEvent::ToolTip, place, control.mapToGlobal(place));
    QCoreApplication::sendEvent(&control, &event);
    return QToolTip::text();
}

TEST(TMDialog, ControlsHaveNamesAndTooltips) {
    CTMDialog dialog(kId);
    auto* const label = new QLabel(QStringLiteral("x"));
    label->resize(200, 50);
    dialog.AddChildCtrl(label, true, QStringLiteral("COMMON_RESET"));
    auto* const hidden = new QSlider;
    dialog.AddChildCtrl(hidden, false);
    dialog.resize(400, 300);
    dialog.CreateModeless();
    EXPECT_EQ(label->parentWidget(), dialog.Content());
    EXPECT_FALSE(hidden->isVisible());
    EXPECT_EQ(label->accessibleName(), u"Reset");
    EXPECT_EQ(TipAt(*label, {1, 1}), u"Reset");

    dialog.ReleaseToolTip(label);
    dialog.AddToolTip(label, QStringLiteral("left"), {0, 0, 100, 50}, 1);
    dialog.AddToolTip(label, QStringLiteral("right"), {100, 0, 100, 50}, 2);
    EXPECT_EQ(TipAt(*label, {99, 1}), u"left");
    EXPECT_EQ(TipAt(*label, {100, 1}), u"right");
    dialog.SetToolTipText(label, QStringLiteral("East"), 2);
    EXPECT_EQ(QToolTip::text(), u"East") << "the one that is shown";
    dialog.SetToolTipRect(label, {0, 0, 101, 50}, 1);
    EXPECT_EQ(TipAt(*label, {100, 1}), u"left");

    SetDialogLanguage(Language::German);
    EXPECT_EQ(label->accessibleName(), DialogText("COMMON_RESET"));
    SetDialogLanguage(Language::English);
    dialog.RemoveChildCtrl(label);
    const std::unique_ptr<QLabel> ours(label);
    EXPECT_EQ(label->parentWidget(), nullptr);
    dialog.PopToolTip();
}

TEST(TMDialog, LinesFollowTheReadingDirection) {
    CTMDialog dialog(kId);
    dialog.resize(400, 300);
    dialog.CreateModeless();
    const int line = dialog.AddHorizontalLine({10, 20}, 100);
    dialog.AddSubLines(line, 2, 6);
    const auto lines = dialog.Content()->findChildren<QFrame*>();
    ASSERT_EQ(lines.size(), 3);
    dialog.MoveLine(line, {30, 40});
    dialog.MoveLine(99, {0, 0});
    std::set<int> heights;
    for (const QFrame* const frame : lines) {
        EXPECT_EQ(frame->x(), 30);
        heights.insert(frame->y());
    }
    EXPECT_EQ(heights, (std::set{40, 46, 52}));
    EXPECT_EQ(lines[0]->width(), 100);
    dialog.setLayoutDirection(Qt::RightToLeft);
    EXPECT_EQ(lines[0]->geometry().right(), dialog.Content()->width() - 1 - 30);
}

TEST(TMDialog, TheKeyboardStartsInTheContentAndReachesTheHead) {
    CTMDialog dialog(kId);
    SystemButton* const copy = dialog.AddCopyBtn();
    auto* const slider = new QSlider(Qt::Horizontal);
    dialog.AddChildCtrl(slider);
    dialog.AddModalButton("COMMON_OK", QDialogButtonBox::AcceptRole);
    dialog.CreateModeless();
    EXPECT_EQ(dialog.focusWidget(), slider);
    bool reached = false;
    for (int i = 0; i < 5 && !reached; ++i) {
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
        reached = dialog.focusWidget() == copy;
    }
    EXPECT_TRUE(reached);
}

TEST(TMDialog, HelpComesFromKeyAndButton) {
    CTMDialog dialog(kId);
    dialog.CreateModeless();
    QTest::keyClick(&dialog, Qt::Key_F1);
    EXPECT_TRUE(dialog.findChildren<QMessageBox*>().isEmpty()) << "nothing to help with";
    dialog.SetHelp("HLP_SEPIA");
    QTest::keyClick(&dialog, Qt::Key_F1);
    QTest::mouseClick(dialog.FindSystemButton(SysBtnID::Help), Qt::LeftButton);
    const auto boxes = dialog.findChildren<QMessageBox*>();
    ASSERT_EQ(boxes.size(), 2);
    EXPECT_EQ(boxes[0]->text(), DialogText("HLP_SEPIA"));
}

TEST(TMDialog, AllItsTextsFollowTheLanguage) {
    CTMDialog dialog(kId);
    dialog.SetTitle(QStringLiteral("IDS_TRANS_NAME"));
    dialog.AddDockBtn();
    dialog.AddLockBtn();
    QPushButton* const cancel = dialog.AddModalButton("COMMON_CANCEL", QDialogButtonBox::RejectRole);
    dialog.CreateModeless();
    SetDialogLanguage(Language::German);
    EXPECT_EQ(dialog.windowTitle(), u"Transparenz");
    EXPECT_EQ(cancel->text(), u"Abbrechen");
    EXPECT_EQ(dialog.FindSystemButton(SysBtnID::Dock)->toolTip(), u"Andocken");
    EXPECT_EQ(dialog.FindSystemButton(SysBtnID::Lock)->toolTip(), u"Einstellungen sperren");
    SetDialogLanguage(Language::English);
    EXPECT_EQ(cancel->text(), u"Cancel");
}

}  // namespace
}  // namespace kestrel
