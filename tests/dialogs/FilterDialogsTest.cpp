#include "kestrel/dialogs/FilterDialogs.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <thread>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/DokkerControl.h"
#include "kestrel/dialogs/IFilterDialogWindow.h"
#include "kestrel/framework/DialogFactory.h"
#include "kestrel/framework/IFilterDialog.h"
#include "kestrel/framework/Module.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/host/Strings.h"
#include "kestrel/server/PdibFilterCreator.h"
#include "tests/support/RecordingHost.h"

namespace kestrel {
namespace {

constexpr const char* kProgId = "TMFilter.Sepia.1";

void RunEvents() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

Ref<IFilterDialogWindow> MakeWindow(const Ref<IFilterObject>& filter) {
    Ref<IFilterDialogWindow> window;
    EXPECT_EQ(filter->CreateDialog(IFilterDialogWindow::kIid, window.Out()), S_OK);
    return window;
}

Ref<IFilterObject> MakeFilter() {
    Ref<IFilterObject> filter;
    EXPECT_EQ(FindClass(kProgId)->create(IFilterObject::kIid, filter.Out()), S_OK);
    return filter;
}

TEST(FilterDialogs, TheCatalogueOpensTheDialogOfAnyFilter) {
    const long objects = Module::Count();
    {
        const Ref<IPdibFilterCreator> creator(new CPdibFilterCreator);
        auto owner = std::make_unique<QWidget>();
        Ref<IFilterDialog> opened;
        ASSERT_EQ(creator->CreateFilterDialog(kProgId, owner.get(), IFilterDialog::kIid, opened.Out()), S_OK);
        const int id = FindClass(kProgId)->description->id;
        const QPointer<CTMDialog> dialog = CTMDialog::FindDialog(id);
        ASSERT_TRUE(dialog);
        EXPECT_TRUE(dialog->isVisible());
        EXPECT_EQ(dialog->parentWidget(), owner.get());
        int result = -1;
        EXPECT_EQ(opened->Open(nullptr, &result), S_OK) << "it is brought to the front";
        EXPECT_EQ(CTMDialog::FindDialog(id, dialog), nullptr);
        opened = nullptr;
        EXPECT_TRUE(dialog->isVisible()) << "an open dialog outlives the object";
        QTest::keyClick(dialog, Qt::Key_Escape);
        RunEvents();
        EXPECT_FALSE(dialog) << "and ends by itself";

        SetDialogFactory(nullptr);
        EXPECT_EQ(creator->CreateFilterDialog(kProgId, nullptr, IFilterDialog::kIid, opened.Out()), E_NOINTERFACE);
        RegisterDialogs();
        void* object = nullptr;
        EXPECT_EQ(GetDialogFactory()("TMFilter.Chain.1", IUnknown::kIid, &object), E_NOINTERFACE);
        EXPECT_EQ(GetDialogFactory()("TMFilter.None.1", IUnknown::kIid, &object), E_NOINTERFACE);
    }
    EXPECT_EQ(Module::Count(), objects);
}

TEST(FilterDialogs, AHostTakesTheWindowAndConnectsFilters) {
    test::RecordingHost host;
    const Ref<IFilterObject> filter = MakeFilter(), second = MakeFilter();
    const auto text = Ref<IFilterParameters>::Query(filter.get());
    text->SetParameterText("Sepia=012", 1);
    QPointer<CFilterDialog> dialog;
    {
        const auto window = MakeWindow(filter);
        EXPECT_EQ(window->SetHost(&host, host.PageObject("page")), S_OK);
        EXPECT_EQ(window->AddFilter(filter.get()), S_OK);
        EXPECT_EQ(window->AddFilter(second.get()), S_OK);
        EXPECT_EQ(window->AddFilter(nullptr), E_FAIL);
        dialog = window->Window();
        EXPECT_EQ(window->SetHost(nullptr, nullptr), E_FAIL) << "too late";
        ASSERT_TRUE(dialog);
        EXPECT_EQ(dialog->FilterCount(), 2u);
        EXPECT_EQ(dialog->ParameterText(), "Sepia=012");
        EXPECT_TRUE(dialog->IsOnPage());
    }
    RunEvents();
    EXPECT_FALSE(dialog) << "a dialog that was never opened ends with its object";

    HRESULT elsewhere = S_OK;
    std::thread([&] {
        elsewhere = Ref<IFilterDialog>::Query(MakeWindow(filter).get())->Open(nullptr, nullptr);
    }).join();
    EXPECT_EQ(elsewhere, E_FAIL) << "windows are made on one thread";
}

TEST(FilterDialogs, TitlesAreTheNamesOfTheFilters) {
    for (const ClassRow* const filter : ListFilters()) {
        const auto dialog = MakeFilterDialog(filter->description->progId);
        for (const Language language : {Language::German, Language::English}) {
            SetDialogLanguage(language);
            dialog->CreateModeless(false);
            EXPECT_EQ(dialog->windowTitle().toStdString(), FilterName(*filter->description, language));
            dialog->CloseDialog();
        }
    }
}

/// Opens, edits, docks and closes in turn, so that a use after the end or a leak shows under the sanitizers.
TEST(FilterDialogs, EachOpensAndClosesAHundredTimes) {
    DokkerControl bar;
    bar.show();
    const long objects = Module::Count();
    for (const ClassRow* const filter : ListFilters()) {
        SCOPED_TRACE(filter->description->progId);
        for (int time = 0; time < 100; ++time) {
            const QPointer<CFilterDialog> dialog = MakeFilterDialog(filter->description->progId).release();
            ASSERT_TRUE(dialog);
            dialog->AllowSelfDelete();
            if (time % 10 == 3)
                dialog->DockView(nullptr, &bar, true);
            else
                dialog->CreateModeless();
            if (time % 10 == 4) dialog->Panel()->Reset();
            if (time % 10 == 5) SetDialogLanguage(time % 20 == 5 ? Language::German : Language::English);
            if (time % 10 == 6) RunEvents();
            time % 2 ? dialog->CloseDialog() : dialog->CancelDialog();
            RunEvents();
            ASSERT_FALSE(dialog);
        }
    }
    SetDialogLanguage(Language::English);
    EXPECT_EQ(Module::Count(), objects);
}

}  // namespace
}  // namespace kestrel
