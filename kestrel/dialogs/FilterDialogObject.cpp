#include "kestrel/dialogs/FilterDialogObject.h"

#include <QApplication>
#include <QThread>

#include "kestrel/dialogs/FilterDialogs.h"
#include "kestrel/dialogs/FilterPanels.h"
#include "kestrel/framework/DialogFactory.h"

namespace kestrel {
namespace {

bool OnInterfaceThread() {
    const auto* const application = qobject_cast<QApplication*>(QCoreApplication::instance());
    return application && application->thread() == QThread::currentThread();
}

/// May be called before there is an application; the window is made when it is asked for.
HRESULT MakeDialogObject(const char* progId, const GUID& iid, void** object) {
    *object = nullptr;
    const ClassRow* const filter = progId ? FindClass(std::string_view(progId)) : nullptr;
    if (!filter || !filter->IsFilter()) return E_NOINTERFACE;
    const Ref<FilterDialogObject> dialog(new FilterDialogObject(*filter));
    return dialog->QueryInterface(iid, object);
}

/// Loading the library is enough to give the filters their dialogs, and unloading it takes them away.
struct Registration {
    Registration() { RegisterDialogs(); }
    ~Registration() {
        if (GetDialogFactory() == &MakeDialogObject) SetDialogFactory(nullptr);
    }
} const registration;

}  // namespace

void RegisterDialogs() { SetDialogFactory(&MakeDialogObject); }

std::unique_ptr<CFilterDialog> MakeFilterDialog(const std::string& progId, IDialogHost* host, IHostPage* page,
                                                QWidget* parent) {
    const ClassRow* const filter = FindClass(std::string_view(progId));
    if (!filter || !filter->IsFilter()) return nullptr;
    auto panel = MakeFilterPanel(progId, nullptr);
    if (!panel) return nullptr;
    return std::make_unique<CFilterDialog>(*filter->description, std::move(panel), host, page, parent);
}

FilterDialogObject::~FilterDialogObject() {
    if (dialog_ && !dialog_->IsOpen() && !dialog_->IsClosed()) dialog_->deleteLater();
}

CFilterDialog* FilterDialogObject::Window() {
    if (made_ || !OnInterfaceThread()) return dialog_;
    dialog_ = MakeFilterDialog(filter_.description->progId, host_, page_).release();
    made_ = dialog_;
    if (dialog_) dialog_->AllowSelfDelete();
    return dialog_;
}

HRESULT FilterDialogObject::Open(void* owner, int* result) {
    if (result) *result = 0;
    CFilterDialog* const dialog = Window();
    if (!dialog) return E_FAIL;
    if (dialog->IsOpen()) {
        dialog->raise();
        dialog->activateWindow();
        return S_OK;
    }
    if (owner) dialog->setParent(static_cast<QWidget*>(owner), dialog->windowFlags());
    dialog->CreateModeless();
    return S_OK;
}

HRESULT FilterDialogObject::SetHost(IDialogHost* host, IHostPage* page) {
    if (made_) return E_FAIL;
    host_ = host;
    page_ = page;
    return S_OK;
}

HRESULT FilterDialogObject::AddFilter(IUnknown* filter) {
    CFilterDialog* const dialog = Window();
    if (!dialog) return E_FAIL;
    const bool first = !std::exchange(replaced_, true);
    return (first ? dialog->Connect(filter) : dialog->AddFilter(filter)) < 0 ? E_FAIL : S_OK;
}

}  // namespace kestrel
