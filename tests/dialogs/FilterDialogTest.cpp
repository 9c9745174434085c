#include "kestrel/dialogs/FilterDialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDrag>
#include <QDropEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/DokkerControl.h"
#include "kestrel/dialogs/MimeTransfer.h"
#include "kestrel/editing/DataTransfer.h"
#include "kestrel/editing/DataXferObj.h"
#include "kestrel/filters/tone/SepiaFilter.h"
#include "kestrel/server/ClassTable.h"
#include "tests/dialogs/SepiaPanel.h"
#include "tests/support/RecordingHost.h"

namespace kestrel {
namespace {

using test::RecordingHost;
using test::SepiaPanel;

constexpr const char* kProgId = "TMFilter.Sepia.1";
constexpr auto kOk = QDialogButtonBox::AcceptRole, kCancel = QDialogButtonBox::RejectRole;

Ref<IFilterParameters> MakeFilter(const char* text) {
    Ref<IFilterParameters> filter;
    EXPECT_EQ(FindClass(kProgId)->create(IFilterParameters::kIid, filter.Out()), S_OK);
    filter->SetParameterText(text, 1);
    return filter;
}

std::string TextOf(const Ref<IFilterParameters>& filter) {
    char text[0x400] = "";
    filter->GetParameterTextForSave(text, 0x400);
    return text;
}

/// A dialog whose drags end at once, as the test says.
struct DraggedDialog : CFilterDialog {
    using CFilterDialog::CFilterDialog;
    Qt::DropAction RunDrag(QDrag& drag, Qt::DropActions actions) override {
        const Ref<IDataObject> taken = FromMimeData(drag.mimeData());
        dragged = GetDialog(taken.get()) + " " + GetFilter(taken.get()) + " " + GetParameter(taken.get());
        offered = actions;
        return runs;
    }
    std::string dragged;
    Qt::DropActions offered;
    Qt::DropAction runs = Qt::CopyAction;
};

/// A dialog over a filter at 30 %, with everything that the host was told.
struct FilterDialogTest : testing::Test {
    explicit FilterDialogTest(const char* page = nullptr)
        : panel(new SepiaPanel),
          dialog(new DraggedDialog(CSepiaFilter::kDescription, std::unique_ptr<FilterPanel>(panel), &host,
                                   page ? host.PageObject(page) : nullptr)),
          filter(MakeFilter("Sepia=030")) {
        dialog->Connect(filter.get());
        dialog->SetFilterID("the id");
    }
    ~FilterDialogTest() override { delete dialog; }

    void Open() {
        dialog->CreateModeless();
        dialog->SetFilterID("the id");
        QCoreApplication::processEvents();
        host.Take();
    }
    /// Moves the slider as a user does, and lets the dialog notice.
    void Slide(Qt::Key key, int times = 1) {
        for (int i = 0; i < times; ++i) QTest::keyClick(panel->slider, key);
    }
    QAbstractButton* Button(QDialogButtonBox::ButtonRole role) {
        const auto* const box = dialog->findChild<QDialogButtonBox*>();
        for (QAbstractButton* const button : box->buttons())
            if (box->buttonRole(button) == role) return button;
        return nullptr;
    }
    /// What the host was told since the last call; the texts that it was asked for are left out.
    std::string Messages() {
        const QString record = QString::fromLatin1(host.Take().c_str());
        QString messages;
        for (const QString& entry : record.split(QStringLiteral("; ")))
            if (!entry.isEmpty() && !entry.startsWith(QStringLiteral("localize ")))
                messages += entry + QStringLiteral("; ");
        return messages.toStdString();
    }
    SystemButton* System(SysBtnID id) { return dialog->FindSystemButton(id); }

    RecordingHost host;
    SepiaPanel* panel;
    QPointer<DraggedDialog> dialog;
    Ref<IFilterParameters> filter;
};
struct FilterDialogPageTest : FilterDialogTest {
    FilterDialogPageTest() : FilterDialogTest("page") {}
};

const std::string kBegin = "TM_FilterDialog_Dispatcher EA15 ; ", kEnd = "TM_FilterDialog_Dispatcher EA16 ; ";

std::string Told(const std::string& text) {
    return "find GalleryPage; GalleryPage E572 FilterId=\"" + text + "\";\r\n; " + kBegin + kEnd;
}

TEST_F(FilterDialogTest, ShowsTheFilterAndWritesTheNewestTextOnce) {
    Open();
    EXPECT_EQ(panel->slider->value(), 30);
    const QSignalSpy told(dialog, &CFilterDialog::TextChanged);
    Slide(Qt::Key_Right, 12);
    EXPECT_EQ(TextOf(filter), "Sepia=030") << "not before the event loop is idle";
    QCoreApplication::processEvents();
    EXPECT_EQ(TextOf(filter), "Sepia=042");
    EXPECT_EQ(Messages(), Told("Sepia=042"));
    EXPECT_EQ(told.count(), 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(Messages(), "");
}

TEST_F(FilterDialogTest, OkKeepsAndEveryWayOutOfItBringsBack) {
    const struct {
        const char* what;
        void (*leave)(FilterDialogTest& test);
        bool keeps;
    } cases[] = {
        {"OK", [](FilterDialogTest& test) { QTest::mouseClick(test.Button(kOk), Qt::LeftButton); }, true},
        {"Enter", [](FilterDialogTest& test) { QTest::keyClick(test.panel->slider, Qt::Key_Return); }, true},
        {"Cancel", [](FilterDialogTest& test) { QTest::mouseClick(test.Button(kCancel), Qt::LeftButton); }, false},
        {"Escape", [](FilterDialogTest& test) { QTest::keyClick(test.panel->slider, Qt::Key_Escape); }, false},
        {"window", [](FilterDialogTest& test) { test.dialog->close(); }, false},
    };
    const Ref<IFilterParameters> second = MakeFilter("Sepia=070");
    dialog->AddFilter(second.get());
    for (const auto& way : cases)
        for (const bool applied : {false, true}) {  // whether the edit has reached the filters before
            SCOPED_TRACE(way.what);
            filter->SetParameterText("Sepia=030", 1);
            second->SetParameterText("Sepia=070", 1);
            Open();
            Slide(Qt::Key_Home);
            if (applied) QCoreApplication::processEvents();
            host.Take();
            way.leave(*this);
            EXPECT_FALSE(dialog->isVisible());
            EXPECT_EQ(TextOf(filter), way.keeps ? "Sepia=000" : "Sepia=030");
            EXPECT_EQ(TextOf(second), way.keeps ? "Sepia=000" : "Sepia=070") << "each its own";
            EXPECT_EQ(dialog->ParameterText(), TextOf(filter));
            const bool tells = applied != way.keeps;
            EXPECT_EQ(Messages(), tells ? Told(way.keeps ? "Sepia=000" : "Sepia=030") : "");
            QCoreApplication::processEvents();
            EXPECT_EQ(Messages(), "") << "nothing comes late";
        }
}

TEST_F(FilterDialogTest, ResetIsAnEditThatCancelTakesBack) {
    Open();
    QTest::mouseClick(Button(QDialogButtonBox::ResetRole), Qt::LeftButton);
    QCoreApplication::processEvents();
    EXPECT_EQ(TextOf(filter), "Sepia=000");
    EXPECT_TRUE(dialog->isVisible());
    QTest::keyClick(dialog, Qt::Key_Escape);
    EXPECT_EQ(TextOf(filter), "Sepia=030");
}

TEST_F(FilterDialogTest, ModalReturnsTheAnswer) {
    QTimer::singleShot(0, [this] {
        Slide(Qt::Key_End);
        QTest::mouseClick(Button(kOk), Qt::LeftButton);
    });
    EXPECT_EQ(dialog->DoModal(), QDialog::Accepted);
    EXPECT_EQ(TextOf(filter), "Sepia=100");
}

TEST_F(FilterDialogTest, ATextThatNoFilterHoldsIsRefusedAsAWhole) {
    Open();
    panel->tail = std::string(0x400, 'x');
    Slide(Qt::Key_Right);
    QCoreApplication::processEvents();
    EXPECT_EQ(TextOf(filter), "Sepia=030");
    EXPECT_EQ(panel->slider->value(), 30) << "the controls show what the filter has";
    EXPECT_EQ(Messages(), "");
}

TEST_F(FilterDialogTest, WhatChangesOutsideIsShownUnlessLocked) {
    Open();
    filter->SetParameterText("Sepia=055", 1);
    dialog->FilterUpdated();
    EXPECT_EQ(panel->slider->value(), 55);

    QTest::mouseClick(System(SysBtnID::Lock), Qt::LeftButton);
    EXPECT_TRUE(dialog->IsLocked() && dialog->IsDataLocked() && System(SysBtnID::Lock)->IsPressed());
    EXPECT_EQ(Messages(), "TM_FilterDialog_Dispatcher ButtonLock=1; ");
    filter->SetParameterText("Sepia=066", 1);
    dialog->FilterUpdated();
    EXPECT_EQ(panel->slider->value(), 55);
    QTest::mouseClick(System(SysBtnID::Lock), Qt::LeftButton);
    EXPECT_FALSE(dialog->IsLocked() || System(SysBtnID::Lock)->IsPressed());
    EXPECT_EQ(panel->slider->value(), 66) << "unlocking shows the filter again";
    EXPECT_EQ(Messages(), "TM_FilterDialog_Dispatcher ButtonLock=0; ");

    Slide(Qt::Key_End);  // the user's newest edit is not lost to a refresh that comes before it
    dialog->FilterUpdated();
    EXPECT_EQ(panel->slider->value(), 100);
}

TEST_F(FilterDialogTest, CopySendsTheChangeOnAndShowsWhetherFiltersDiffer) {
    Open();
    Slide(Qt::Key_End);
    QTest::mouseClick(System(SysBtnID::Copy), Qt::LeftButton);
    EXPECT_EQ(Messages(), Told("Sepia=100") + kBegin + "TM_FilterDialog_Dispatcher EA07 the id; " + kEnd);
    EXPECT_FALSE(System(SysBtnID::Copy)->IsPressed()) << "all filters have this text";

    const Ref<IFilterParameters> second = MakeFilter("Sepia=070");
    dialog->AddFilter(second.get());
    EXPECT_TRUE(System(SysBtnID::Copy)->IsPressed());
    Slide(Qt::Key_Home);
    QCoreApplication::processEvents();
    EXPECT_EQ(TextOf(second), "Sepia=000");
    EXPECT_FALSE(System(SysBtnID::Copy)->IsPressed());
    dialog->Disconnect();
    dialog->RefreshButtons();
    EXPECT_FALSE(System(SysBtnID::Copy)->isEnabled()) << "there is nothing to copy";
}

TEST_F(FilterDialogTest, DeletingAsksTheHostAndCloses) {
    Open();
    dialog->AllowSelfDelete();
    Slide(Qt::Key_End);
    dialog->OnCopyReset();
    const std::string to = "TM_FilterDialog_Dispatcher ";
    EXPECT_EQ(Messages(), kBegin + to + "EA21 the id; " + to + "EA39 ; " + kEnd);
    QCoreApplication::processEvents();
    EXPECT_EQ(Messages(), "") << "an edit of a deleted filter goes nowhere";
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(dialog);
}

TEST_F(FilterDialogTest, DockingGoesThroughTheFilterAndKeepsWhatWasChanged) {
    Open();
    dialog->move(20, 30);
    Slide(Qt::Key_End);
    QTest::mouseClick(System(SysBtnID::Dock), Qt::LeftButton);
    char place[0x400] = "";
    EXPECT_EQ(filter->GetExtraParameter("DockFilterDialog", place, 0x400), S_OK);
    EXPECT_STREQ(place, "PosX=20;\r\nPosY=30;\r\n");
    EXPECT_FALSE(dialog->IsDocked()) << "the host has not answered";

    DokkerControl bar;
    bar.show();
    dialog->DockView(nullptr, &bar, true);
    EXPECT_TRUE(System(SysBtnID::Close)->isVisible());
    EXPECT_FALSE(Button(kOk)->isVisible());
    QTest::mouseClick(System(SysBtnID::Dock), Qt::LeftButton);
    EXPECT_FALSE(System(SysBtnID::Close)->isVisible());
    EXPECT_TRUE(Button(kOk)->isVisible());
    EXPECT_EQ(dialog->pos(), QPoint(20, 30));

    QTest::mouseClick(System(SysBtnID::Dock), Qt::LeftButton);
    EXPECT_TRUE(dialog->IsDocked());
    QTest::mouseClick(System(SysBtnID::Close), Qt::LeftButton);
    EXPECT_FALSE(dialog->IsOpen());
    EXPECT_EQ(TextOf(filter), "Sepia=100");

    SepiaPanel* const next = new SepiaPanel;
    CFilterDialog other(CSepiaFilter::kDescription, std::unique_ptr<FilterPanel>(next));
    other.Connect(filter.get());
    other.CreateModeless();
    EXPECT_EQ(other.pos(), QPoint(20, 30)) << "the filter has kept the place";
    filter->SetExtraParameter("DockFilterDialog", "PosX=-99999;PosY=5;");
    other.InitializeFreeDialog();
    EXPECT_EQ(other.pos(), QPoint(20, 30)) << "no screen shows that one";
}

TEST_F(FilterDialogPageTest, OnAPageTheButtonsAreThePages) {
    host.Take();
    dialog->CreateModeless();
    EXPECT_EQ(Messages(), "page ButtonTop=0; ");
    EXPECT_TRUE(dialog->SystemButtons().empty());
    EXPECT_EQ(dialog->ModalButtonsCount(), 0);
    dialog->OnLockClicked();
    EXPECT_TRUE(dialog->IsLocked());
    dialog->OnLockClicked();
    EXPECT_FALSE(dialog->IsLocked());
    EXPECT_EQ(Messages(), "") << "the page knows its own button";
    Slide(Qt::Key_End);
    EXPECT_EQ(dialog->HandleEvent("ButtonClose"), 0);
    EXPECT_FALSE(dialog->IsOpen());
    EXPECT_EQ(Messages(), Told("Sepia=100") + "page ButtonTop=0; ");
}

TEST_F(FilterDialogTest, AHostThatFailsOrThrowsChangesNothing) {
    for (const auto mood : {RecordingHost::Mood::Silent, RecordingHost::Mood::Fails, RecordingHost::Mood::Throws}) {
        host.SetMood(mood);
        filter->SetParameterText("Sepia=030", 1);
        Open();
        Slide(Qt::Key_End);
        for (const SysBtnID id : {SysBtnID::Copy, SysBtnID::Lock, SysBtnID::Lock, SysBtnID::Dock, SysBtnID::Help})
            QTest::mouseClick(System(id), Qt::LeftButton);
        EXPECT_EQ(TextOf(filter), "Sepia=100");
        QTest::mouseClick(Button(kCancel), Qt::LeftButton);
        EXPECT_EQ(TextOf(filter), "Sepia=030");
    }
}

/// What a drop of this object would do to a dialog.
bool Drop(CFilterDialog& dialog, const QMimeData* mime) {
    const QPoint middle = dialog.rect().center();
    QDragEnterEvent enter(middle, Qt::CopyAction | Qt::MoveAction, mime, Qt::LeftButton, Qt::NoModifier);
    enter.ignore();
    QCoreApplication::sendEvent(&dialog, &enter);
    if (!enter.isAccepted()) return false;
    QDropEvent drop(middle, Qt::CopyAction | Qt::MoveAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&dialog, &drop);
    EXPECT_EQ(drop.dropAction(), Qt::CopyAction) << "the source keeps its filter";
    return drop.isAccepted();
}

TEST_F(FilterDialogTest, TakesDropsOfItsOwnFilterOnly) {
    Open();
    QMimeData foreign, other, same;
    foreign.setText(QStringLiteral("Sepia=099"));
    other.setText(QStringLiteral("TMFilter.Invert.1\tSepia=099"));
    same.setText(QStringLiteral("TMFilter.Sepia.1\tSepia=088"));
    EXPECT_FALSE(Drop(*dialog, &foreign) || Drop(*dialog, &other));
    EXPECT_EQ(TextOf(filter), "Sepia=030");
    EXPECT_TRUE(Drop(*dialog, &same));
    EXPECT_EQ(TextOf(filter), "Sepia=088");
    EXPECT_EQ(Messages(), Told("Sepia=088"));
    QTest::mouseClick(System(SysBtnID::Lock), Qt::LeftButton);
    EXPECT_FALSE(Drop(*dialog, &same));
}

TEST_F(FilterDialogTest, TheCopyButtonIsDraggedToOtherWindows) {
    const std::string history = "find ProcessFilterHistoryPage; ProcessFilterHistoryPage EA31 ; ",
                      ended = "ProcessFilterHistoryPage EA32 ; ";
    for (const Qt::DropAction action : {Qt::IgnoreAction, Qt::CopyAction, Qt::MoveAction}) {
        Open();
        dialog->runs = action;
        Slide(Qt::Key_End);
        SystemButton* const copy = System(SysBtnID::Copy);
        QTest::mousePress(copy, Qt::LeftButton, {}, {5, 5});
        QTest::mouseMove(copy, {60, 5});
        QTest::mouseRelease(copy, Qt::LeftButton, {}, {60, 5});
        EXPECT_EQ(dialog->dragged, "TMFilter.Sepia.1 TMFilter.Sepia.1 Sepia=100") << "the newest edit";
        EXPECT_EQ(dialog->offered, Qt::CopyAction | Qt::MoveAction);
        EXPECT_EQ(Messages(), Told("Sepia=100") + history + ended);
        EXPECT_EQ(dialog->isVisible(), action != Qt::MoveAction) << "what is moved away is closed";
        EXPECT_EQ(TextOf(filter), "Sepia=100");
        dialog->CancelDialog();
        filter->SetParameterText("Sepia=030", 1);
    }
}

TEST_F(FilterDialogTest, FollowsTheLanguageWhileItIsOpen) {
    host.SetMood(RecordingHost::Mood::Fails);
    Open();
    EXPECT_EQ(dialog->windowTitle(), u"Sepia");
    const int asked = panel->retranslated;
    SetDialogLanguage(Language::German);
    EXPECT_EQ(Button(kCancel)->text(), u"Abbrechen");
    EXPECT_EQ(panel->retranslated, asked + 1);
    SetDialogLanguage(Language::English);
}

TEST_F(FilterDialogTest, HelpIsTheHostsOrAWindow) {
    Open();
    QTest::mouseClick(System(SysBtnID::Help), Qt::LeftButton);
    EXPECT_EQ(Messages(),
              "find ToolBarNotifications; find ToolBarNotifications; ToolBarNotifications E261 HLP_SEPIA; ");
    EXPECT_TRUE(dialog->findChildren<QMessageBox*>().isEmpty());
    host.SetMood(RecordingHost::Mood::Silent);
    QTest::mouseClick(System(SysBtnID::Help), Qt::LeftButton);
    EXPECT_EQ(dialog->findChildren<QMessageBox*>().size(), 1);
}

}  // namespace
}  // namespace kestrel
