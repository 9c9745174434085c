#pragma once
#include <cstdint>
#include <string>

#include "kestrel/foundation/Result.h"

namespace kestrel {

/// Pages of a host that dialogs know by name. Any of them may be missing.
namespace host_page {
inline constexpr const char* kDispatcher = "TM_FilterDialog_Dispatcher";
inline constexpr const char* kGallery = "GalleryPage";
inline constexpr const char* kToolBar = "ToolBarNotifications";
inline constexpr const char* kFilterHistory = "ProcessFilterHistoryPage";
inline constexpr const char* kRoomChanges = "RoomChangedEvents";
}  // namespace host_page

/// Buttons of a dialog that a page draws.
namespace page_state {
inline constexpr const char* kLock = "ButtonLock";
inline constexpr const char* kCopy = "ButtonTop";
}  // namespace page_state

/// Messages to the pages of a host. Where nothing is said the text is empty.
enum class HostMessage : std::uint32_t {
    BubbleHelpText = 0xE011,      ///< the text of a bubble
    ShowBubbleHelp = 0xE012,      ///< likewise
    HideBubbleHelp = 0xE013,      ///< likewise
    ContextHelp = 0xE261,         ///< the key of a help topic
    ParameterChanged = 0xE572,    ///< the text of a `Parameter` with the tag FilterId
    DockDialog = 0xE573,          ///< the text of a `Parameter` that may hold PosX and PosY
    UndockDialog = 0xE574,        ///< the value that came with the event
    DockedDialogClosed = 0xE576,  ///< the filter's identity
    UpdateDockedDialog = 0xE577,  ///< the filter's identity
    ApplyChange = 0xEA07,         ///< the filter's identity
    BeginUpdate = 0xEA15,
    EndUpdate = 0xEA16,
    DeleteFilter = 0xEA21,  ///< the filter's identity
    BeginDrag = 0xEA31,
    EndDrag = 0xEA32,
    FilterDeleted = 0xEA39,
};

/// A page of a host: takes messages by number and shows the state of buttons.
struct IHostPage {
    /// `text` ends with a zero byte and is the caller's. `*result` is 0 before the call and what the page answers after
    /// it. Negative: the message was not taken.
    virtual HRESULT SendMessage(HostMessage message, const char* text, std::int32_t* result) = 0;
    /// Sets a named state of the page, such as that of a button.
    virtual HRESULT SetState(const char* name, bool on) = 0;

protected:
    ~IHostPage() = default;
};

/// The program around a dialog, with its pages. All calls come on the thread of the user interface. A host may answer
/// nothing, fail or throw: a dialog goes on without it. It outlives the dialogs that were made with it and ends none of
/// them below a call of theirs.
struct IDialogHost {
    /// Is there a page of this name? A host may make it here. Negative: none.
    virtual HRESULT FindPage(const char* name) = 0;
    /// The page that was found; null when it has gone. It lives as long as the host.
    virtual IHostPage* PageObject(const char* name) = 0;
    /// The text of a key (UTF-8) in the user's language; negative for an unknown key.
    virtual HRESULT Localize(const char* key, std::string* text) = 0;
    /// Shows a help topic.
    virtual HRESULT OpenContextHelp(const char* helpKey) = 0;

protected:
    ~IDialogHost() = default;
};

}  // namespace kestrel
