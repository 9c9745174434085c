#include "kestrel/editing/FilterDialogFrame.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kestrel/editing/DataTransfer.h"
#include "kestrel/editing/GradCurvesPage.h"
#include "kestrel/editing/LocalHost.h"
#include "kestrel/framework/HostServices.h"
#include "kestrel/framework/LineEnds.h"
#include "kestrel/server/PdibFilterCreator.h"
#include "tests/support/RecordingHost.h"

namespace kestrel {
namespace {

using test::RecordingHost;
constexpr const char* kDispatcher = "TM_FilterDialog_Dispatcher ";

/// Writes its hooks into the host's record, so that their order among the messages shows.
template <class Base>
struct Recorded : Base {
    Recorded(RecordingHost& toHost, IHostPage* page, std::string itsName = "")
        : Base(&toHost, page), host(toHost), name(std::move(itsName)) {
        host.Take();
    }
    ~Recorded() override { Write("gone"); }
    void Write(const std::string& what) { host.Write(name + what); }

    void OnEvent(const char* event) override { Write(std::string("event ") + event); }
    void OnControlEvent(const char* event, const char* value) override {
        Write(std::string("control ") + event + "=" + value);
    }
    void Reset() override { Write("reset"); }
    void WriteText(char* buffer, int size) override {
        EXPECT_EQ(size, 0x400);
        std::strcpy(buffer, controls.c_str());
    }
    void Close() override { Write("close"); }
    void ShowText(const char* text) override { Write(std::string("show ") + text); }
    bool IsDataLocked() const override { return dataLocked; }
    void SetDataLocked(bool on) override { Write(on ? "lock=1" : "lock=0"); }
    void SetCopyButtonPressed(bool on) override { Write(on ? "copy=1" : "copy=0"); }
    void AddSystemButtons(const char* key) override { Write(std::string("buttons ") + key); }
    FilterDialogFrame::Place TopLeft() const override { return {30, -40}; }
    void MoveTo(FilterDialogFrame::Place place) override {
        Write("move " + std::to_string(place.x) + "," + std::to_string(place.y));
    }
    void ReleaseMouse() override { Write("release"); }
    void ShowWindow() override { Write("window"); }
    bool IsOpen() const override { return open; }
    HRESULT DoDragDrop(IDataObject* data, std::uint32_t effects, std::uint32_t* effect) override {
        Write("drag " + GetFilter(data) + " " + GetDialog(data) + " " + GetParameter(data) + " " +
              std::to_string(effects));
        *effect = dropEffect;
        return dropResult;
    }
    bool Tell(const char* event, const char* value) { return Base::Notify(event, value); }

    RecordingHost& host;
    const std::string name;
    std::string controls = "Inversity=070";
    bool dataLocked = false, open = true;
    std::uint32_t dropEffect = kDropMove;
    HRESULT dropResult = DRAGDROP_S_DROP;
};
using Frame = Recorded<FilterDialogFrame>;
using Page = Recorded<FilterDialogPage>;

Ref<IFilterParameters> MakeFilter(const char* progId, const char* text) {
    const Ref<IPdibFilterCreator> creator(new CPdibFilterCreator);
    Ref<IFilterParameters> filter;
    EXPECT_EQ(creator->CreateFilter(progId, IFilterParameters::kIid, filter.Out()), S_OK);
    if (text) filter->SetParameterText(text, 1);
    return filter;
}
Ref<IFilterParameters> MakeInvert(const char* text) { return MakeFilter("TMFilter.Invert.1", text); }

std::string PendingText(IFilterParameters& filter) {
    char text[0x400] = "";
    filter.GetParameterTextForSave(text, 0x400);
    return text;
}

TEST(FilterDialogFrame, AnswersEachEventWithItsMessagesInOrder) {
    const std::string begin = std::string(kDispatcher) + "EA15 ; ", end = std::string(kDispatcher) + "EA16 ; ";
    const std::string gallery = "find GalleryPage; GalleryPage ", history = "ProcessFilterHistoryPage ";
    const struct {
        const char* event;
        const char* value;
        int code;
        std::string answer, onPage, free;  // what is recorded with a page and without one
    } cases[] = {
        {"TimerCallback", "", -1, "", "event TimerCallback; ", "event TimerCallback; "},
        {"Localize", "IDS_X", 0, "Text", "localize IDS_X; ", "localize IDS_X; "},
        {"GetContexthelp", "HLP_Y", 0, "HLP_Y", "find ToolBarNotifications; ToolBarNotifications E261 HLP_Y; ",
         "find ToolBarNotifications; ToolBarNotifications E261 HLP_Y; "},
        {"GetContexthelp", nullptr, 0, "HLP_OWN", "find ToolBarNotifications; ToolBarNotifications E261 HLP_OWN; ",
         "find ToolBarNotifications; ToolBarNotifications E261 HLP_OWN; "},
        {"CheckDragDrop", "", -2, "", "event CheckDragDrop; ", "event CheckDragDrop; "},
        {"ButtonTop", "", 0, "", begin + "reset; show Inversity=050; page ButtonTop=0; " + end,
         begin + "reset; show Inversity=050; copy=0; " + end},
        {"ButtonTopCopyEnabled", "", 1, "1", "", ""},
        {"ButtonTopDelete", "", 1, "",
         begin + kDispatcher + "EA21 the id; " + kDispatcher + "EA39 ; " + end + "reset; close; ",
         begin + kDispatcher + "EA21 the id; " + kDispatcher + "EA39 ; " + end + "reset; close; "},
        {"LockUnlocked", "", 1, "1", "", ""},
        {"ButtonTopDrag", "", 0, "",
         "release; find ProcessFilterHistoryPage; " + history +
             "EA31 ; drag TMFilter.Invert.1 TMFilter.Invert.1 Inversity=050 3; reset; close; " + history + "EA32 ; ",
         "find ProcessFilterHistoryPage; " + history +
             "EA31 ; drag TMFilter.Invert.1 TMFilter.Invert.1 Inversity=050 3; reset; close; " + history + "EA32 ; "},
        {"GenerateBubbleHelpText", "tip", 0, "", gallery + "E011 tip; ", gallery + "E011 tip; "},
        {"ShowBubbleHelpText", "tip", 0, "", gallery + "E012 tip; ", gallery + "E012 tip; "},
        {"HideBubbleHelpText", nullptr, 0, "", gallery + "E013 ; ", gallery + "E013 ; "},
        {"ButtonClose", "", 0, "", "event ButtonClose; ", "event ButtonClose; "},
        {"UpdateFilter", "", 0, "", begin + end, begin + end},
        {"buttontop", "v", 0, "", "event buttontop; control buttontop=v; ", "event buttontop; control buttontop=v; "},
        {"DockFilterDialog", "PosX=1;", 0, "", gallery + "E573 PosX=1;; ",
         "event DockFilterDialog; control DockFilterDialog=PosX=1;; "},
        {"UndockFilterDialog", "", 0, "", gallery + "E574 ; ",
         "event UndockFilterDialog; control UndockFilterDialog=; "},
        {"UpdateDockedFilterDialog", "x", 0, "", gallery + "E577 the id; ",
         "event UpdateDockedFilterDialog; control UpdateDockedFilterDialog=x; "},
        {"DockedFilterClosed", "", 0, "", gallery + "E576 the id; ",
         "event DockedFilterClosed; control DockedFilterClosed=; "},
    };
    RecordingHost host;
    const auto filter = MakeInvert("Inversity=050");
    Page page(host, host.PageObject("page"));
    Frame free(host, nullptr);
    for (FilterDialogFrame* frame : std::initializer_list<FilterDialogFrame*>{&page, &free}) {
        EXPECT_EQ(frame->Connect(filter.get()), 0);
        frame->SetFilterID("the id");
        frame->SetHelp("HLP_OWN");
    }
    for (const auto& c : cases) {
        std::string answer;
        EXPECT_EQ(page.HandleEvent(c.event, c.value, &answer), c.code) << c.event;
        EXPECT_EQ(answer, c.answer) << c.event;
        EXPECT_EQ(host.Take(), c.onPage);
        EXPECT_EQ(free.HandleEvent(c.event, c.value), c.code) << c.event;
        EXPECT_EQ(host.Take(), c.free);
    }
    for (const auto& [result, effect] :
         {std::pair{DRAGDROP_S_DROP, kDropCopy}, {DRAGDROP_S_CANCEL, kDropMove}, {E_FAIL, kDropMove}}) {
        free.dropResult = result;
        free.dropEffect = effect;
        free.HandleEvent("ButtonTopDrag");
        EXPECT_EQ(host.Take().find("reset"), std::string::npos);
    }
}

TEST(FilterDialogFrame, LockKeepsTheValues) {
    RecordingHost host;
    const auto filter = MakeInvert("Inversity=050");
    Frame frame(host, nullptr);
    frame.Connect(filter.get());
    std::string text;
    EXPECT_EQ(frame.HandleEvent("bu_lock"), 0);
    EXPECT_EQ(host.Take(), "lock=1; TM_FilterDialog_Dispatcher ButtonLock=1; ");
    frame.HandleEvent("LockUnlocked", "", &text);
    EXPECT_EQ(text, "0");
    EXPECT_EQ(frame.ReadParameterText(&text), FilterDialogFrame::Texts::None);
    EXPECT_EQ(text, "Inversity=070");
    frame.FilterUpdated();  // the controls stay, the button goes on
    EXPECT_EQ(host.Take(), "copy=1; ");
    frame.HandleEvent("ButtonTop");
    EXPECT_EQ(host.Take(), std::string(kDispatcher) + "EA15 ; copy=1; " + kDispatcher + "EA16 ; ");
    frame.HandleEvent("ButtonTopDrag");
    EXPECT_NE(host.Take().find("drag TMFilter.Invert.1 TMFilter.Invert.1 Inversity=070"), std::string::npos);
    frame.HandleEvent("bu_lock");
    EXPECT_EQ(host.Take(), "lock=0; TM_FilterDialog_Dispatcher ButtonLock=0; reset; ");

    Page page(host, host.PageObject("page"));
    page.dataLocked = true;
    page.HandleEvent("bu_lock");
    EXPECT_EQ(host.Take(), "");
    EXPECT_TRUE(page.IsLocked());
    page.dataLocked = false;
    page.HandleEvent("bu_lock");
    EXPECT_EQ(host.Take(), "reset; ");
    EXPECT_FALSE(page.IsLocked());
}

TEST(FilterDialogFrame, StandsForSeveralFilters) {
    using Texts = FilterDialogFrame::Texts;
    RecordingHost host;
    const auto first = MakeInvert("Inversity=010"), alike = MakeInvert("Inversity=010"),
               other = MakeInvert("Inversity=020"), last = MakeInvert("Inversity=010");
    Frame frame(host, nullptr);
    std::string text;
    const auto expect = [&](Texts texts, const char* kept, const char* refreshed) {
        EXPECT_EQ(frame.ReadParameterText(&text), texts);
        EXPECT_EQ(text, kept);
        frame.RefreshCopyButton();
        EXPECT_EQ(host.Take(), refreshed);
    };
    expect(Texts::None, "", "copy=1; ");
    frame.HandleEvent("ButtonTopCopyEnabled", "", &text);
    EXPECT_EQ(text, "0");
    frame.AddFilter(first.get());
    expect(Texts::Alike, "Inversity=010", "show Inversity=010; copy=0; ");
    frame.AddFilter(alike.get());
    expect(Texts::Alike, "Inversity=010", "show Inversity=010; copy=0; ");
    frame.AddFilter(other.get());
    frame.AddFilter(last.get());
    EXPECT_EQ(frame.FilterCount(), 4U);
    expect(Texts::Differ, "Inversity=010", "show Inversity=010; copy=1; ");
    Frame owner(host, nullptr);
    frame.SetOwner(&owner);
    frame.RefreshCopyButton();
    EXPECT_EQ(host.Take(), "copy=0; ");
    frame.SetOwner(nullptr);

    frame.ApplyText();
    EXPECT_EQ(host.Take(), "find GalleryPage; GalleryPage E572 FilterId=\"Inversity=070\";\r\n; " +
                               std::string(kDispatcher) + "EA15 ; " + kDispatcher + "EA16 ; ");
    for (const auto& filter : {first, alike, other, last}) EXPECT_EQ(PendingText(*filter), "Inversity=070");
    frame.SetFilterID("the id");
    frame.HandleEvent("ButtonTop");  // sends the change on, once
    EXPECT_EQ(host.Take(), std::string(kDispatcher) + "EA15 ; " + kDispatcher +
                               "EA07 the id; reset; show Inversity=070; copy=0; " + kDispatcher + "EA16 ; ");
    EXPECT_FALSE(frame.IsChangePending());
    Parameter given("Mode=2;\r\n");
    frame.ParameterChanged(given);
    EXPECT_EQ(host.Take(), "find GalleryPage; GalleryPage E572 Mode=2;\r\nFilterId=\"Inversity=070\";\r\n; ");
}

/// Gives a text as long as it is told to, and counts what it is asked for.
struct LongFilter final : Counted<IFilterParameters> {
    HRESULT SetParameterText(const char*, int) override { return E_FAIL; }
    HRESULT GetParameterTextForSave(char* buffer, int size) override {
        ++asked;
        if (length >= size) return E_FAIL;
        std::memset(buffer, 'x', static_cast<std::size_t>(length));
        buffer[length] = '\0';
        return S_OK;
    }
    HRESULT GetParameterText(char*, int) override { return E_FAIL; }
    HRESULT SetExtraParameter(const char*, const char*) override { return S_OK; }
    HRESULT GetExtraParameter(const char*, char*, int) override { return E_FAIL; }
    int length = 0x3FF;
    int asked = 0;
};

TEST(FilterDialogFrame, WalksAsFarAsTheFirstDifferenceAndTakesTextsThatFit) {
    FilterDialogFrame frame;
    const Ref<LongFilter> longest(new LongFilter), beyond(new LongFilter), empty(new LongFilter), never(new LongFilter);
    beyond->length = 0x400;
    empty->length = 0;
    const auto invert = MakeInvert("Inversity=050");
    for (IUnknown* filter :
         std::initializer_list<IUnknown*>{beyond.get(), empty.get(), longest.get(), invert.get(), never.get()})
        EXPECT_EQ(frame.AddFilter(filter), 0);
    std::string text;
    EXPECT_EQ(frame.ReadParameterText(&text), FilterDialogFrame::Texts::Differ);
    EXPECT_EQ(text, std::string(0x3FF, 'x'));
    EXPECT_EQ(never->asked, 0);
    EXPECT_EQ(frame.WriteParameterText("Inversity=060"), E_FAIL);  // the first failure; the others are written
    EXPECT_EQ(PendingText(*invert), "Inversity=060");
}

TEST(FilterDialogFrame, ConnectsAndInitializes) {
    RecordingHost host;
    const auto filter = MakeInvert("Inversity=050");
    Frame frame(host, nullptr);
    EXPECT_EQ(frame.Connect(nullptr), -1);
    EXPECT_EQ(frame.ProgID(), "");
    frame.InitializeFreeDialog();
    EXPECT_EQ(host.Take(), "buttons IDS_COMMON_DOCK; ");
    const Ref<LongFilter> partial(new LongFilter);
    EXPECT_EQ(frame.Connect(partial.get()), -1);  // what it has is kept
    EXPECT_EQ(frame.FilterCount(), 1U);
    EXPECT_EQ(frame.Connect(filter.get()), 0);
    EXPECT_EQ(frame.ProgID(), "TMFilter.Invert.1");
    frame.InitializeFreeDialog();
    EXPECT_EQ(host.Take(), "buttons IDS_COMMON_DOCK; ");
    EXPECT_EQ(frame.GetFilterID(), "Inversity=050");

    // The dock button's event travels up the line, and the next dialog of the filter opens at its place.
    struct Head final : LineSource {
        HRESULT TransformArea(int, int, int, int, int, int, std::uint8_t* const*, std::uint8_t* const*) override {
            return S_OK;
        }
        HRESULT SendEvent(void* event) override {
            const auto* const sent = static_cast<const FilterEvent*>(event);
            seen = std::to_string(sent->code) + " " + static_cast<const char*>(sent->data);
            return S_OK;
        }
        std::string seen;
    };
    const Ref<Head> head(new Head);
    frame.Filter()->SetUpstream(head.get());
    frame.DockClicked();
    EXPECT_EQ(head->seen, "58739 PosX=30;\r\nPosY=-40;\r\n");
    frame.Filter()->SetUpstream(nullptr);
    Frame next(host, nullptr);
    next.Connect(filter.get());
    next.InitializeFreeDialog();
    EXPECT_EQ(host.Take(), "buttons IDS_COMMON_DOCK; move 30,-40; ");
    filter->SetExtraParameter("DockFilterDialog", "PosX=5;");
    next.InitializeFreeDialog();
    EXPECT_EQ(host.Take(), "buttons IDS_COMMON_DOCK; ");
}

TEST(FilterDialogPage, ShowsAndClosesItsDockedView) {
    RecordingHost host;
    Page page(host, host.PageObject("page"));
    page.SetFilterID("the id");
    page.CloseDockedView();
    page.ShowDockedView(false);
    EXPECT_EQ(host.Take(), "");
    auto* const docked = new Frame(host, nullptr, "docked ");
    page.SetDockedDialog(docked);
    page.ShowDockedView(false);
    EXPECT_EQ(host.Take(), "docked window; docked reset; ");
    page.ShowDockedView(true);
    EXPECT_EQ(host.Take(), "find GalleryPage; GalleryPage E573 ; docked window; docked reset; ");
    docked->open = false;
    page.CloseDockedView();
    EXPECT_EQ(host.Take(), "");
    docked->open = true;
    page.CloseDockedView();
    EXPECT_EQ(host.Take(),
              "docked event DockedFilterClosed; docked control DockedFilterClosed=; find RoomChangedEvents; "
              "find GalleryPage; GalleryPage E576 the id; docked gone; ");
    EXPECT_EQ(page.DockedDialog(), nullptr);
    page.SetDockedDialog(new Frame(host, nullptr, "second "));
    page.SetDockedDialog(nullptr);
    EXPECT_EQ(host.Take(), "second gone; ");
}

TEST(FilterDialogFrame, StaysWholeWhateverItsHostDoes) {
    using Mood = RecordingHost::Mood;
    for (const Mood mood : {Mood::Silent, Mood::Fails, Mood::Throws}) {
        RecordingHost host, pageHost;
        host.SetMood(mood);
        Page page(host, pageHost.PageObject("page"));
        Frame free(host, nullptr);
        pageHost.SetMood(mood);
        const auto filter = MakeInvert("Inversity=050");
        for (FilterDialogFrame* frame : std::initializer_list<FilterDialogFrame*>{&page, &free}) {
            frame->Connect(filter.get());
            std::string text;
            for (const char* event : {"ButtonTop", "ButtonTopDelete", "ButtonTopDrag", "GetContexthelp", "bu_lock",
                                      "bu_lock", "ShowBubbleHelpText", "DockFilterDialog", "UpdateFilter"})
                frame->HandleEvent(event, "x", &text);
            EXPECT_FALSE(frame->IsLocked());
            frame->ApplyText();
            EXPECT_EQ(PendingText(*filter), "Inversity=070");
            EXPECT_EQ(frame->HandleEvent("Localize", "IDS_KEY", &text), 0);
            EXPECT_EQ(text, mood == Mood::Silent ? "Text" : "IDS_KEY");
            EXPECT_EQ(frame->HandleEvent(nullptr), 0);
        }
    }
    FilterDialogFrame alone;
    EXPECT_EQ(alone.HandleEvent("bu_lock"), 0);
    EXPECT_TRUE(alone.IsLocked());
    alone.ApplyText();
    alone.DockClicked();
    EXPECT_EQ(alone.GetLocalized("IDS_KEY"), "IDS_KEY");
    RecordingHost wordy;
    wordy.localized = std::string(1022, 'a') + "\xC3\xA4";
    EXPECT_EQ(FilterDialogFrame(&wordy).GetLocalized("k"), std::string(1022, 'a'));
}

TEST(LocalHost, GivesShippedTextsAndPassesMessagesOn) {
    std::string seen;
    LocalHost host(Language::German, [&](const char* page, HostMessage message, const char* text) {
        seen += std::string(page) + std::to_string(static_cast<unsigned>(message)) + text + ";";
    });
    FilterDialogFrame frame(&host);
    EXPECT_EQ(frame.GetLocalized("COMMON_CANCEL"), "Abbrechen");
    host.SetLanguage(Language::English);
    EXPECT_EQ(frame.GetLocalized("COMMON_CANCEL"), "Cancel");
    EXPECT_EQ(frame.GetLocalized("IDS_NO_SUCH"), "IDS_NO_SUCH");
    frame.ParameterChanged();
    EXPECT_EQ(host.OpenContextHelp("HLP_X"), S_OK);
    EXPECT_EQ(seen, "GalleryPage58738FilterId=\"\";\r\n;ToolBarNotifications57953HLP_X;");
    for (const char* missing : {"ProcessFilterHistoryPage", "ToolBarNotifications"})
        EXPECT_LT(host.FindPage(missing), 0);
}

TEST(GradCurvesPage, IsThatOfTheBuiltInStorage) {
    EXPECT_NE(GradCurvesPage().page.find("Page(\"GradCurvesDialogPage\")"), std::string::npos);
    EXPECT_NE(GradCurvesPage().sequence.find("Sequence(\"GradCurvesDialogPage\")"), std::string::npos);
}

}  // namespace
}  // namespace kestrel
