// The dialogs that are open, and when the closed ones may go.
#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QThread>
#include <algorithm>

#include "kestrel/dialogs/TMDialog.h"

namespace kestrel {

std::vector<CTMDialog*> CTMDialog::sm_lstDialogs;
int CTMDialog::sm_nIsInDialogMessage = 0;

void CTMDialog::DialogCreated(CTMDialog* dialog) {
    if (std::find(sm_lstDialogs.begin(), sm_lstDialogs.end(), dialog) == sm_lstDialogs.end())
        sm_lstDialogs.push_back(dialog);
}

void CTMDialog::DialogDestroyed(CTMDialog* dialog) { std::erase(sm_lstDialogs, dialog); }

bool CTMDialog::IsDialogOpen(int id) { return FindDialog(id) != nullptr; }

bool CTMDialog::IsDialogOpen(const CTMDialog* dialog) {
    return std::any_of(sm_lstDialogs.begin(), sm_lstDialogs.end(),
                       [dialog](const CTMDialog* listed) { return listed == dialog && listed->HasWindow(); });
}

CTMDialog* CTMDialog::FindDialog(int id, const CTMDialog* after) {
    auto from = sm_lstDialogs.begin();
    if (after) {
        from = std::find(from, sm_lstDialogs.end(), after);
        if (from != sm_lstDialogs.end()) ++from;
    }
    const auto found = std::find_if(from, sm_lstDialogs.end(),
                                    [id](const CTMDialog* dialog) { return dialog->id_ == id && dialog->HasWindow(); });
    return found == sm_lstDialogs.end() ? nullptr : *found;
}

void CTMDialog::CleanDestroyedDialogs() {
    for (;;) {  // the end of one dialog may be that of others
        const auto found = std::find_if(sm_lstDialogs.begin(), sm_lstDialogs.end(),
                                        [](const CTMDialog* dialog) { return dialog->cleanOnDestroy_; });
        if (found == sm_lstDialogs.end()) return;
        CTMDialog* const dialog = *found;
        DialogDestroyed(dialog);
        delete dialog;
    }
}

/// A handler of the dialog may still run below an event loop that was started after the dialog was made.
bool CTMDialog::MayBeDeletedNow() const { return QThread::currentThread()->loopLevel() <= std::max(loopLevel_, 1); }

void CTMDialog::DeleteClosedDialogs() {
    if (sm_nIsInDialogMessage != 0) return;
    std::vector<CTMDialog*> closed, held;
    for (CTMDialog* const dialog : sm_lstDialogs)
        if (dialog->closed_ && dialog->selfDelete_) (dialog->MayBeDeletedNow() ? closed : held).push_back(dialog);
    for (CTMDialog* const dialog : closed) {
        DialogDestroyed(dialog);
        dialog->deleteLater();  // the caller may be a handler of one of its controls
    }
    // Once the inner loop has ended, the outer one comes to wait for events, with no handler below it.
    static QMetaObject::Connection retry;
    QObject::disconnect(retry);
    auto* const dispatcher = QAbstractEventDispatcher::instance();
    if (!held.empty() && dispatcher)
        retry = QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &CTMDialog::DeleteClosedDialogs);
}

void CTMDialog::RequestDeletion() {
    if (QCoreApplication* const application = QCoreApplication::instance())
        QMetaObject::invokeMethod(application, &CTMDialog::DeleteClosedDialogs, Qt::QueuedConnection);
}

CTMDialog::MessageScope::~MessageScope() {
    if (--sm_nIsInDialogMessage != 0) return;
    const bool waiting = std::any_of(sm_lstDialogs.begin(), sm_lstDialogs.end(),
                                     [](const CTMDialog* dialog) { return dialog->closed_ && dialog->selfDelete_; });
    if (waiting) RequestDeletion();
}

}  // namespace kestrel
