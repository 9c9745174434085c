#pragma once
#include <QPointer>
#include <string>

#include "kestrel/dialogs/FilterDialog.h"
#include "kestrel/dialogs/IFilterDialogWindow.h"
#include "kestrel/foundation/Counted.h"
#include "kestrel/framework/IFilterDialog.h"
#include "kestrel/framework/Module.h"
#include "kestrel/server/ClassTable.h"

namespace kestrel {

/// What a filter's `CreateDialog` makes: its dialog as a counted object. Not installed.
class FilterDialogObject final : public ModuleObject, public Counted<IFilterDialog, IFilterDialogWindow> {
public:
    explicit FilterDialogObject(const ClassRow& filter) : filter_(filter) {}

    HRESULT Open(void* owner, int* result) override;
    HRESULT SetHost(IDialogHost* host, IHostPage* page) override;
    HRESULT AddFilter(IUnknown* filter) override;
    CFilterDialog* Window() override;

private:
    ~FilterDialogObject() override;

    const ClassRow& filter_;
    IDialogHost* host_ = nullptr;
    IHostPage* page_ = nullptr;
    QPointer<CFilterDialog> dialog_;
    bool made_ = false;      ///< the dialog was made, and may be gone
    bool replaced_ = false;  ///< it stands for filters of the host
};

}  // namespace kestrel
