#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/editing/IDataObject.h"
#include "kestrel/editing/IDialogHost.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/parameters/Parameter.h"

namespace kestrel {

/// What ties a dialog to its filters and to the program around it, without a toolkit: it answers named events, holds
/// the lock and the copy button, reads and writes the filters' texts, and tells the host by messages. A dialog derives
/// from it and makes the hooks.
///
/// A frame without a page is a free dialog; with one, its buttons are on the host's page. A missing host or page gets
/// no message and changes nothing else. Thread of the user interface only.
class KESTREL_API FilterDialogFrame {
public:
    /// Bytes that hold a parameter text with its terminator; filters are asked for no longer one.
    static constexpr int kTextSize = 0x400;
    /// A text from the host is cut to this number of bytes.
    static constexpr std::size_t kLongestLocalized = 1023;

    /// How the walk over the filters' texts ended.
    enum class Texts {
        None,   ///< no filter gave a text, or the dialog is locked
        Alike,  ///< all gave the same
        Differ  ///< at least two differ
    };

    /// Both may be null and outlive the frame. `page` is the page that the dialog's buttons are on.
    explicit FilterDialogFrame(IDialogHost* host = nullptr, IHostPage* page = nullptr);
    virtual ~FilterDialogFrame();
    FilterDialogFrame(const FilterDialogFrame&) = delete;
    FilterDialogFrame& operator=(const FilterDialogFrame&) = delete;

    // ---- filters

    /// Makes the object the frame's filter, in place of all others, and keeps its interfaces `IFilterObject`,
    /// `IFilterParameters` and `IFilterPixels`. -1 when one of them is missing; the others are kept all the same.
    int Connect(IUnknown* filter);
    /// Lets the frame stand for one filter more. -1, and nothing is added, for an object without `IFilterParameters`.
    int AddFilter(IUnknown* filter);
    /// Forgets all filters.
    void Disconnect();
    std::size_t FilterCount() const { return filters_.size(); }
    /// The filter that the frame was connected with; null without one.
    IFilterObject* Filter() const { return object_.get(); }
    /// The ProgID of that filter; without one the filter's identity.
    std::string ProgID() const;

    /// What the host knows the filter by.
    const QvString& GetFilterID() const { return filterId_; }
    virtual void SetFilterID(const char* id) { filterId_ = id; }
    const QvString& GetHelp() const { return helpKey_; }
    virtual void SetHelp(const char* key) { helpKey_ = key; }

    /// Walks the filters up to the first whose pending text differs, and keeps the text before it, which is returned in
    /// `text`. A locked dialog keeps the text of its lock.
    Texts ReadParameterText(std::string* text);
    /// Gives every filter a text; the first result that failed.
    HRESULT WriteParameterText(const std::string& text);

    // ---- what the dialog tells

    /// The user has changed a value: gives the dialog's text to the filters and tells the host.
    void ApplyText();
    /// Tells the host the dialog's text under the tag FilterId, with the tags that the caller gives.
    void ParameterChanged(Parameter parameter = {});
    /// The dock button of a free dialog: sends its place to the filter.
    void DockClicked();
    /// The filter or the choice of filters has changed outside: the dialog follows unless it is locked.
    void FilterUpdated();

    // ---- events

    /// Answers an event by its exact name. `value` comes with the event, `answer` takes a text for the caller; both may
    /// be null. The result is that of the table of events: 1 says that `answer` is "0" or "1" or that the event is
    /// done, -1 and -2 that the caller goes on by itself.
    int HandleEvent(const char* name, const char* value = nullptr, std::string* answer = nullptr);
    /// A free dialog is ready to be shown: adds its buttons, takes the filter's identity from its text, and goes to the
    /// place that the filter keeps, if any.
    void InitializeFreeDialog();
    /// The copy button follows the filters' texts, and so do the controls.
    void RefreshCopyButton();

    /// A text in the user's language (UTF-8); the key itself without a host that knows it.
    std::string GetLocalized(const char* key) const;

    // ---- state

    bool IsLocked() const { return locked_; }
    bool IsCopyPressed() const { return copyPressed_; }
    bool IsOnPage() const { return page_ != nullptr; }
    /// A change of the dialog's that the copy button has not sent on yet.
    bool IsChangePending() const { return pending_; }
    /// With an owner of its own the dialog's copy button stays off.
    void SetOwner(FilterDialogFrame* owner) { owner_ = owner; }

    // ---- hooks

    /// An event has arrived.
    virtual void OnEvent(const char* name);
    /// An event that the frame has no rule for, with its value.
    virtual void OnControlEvent(const char* name, const char* value);
    /// Shows the values of the filter again.
    virtual void Reset();
    /// Writes what the controls show, in the dialog form of the filter's text, with its terminator.
    virtual void WriteText(char* buffer, int size);
    /// Closes the dialog. The frame may not be deleted before the event that caused it has returned.
    virtual void Close();

    /// What the copy button refreshes: the dialog's values, unless it is locked, and the button itself.
    virtual void RefreshValues();
    virtual void RefreshButtons();
    /// Shows a text in the controls.
    virtual void ShowText(const char* text);

    // What the dialog's window does, by the means of its toolkit.
    /// The state of the lock button, which a dialog on a page keeps itself.
    virtual bool IsDataLocked() const { return locked_; }
    virtual void SetDataLocked(bool locked);
    virtual void SetCopyButtonPressed(bool pressed);
    /// Adds the buttons for copy, lock and dock, the last with the text of this key.
    virtual void AddSystemButtons(const char* dockKey);
    struct Place {
        int x = 0, y = 0;
    };
    virtual Place TopLeft() const { return {}; }
    /// Neither the size nor the order of windows changes.
    virtual void MoveTo(Place place);
    virtual void ReleaseMouse();
    virtual void ShowWindow();
    virtual bool IsOpen() const { return true; }
    /// Ends the window and the object, now or when the user interface is idle.
    virtual void DestroyAndDelete() { delete this; }
    /// Drags the data until the user drops it; `effect` is one of `effects`. Without a toolkit: `DRAGDROP_S_CANCEL`.
    virtual HRESULT DoDragDrop(IDataObject* data, std::uint32_t effects, std::uint32_t* effect);

protected:
    /// Tells the host an event of the dialog's own. True when the name is one that the frame sends.
    virtual bool Notify(std::string_view name, const char* value);
    IHostPage* FindPage(const char* name) const;
    /// Sends a message; a page that fails or throws is left to itself.
    static void Send(IHostPage* page, HostMessage message, const char* text = "");

private:
    using Handler = int (FilterDialogFrame::*)(const char* value, std::string& answer);
    struct Event {
        std::string_view name;
        Handler handler;
    };
    static const std::array<Event, 14> kEvents;

    int TimerCallback(const char* value, std::string& answer);
    int Localize(const char* value, std::string& answer);
    int GetContexthelp(const char* value, std::string& answer);
    int Lock(const char* value, std::string& answer);
    int CheckDragDrop(const char* value, std::string& answer);
    int Copy(const char* value, std::string& answer);
    int CopyEnabled(const char* value, std::string& answer);
    int Delete(const char* value, std::string& answer);
    int Unlocked(const char* value, std::string& answer);
    int Drag(const char* value, std::string& answer);
    int BubbleHelpText(const char* value, std::string& answer);
    int ShowBubbleHelp(const char* value, std::string& answer);
    int HideBubbleHelp(const char* value, std::string& answer);
    int CloseButton(const char* value, std::string& answer);

    /// What the controls show.
    std::string DialogText();
    /// The text that is dragged or copied: that of the lock, or else the filters'.
    std::string TextToCopy();
    void SetPageState(IHostPage* page, const char* name, bool on) const;
    void SetCopyButton(bool on);

    IDialogHost* const host_;
    IHostPage* const page_;
    IHostPage* const dispatcher_;
    FilterDialogFrame* owner_ = nullptr;
    QvString filterId_;
    QvString helpKey_;
    bool locked_ = false;
    bool copyPressed_ = false;
    bool pending_ = false;
    std::string text_;  ///< shorter than `kTextSize`: the walk's, or that of the lock
    Ref<IFilterObject> object_;
    Ref<IFilterPixels> pixels_;
    std::vector<Ref<IFilterParameters>> filters_;  ///< the connected one first
};

/// The frame of a dialog that lives on a host's page: tells the page `GalleryPage` of docking, and holds the dialog
/// that is docked there.
class KESTREL_API FilterDialogPage : public FilterDialogFrame {
public:
    using FilterDialogFrame::FilterDialogFrame;
    ~FilterDialogPage() override;

    /// Takes a docked dialog over, in place of the one before.
    void SetDockedDialog(FilterDialogFrame* dialog);
    FilterDialogFrame* DockedDialog() const { return docked_; }
    /// Shows the docked dialog; `dock` asks the host to dock it first.
    void ShowDockedView(bool dock);
    /// Ends the docked dialog, when it is still open.
    void CloseDockedView();

protected:
    bool Notify(std::string_view name, const char* value) override;

private:
    FilterDialogFrame* docked_ = nullptr;
};

}  // namespace kestrel
