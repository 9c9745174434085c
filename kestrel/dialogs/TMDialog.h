#pragma once
#include <QByteArray>
#include <QDialog>
#include <QDialogButtonBox>
#include <QPoint>
#include <QPointer>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/dialogs/SystemButton.h"
#include "kestrel/foundation/Export.h"

class QMenu;
class QPushButton;

namespace kestrel {

class DialogHeader;
class DialogLines;
class DialogToolTips;
class DokkerControl;

/// A dialog with a head (title and system buttons), a content that derived classes fill, and OK and Cancel on its lower
/// edge. It is a window of its own or docked into a widget of the host, and knows all dialogs that are open.
///
/// User interface thread only. Texts given as keys of the shipped texts follow the language of the dialogs; any other
/// text stands as it is.
class KESTREL_API CTMDialog : public QDialog {
    Q_OBJECT
public:
    explicit CTMDialog(int id, QWidget* parent = nullptr);
    ~CTMDialog() override;

    // The dialogs that are open --------------------------------------------------------------------------------------

    /// Adds a dialog to the list unless it is in it.
    static void DialogCreated(CTMDialog* dialog);
    static void DialogDestroyed(CTMDialog* dialog);
    /// Does a listed dialog with that id have a window?
    static bool IsDialogOpen(int id);
    /// The same for an object, which may be long gone.
    static bool IsDialogOpen(const CTMDialog* dialog);
    /// The first listed dialog with that id and a window; the next one after `after`.
    static CTMDialog* FindDialog(int id, const CTMDialog* after = nullptr);
    /// Closes and deletes each listed dialog but those that have said `IgnoreDestroyOnClean`: for a host that ends.
    static void CleanDestroyedDialogs();
    /// Takes each closed dialog that may delete itself off the list; it is deleted when control is back in the event
    /// loop. Does nothing while a dialog handles an event, and leaves out dialogs below whose handlers another event
    /// loop runs. Called by itself after a dialog has closed and whenever such a reason is over.
    static void DeleteClosedDialogs();

    /// Marks that a dialog handles something, for as long as it lives: no dialog is deleted.
    class KESTREL_API MessageScope {
    public:
        MessageScope() { ++sm_nIsInDialogMessage; }
        ~MessageScope();
        MessageScope(const MessageScope&) = delete;
        MessageScope& operator=(const MessageScope&) = delete;
    };

    // Identity and state ---------------------------------------------------------------------------------------------

    int DialogId() const { return id_; }
    const std::string& GetFilterID() const { return filterId_; }
    void SetFilterID(std::string id) { filterId_ = std::move(id); }
    /// The key of the help topic; it adds the help button. Empty takes both away.
    void SetHelp(const char* key);
    const QByteArray& HelpKey() const { return helpKey_; }
    /// Key or text; title of the window and of the head.
    void SetTitle(const QString& title);

    bool IsActive() const { return active_; }
    void SetActive(bool active);
    bool IsModal() const { return modal_; }
    bool IsClosed() const { return closed_; }
    bool IsDataLocked() const { return locked_; }
    bool IsCopyPressed() const { return copyPressed_; }
    virtual bool IsDocked() const { return docked_; }
    /// The dialog is deleted by `DeleteClosedDialogs` once it is closed.
    void AllowSelfDelete(bool allow = true) { selfDelete_ = allow; }
    /// `CleanDestroyedDialogs` leaves the dialog to its owner.
    void IgnoreDestroyOnClean() { cleanOnDestroy_ = false; }

    // Opening and closing --------------------------------------------------------------------------------------------

    /// Shows the dialog and returns when it is closed: `QDialog::Accepted` or `Rejected`.
    virtual int DoModal();
    /// Makes the window, which stays open; `title` may be null. False when it is open already.
    virtual bool CreateModeless(bool show = true, bool activate = true, const char* title = nullptr);
    /// Closes it as it stands.
    virtual void CloseDialog();
    /// Closes it and takes back what it changed, where a derived class knows how. The window's own close button and
    /// Escape come here.
    virtual void CancelDialog();
    void done(int result) override;
    void accept() override { CloseDialog(); }
    void reject() override { CancelDialog(); }

    // Docking --------------------------------------------------------------------------------------------------------

    /// Makes the dialog a child of `window`, or of the docking control (the one given before, when it is null). Without
    /// either, nothing happens.
    virtual void DockView(QWidget* window, DokkerControl* dokker, bool show);
    /// Makes it the window that it was: frame, owner, size, and place, unless `to` is another one.
    virtual void UndockView(const QPoint* to);
    /// Lays the docked dialog out: it joins the layout of the widget that it is docked into, or fills it.
    virtual void ArrangeDockView();

    // System buttons -------------------------------------------------------------------------------------------------

    SystemButton* AddCopyBtn() { return AddSystemButton(SysBtnID::Copy); }
    SystemButton* AddLockBtn() { return AddSystemButton(SysBtnID::Lock); }
    SystemButton* AddDockBtn(const char* text = "IDS_COMMON_DOCK");
    SystemButton* AddSystemButton(SysBtnID id);
    /// Null when there is none.
    SystemButton* FindSystemButton(SysBtnID id) const;
    const std::vector<SystemButton*>& SystemButtons() const;
    void SetSystemButtonTooltip(SysBtnID id, const QString& text);
    /// What the context menu of the copy button offers beside copying; `OnCopyReset` does it.
    void SetCopyButtonContextMenuResetText(const QString& text) { copyResetText_ = text; }
    void ShowCopyContextMenu(QPoint screen);
    void ShowLockContextMenu(QPoint screen);

    virtual void OnDockClicked() { DockView(nullptr, nullptr, true); }
    virtual void OnUndockClicked() { UndockView(nullptr); }
    virtual void OnCopyClicked();
    virtual void OnCopyReset();
    virtual void OnLockClicked() { SetDataLocked(!locked_); }
    virtual void SetCopyButtonPressed(bool pressed);
    virtual void SetDataLocked(bool locked);
    virtual void OnMaximizeClicked();
    virtual void OnMinimizeClicked() { showMinimized(); }
    /// A docked dialog becomes a window again, a maximized one its former size.
    virtual void OnWindorizeClicked();
    /// The copy button is dragged away from its place.
    virtual void OnBeginDragCopy() {}

    // Help and texts -------------------------------------------------------------------------------------------------

    void OpenContextHelp() { OpenContextHelp(helpKey_.constData()); }
    /// Shows the topic through `WinHelp`; nothing for an empty key.
    virtual void OpenContextHelp(const char* key);
    virtual QString GetLocalized(const char* key) const;

    // Content --------------------------------------------------------------------------------------------------------

    /// Where the controls lie; derived classes give it a layout or place the controls themselves.
    QWidget* Content() const { return content_; }
    /// Makes a control a child of the content. `text` is its tooltip, and its accessible name when it has none.
    void AddChildCtrl(QWidget* control, bool show = true, const QString& text = {});
    /// The control stays alive, hidden and without a parent; the caller owns it.
    void RemoveChildCtrl(QWidget* control);

    /// Tooltips of controls or, with an `area` in the control's coordinates, of parts of them.
    void AddToolTip(QWidget* control, const QString& text, const QRect& area = {}, int number = 0,
                    int milliseconds = -1);
    void SetToolTipText(QWidget* control, const QString& text, int number = 0);
    void SetToolTipRect(QWidget* control, const QRect& area, int number = 0);
    void ReleaseToolTip(QWidget* control, int number = 0);
    /// Hides the tooltip that is shown.
    void PopToolTip();
    /// Brings the tooltip that is shown up to date.
    void UpdateToolTip();

    /// Lines in the content, in its coordinates counted from the leading edge; each returns the line's number.
    int AddHorizontalLine(QPoint start, int length);
    int AddVerticalLine(QPoint start, int length);
    /// `count` parallel lines, each `distance` further down, or further from the leading edge.
    void AddSubLines(int line, int count, int distance);
    void MoveLine(int line, QPoint start);

    /// A button on the lower edge; one that accepts or rejects closes the dialog.
    QPushButton* AddModalButton(const char* textKey, QDialogButtonBox::ButtonRole role);
    int ModalButtonsCount() const;
    void RemoveModalButtons();
    /// Shows the row of buttons unless it is empty or the dialog docked; OK answers the Enter key.
    virtual void ArrangeModalButtons();

Q_SIGNALS:
    void CopyClicked();
    void CopyReset();
    void DataLocked(bool locked);
    void DockedChanged(bool docked);
    void Closed();

protected:
    /// The last step before the window goes.
    virtual void PrepareClose() {}
    /// The first step after it; the base marks the dialog as closed.
    virtual void PostNcDestroy();
    /// Shows a help topic; the base, a window with the shipped text.
    virtual void WinHelp(const char* key);
    /// Asks for all texts again; the base, those of head, title and buttons.
    virtual void Retranslate();

    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    /// What a docked dialog was as a window.
    struct FreePlace {
        QPointer<QWidget> owner;
        Qt::WindowFlags style;
        QPoint position;
        QSize size;
        bool placed = false;  ///< it has a position
        bool visible = false;
    };
    struct NamedControl {
        QPointer<QWidget> control;
        QString text;
    };

    bool HasWindow() const { return created_ && !closed_; }
    bool MayBeDeletedNow() const;
    static void RequestDeletion();
    void MarkOpen();
    void OnSystemButton(SysBtnID id);
    QMenu* MakeMenu();
    void FillCopyMenu(QMenu& menu);
    void FillLockMenu(QMenu& menu);
    void ShowHeaderMenu(QPoint screen);
    void FocusFirstControl();
    void SaveFreePlace();
    void SetDocked(bool docked);
    void LeaveDock();
    QString Localized(const QString& text) const;

    static std::vector<CTMDialog*> sm_lstDialogs;
    static int sm_nIsInDialogMessage;

    const int id_;
    const int loopLevel_;  ///< of the event loop that the dialog was made in
    std::string filterId_;
    QByteArray helpKey_;
    QString title_, copyResetText_;
    DialogHeader* header_;
    QWidget* content_;
    QDialogButtonBox* buttons_;
    DialogToolTips* toolTips_;
    DialogLines* lines_;
    QPointer<DokkerControl> dokker_;
    FreePlace free_;
    std::vector<NamedControl> named_;
    bool locked_ = false, copyPressed_ = false, active_ = false, docked_ = false, modal_ = false;
    bool selfDelete_ = false, cleanOnDestroy_ = true, created_ = false, closed_ = false;
};

}  // namespace kestrel
