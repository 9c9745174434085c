#pragma once
#include "kestrel/editing/IDialogHost.h"
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

class CFilterDialog;

/// What a host in the same toolkit does with the object that a filter's `CreateDialog` makes. Thread of the user
/// interface only.
struct IFilterDialogWindow : IUnknown {
    static constexpr GUID kIid = MakeGuid("{B1B7E7B4-6D0C-4C5B-9E61-3F2A8D0C7A15}");

    /// The program around the dialog and the page that its buttons are on; both may be null and outlive the dialog.
    /// `E_FAIL` once the dialog is made.
    virtual HRESULT SetHost(IDialogHost* host, IHostPage* page) = 0;
    /// Lets the dialog stand for a filter, in place of the one of its own, or for one more. `E_FAIL` for an object that
    /// lacks an interface which the dialog needs.
    virtual HRESULT AddFilter(IUnknown* filter) = 0;
    /// The dialog, made at the first call; null where there is no application object or on another thread. It belongs
    /// to this object until it is opened, by whatever means, and deletes itself once it is closed.
    virtual CFilterDialog* Window() = 0;

protected:
    ~IFilterDialogWindow() = default;
};

}  // namespace kestrel
