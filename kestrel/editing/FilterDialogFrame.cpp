#include "kestrel/editing/FilterDialogFrame.h"

#include <cstdio>
#include <utility>

#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "kestrel/editing/DataTransfer.h"
#include "kestrel/editing/DataXferObj.h"
#include "kestrel/framework/HostServices.h"

namespace kestrel {
namespace {

constexpr const char* kDockKey = "IDS_COMMON_DOCK";
constexpr const char* kDockEvent = "DockFilterDialog";
constexpr const char* kUpdateEvent = "UpdateFilter";
constexpr int kLongestProgId = 200;  // bytes with the terminator

/// A call of the host's code, which may fail or throw; neither goes any further than to developers.
template <class Call>
bool Ask(const char* what, const Call& call) noexcept {
    try {
        if (call() >= 0) return true;
        TMDebugMonitor("FilterDialogFrame", "The host refused: %s\n", what);
    } catch (...) {
        TMDebugMonitor("FilterDialogFrame", "The host threw: %s\n", what);
    }
    return false;
}

IHostPage* FindPageOf(IDialogHost* host, const char* name) {
    IHostPage* page = nullptr;
    if (host)
        Ask(name, [&] {
            const HRESULT found = host->FindPage(name);
            if (found >= 0) page = host->PageObject(name);
            return found;
        });
    return page;
}

/// The pending text: it is what the dialog wrote last, while the active one follows only with the next picture.
std::string TextOf(IFilterParameters& filter) {
    char buffer[FilterDialogFrame::kTextSize] = "";
    return filter.GetParameterTextForSave(buffer, FilterDialogFrame::kTextSize) >= 0 ? buffer : "";
}

}  // namespace

const std::array<FilterDialogFrame::Event, 14> FilterDialogFrame::kEvents = {{
    {"TimerCallback", &FilterDialogFrame::TimerCallback},
    {"Localize", &FilterDialogFrame::Localize},
    {"GetContexthelp", &FilterDialogFrame::GetContexthelp},
    {"bu_lock", &FilterDialogFrame::Lock},
    {"CheckDragDrop", &FilterDialogFrame::CheckDragDrop},
    {"ButtonTop", &FilterDialogFrame::Copy},
    {"ButtonTopCopyEnabled", &FilterDialogFrame::CopyEnabled},
    {"ButtonTopDelete", &FilterDialogFrame::Delete},
    {"LockUnlocked", &FilterDialogFrame::Unlocked},
    {"ButtonTopDrag", &FilterDialogFrame::Drag},
    {"GenerateBubbleHelpText", &FilterDialogFrame::BubbleHelpText},
    {"ShowBubbleHelpText", &FilterDialogFrame::ShowBubbleHelp},
    {"HideBubbleHelpText", &FilterDialogFrame::HideBubbleHelp},
    {"ButtonClose", &FilterDialogFrame::CloseButton},
}};

FilterDialogFrame::FilterDialogFrame(IDialogHost* host, IHostPage* page)
    : host_(host), page_(page), dispatcher_(FindPageOf(host, host_page::kDispatcher)) {}

FilterDialogFrame::~FilterDialogFrame() = default;

// ---- filters -------------------------------------------------------------------------------------------------------

int FilterDialogFrame::Connect(IUnknown* filter) {
    Disconnect();
    object_ = Ref<IFilterObject>::Query(filter);
    pixels_ = Ref<IFilterPixels>::Query(filter);
    const int result = AddFilter(filter);
    return object_ && pixels_ ? result : -1;
}

int FilterDialogFrame::AddFilter(IUnknown* filter) {
    Ref<IFilterParameters> parameters = Ref<IFilterParameters>::Query(filter);
    if (!parameters) return -1;
    filters_.push_back(std::move(parameters));
    return 0;
}

void FilterDialogFrame::Disconnect() {
    filters_.clear();
    object_ = nullptr;
    pixels_ = nullptr;
}

std::string FilterDialogFrame::ProgID() const {
    char name[kLongestProgId] = "";
    if (object_) object_->GetProgID(name, kLongestProgId);
    return *name ? name : static_cast<const char*>(filterId_);
}

FilterDialogFrame::Texts FilterDialogFrame::ReadParameterText(std::string* text) {
    Texts texts = Texts::None;
    std::string first;
    for (const auto& filter : filters_) {
        std::string own = TextOf(*filter);
        if (own.empty()) continue;
        if (texts == Texts::None) {
            first = std::move(own);
            texts = Texts::Alike;
        } else if (own != first) {
            texts = Texts::Differ;
            break;
        }
    }
    if (locked_)
        texts = Texts::None;
    else
        text_ = std::move(first);
    if (text) *text = text_;
    return texts;
}

HRESULT FilterDialogFrame::WriteParameterText(const std::string& text) {
    HRESULT result = S_OK;
    for (const auto& filter : filters_) {
        const HRESULT written = filter->SetParameterText(text.c_str(), 1);
        if (result >= 0) result = written;
    }
    return result;
}

std::string FilterDialogFrame::DialogText() {
    char buffer[kTextSize] = "";
    WriteText(buffer, kTextSize);
    return buffer;
}

std::string FilterDialogFrame::TextToCopy() {
    std::string text;
    ReadParameterText(&text);
    return text;
}

// ---- what the dialog tells -----------------------------------------------------------------------------------------

void FilterDialogFrame::ApplyText() {
    WriteParameterText(DialogText());
    pending_ = true;
    ParameterChanged();
    Notify(kUpdateEvent, nullptr);
}

void FilterDialogFrame::ParameterChanged(Parameter parameter) {
    parameter.Set("FilterId", DialogText().c_str());
    Send(FindPage(host_page::kGallery), HostMessage::ParameterChanged, parameter);
}

void FilterDialogFrame::DockClicked() {
    const Place place = TopLeft();
    Parameter parameter;
    parameter.Set("PosX", place.x);
    parameter.Set("PosY", place.y);
    // The filter keeps the place for the next dialog of its own, and its upstream end gets the event.
    if (!filters_.empty()) filters_.front()->SetExtraParameter(kDockEvent, parameter);
    QvString text = parameter;
    FilterEvent event{static_cast<std::int32_t>(HostMessage::DockDialog), text.GetBuffer(0)};
    if (pixels_) Ask(kDockEvent, [&] { return pixels_->SendEvent(&event); });
    text.ReleaseBuffer();
}

void FilterDialogFrame::FilterUpdated() { RefreshCopyButton(); }

bool FilterDialogFrame::Notify(std::string_view name, const char*) {
    if (name != kUpdateEvent) return false;
    Send(dispatcher_, HostMessage::BeginUpdate);
    Send(dispatcher_, HostMessage::EndUpdate);
    return true;
}

void FilterDialogFrame::Send(IHostPage* page, HostMessage message, const char* text) {
    if (!page) return;
    std::int32_t result = 0;
    char what[16];
    std::snprintf(what, sizeof what, "0x%04X", static_cast<unsigned>(message));
    Ask(what, [&] { return page->SendMessage(message, text, &result); });
}

IHostPage* FilterDialogFrame::FindPage(const char* name) const { return FindPageOf(host_, name); }

void FilterDialogFrame::SetPageState(IHostPage* page, const char* name, bool on) const {
    if (page) Ask(name, [&] { return page->SetState(name, on); });
}

std::string FilterDialogFrame::GetLocalized(const char* key) const {
    std::string text;
    if (!host_ || !Ask(key, [&] { return host_->Localize(key, &text); })) return key;
    if (text.size() > kLongestLocalized) {
        std::size_t end = kLongestLocalized;  // at the start of a character
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
        text.resize(end);
    }
    return text;
}

// ---- events --------------------------------------------------------------------------------------------------------

int FilterDialogFrame::HandleEvent(const char* name, const char* value, std::string* answer) {
    name = NotNull(name);
    value = NotNull(value);
    std::string ignored;
    for (const Event& event : kEvents)
        if (event.name == name) return (this->*event.handler)(value, answer ? *answer : ignored);
    if (Notify(name, value)) return 0;
    OnEvent(name);
    OnControlEvent(name, value);
    return 0;
}

int FilterDialogFrame::TimerCallback(const char*, std::string&) {
    OnEvent("TimerCallback");
    return -1;
}

int FilterDialogFrame::Localize(const char* value, std::string& answer) {
    answer = GetLocalized(value);
    return 0;
}

int FilterDialogFrame::GetContexthelp(const char* value, std::string& answer) {
    answer = *value ? value : static_cast<const char*>(helpKey_);
    if (!answer.empty()) Send(FindPage(host_page::kToolBar), HostMessage::ContextHelp, answer.c_str());
    return 0;
}

int FilterDialogFrame::Lock(const char*, std::string&) {
    const bool locked = page_ ? IsDataLocked() : !locked_;
    if (locked) text_ = DialogText();
    locked_ = locked;
    if (!page_) {
        SetDataLocked(locked);
        SetPageState(dispatcher_, page_state::kLock, locked);
    }
    if (!locked) Reset();
    return 0;
}

int FilterDialogFrame::CheckDragDrop(const char*, std::string&) {
    OnEvent("CheckDragDrop");
    return -2;
}

int FilterDialogFrame::Copy(const char*, std::string&) {
    Send(dispatcher_, HostMessage::BeginUpdate);
    if (std::exchange(pending_, false)) Send(dispatcher_, HostMessage::ApplyChange, filterId_);
    RefreshValues();
    RefreshButtons();
    Send(dispatcher_, HostMessage::EndUpdate);
    return 0;
}

int FilterDialogFrame::CopyEnabled(const char*, std::string& answer) {
    answer.assign(1, TextToCopy().empty() ? '0' : '1');
    return 1;
}

int FilterDialogFrame::Delete(const char*, std::string&) {
    Send(dispatcher_, HostMessage::BeginUpdate);
    Send(dispatcher_, HostMessage::DeleteFilter, filterId_);
    Send(dispatcher_, HostMessage::FilterDeleted);
    Send(dispatcher_, HostMessage::EndUpdate);
    Reset();
    Close();
    return 1;
}

int FilterDialogFrame::Unlocked(const char*, std::string& answer) {
    answer.assign(1, locked_ ? '0' : '1');
    return 1;
}

int FilterDialogFrame::Drag(const char*, std::string&) {
    if (page_) ReleaseMouse();
    const Ref<CDataXferObj> data(new CDataXferObj);
    const std::string progId = ProgID();
    HRESULT put = PutFilter(data.get(), progId.c_str());
    if (put >= 0) put = PutDialog(data.get(), progId.c_str());
    if (put >= 0) put = PutParameter(data.get(), TextToCopy().c_str());
    if (put < 0) return 0;

    IHostPage* const history = FindPage(host_page::kFilterHistory);
    Send(history, HostMessage::BeginDrag);
    std::uint32_t effect = kDropNone;
    const HRESULT dropped = DoDragDrop(data.get(), kDropCopy | kDropMove, &effect);
    if (dropped == DRAGDROP_S_DROP && effect == kDropMove) {
        Reset();
        Close();
    }
    Send(history, HostMessage::EndDrag);
    return 0;
}

int FilterDialogFrame::BubbleHelpText(const char* value, std::string&) {
    Send(FindPage(host_page::kGallery), HostMessage::BubbleHelpText, value);
    return 0;
}

int FilterDialogFrame::ShowBubbleHelp(const char* value, std::string&) {
    Send(FindPage(host_page::kGallery), HostMessage::ShowBubbleHelp, value);
    return 0;
}

int FilterDialogFrame::HideBubbleHelp(const char* value, std::string&) {
    Send(FindPage(host_page::kGallery), HostMessage::HideBubbleHelp, value);
    return 0;
}

int FilterDialogFrame::CloseButton(const char*, std::string&) {
    OnEvent("ButtonClose");
    return 0;
}

void FilterDialogFrame::InitializeFreeDialog() {
    AddSystemButtons(kDockKey);
    std::string text;
    ReadParameterText(&text);
    if (!text.empty()) SetFilterID(text.c_str());
    char kept[kTextSize] = "";
    if (filters_.empty() || filters_.front()->GetExtraParameter(kDockEvent, kept, kTextSize) < 0) return;
    const Parameter given(kept);
    Place place;
    if (given.Get("PosX", place.x) && given.Get("PosY", place.y)) MoveTo(place);
}

void FilterDialogFrame::RefreshCopyButton() {
    if (owner_) {
        SetCopyButton(false);
        return;
    }
    std::string text;
    const Texts texts = ReadParameterText(&text);
    if (texts != Texts::None) ShowText(text.c_str());
    SetCopyButton(texts != Texts::Alike);
}

void FilterDialogFrame::SetCopyButton(bool on) {
    copyPressed_ = on;
    if (page_)
        SetPageState(page_, page_state::kCopy, on);
    else
        SetCopyButtonPressed(on);
}

// ---- hooks ---------------------------------------------------------------------------------------------------------

void FilterDialogFrame::OnEvent(const char*) {}
void FilterDialogFrame::OnControlEvent(const char*, const char*) {}
void FilterDialogFrame::Reset() {}
void FilterDialogFrame::WriteText(char*, int) {}
void FilterDialogFrame::Close() {}
void FilterDialogFrame::RefreshValues() {
    if (!locked_) Reset();
}
void FilterDialogFrame::RefreshButtons() { RefreshCopyButton(); }
void FilterDialogFrame::ShowText(const char*) {}
void FilterDialogFrame::SetDataLocked(bool) {}
void FilterDialogFrame::SetCopyButtonPressed(bool) {}
void FilterDialogFrame::AddSystemButtons(const char*) {}
void FilterDialogFrame::MoveTo(Place) {}
void FilterDialogFrame::ReleaseMouse() {}
void FilterDialogFrame::ShowWindow() {}
HRESULT FilterDialogFrame::DoDragDrop(IDataObject*, std::uint32_t, std::uint32_t*) { return DRAGDROP_S_CANCEL; }

// ---- page ----------------------------------------------------------------------------------------------------------

FilterDialogPage::~FilterDialogPage() { SetDockedDialog(nullptr); }

void FilterDialogPage::SetDockedDialog(FilterDialogFrame* dialog) {
    if (FilterDialogFrame* const old = std::exchange(docked_, dialog); old && old != dialog) old->DestroyAndDelete();
}

void FilterDialogPage::ShowDockedView(bool dock) {
    if (dock) Notify(kDockEvent, "");
    if (!docked_) return;
    docked_->ShowWindow();
    docked_->Reset();
}

void FilterDialogPage::CloseDockedView() {
    if (!docked_ || !docked_->IsOpen()) return;
    docked_->HandleEvent("DockedFilterClosed");
    FilterDialogFrame* const dialog = std::exchange(docked_, nullptr);
    FindPage(host_page::kRoomChanges);  // a host may make its page here
    Send(FindPage(host_page::kGallery), HostMessage::DockedDialogClosed, GetFilterID());
    dialog->DestroyAndDelete();
}

bool FilterDialogPage::Notify(std::string_view name, const char* value) {
    const struct {
        std::string_view name;
        HostMessage message;
        const char* text;
    } sent[] = {{kDockEvent, HostMessage::DockDialog, NotNull(value)},
                {"UndockFilterDialog", HostMessage::UndockDialog, NotNull(value)},
                {"UpdateDockedFilterDialog", HostMessage::UpdateDockedDialog, GetFilterID()},
                {"DockedFilterClosed", HostMessage::DockedDialogClosed, GetFilterID()}};
    for (const auto& event : sent)
        if (event.name == name) {
            Send(FindPage(host_page::kGallery), event.message, event.text);
            return true;
        }
    return FilterDialogFrame::Notify(name, value);
}

}  // namespace kestrel
