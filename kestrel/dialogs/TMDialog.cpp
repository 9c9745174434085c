#include "kestrel/dialogs/TMDialog.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLayout>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>
#include <QToolTip>
#include <QVBoxLayout>

#include "kestrel/dialogs/DialogHeader.h"
#include "kestrel/dialogs/DialogLines.h"
#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/DialogToolTips.h"

namespace kestrel {
namespace {
constexpr char kTextKey[] = "textKey";  ///< property of a button: the key of its text
}

CTMDialog::CTMDialog(int id, QWidget* parent)
    : QDialog(parent),
      id_(id),
      loopLevel_(QThread::currentThread()->loopLevel()),
      copyResetText_(QStringLiteral("IDS_COMMON_COPY_RESET")),
      header_(new DialogHeader([this](const char* key) { return GetLocalized(key); }, this)),
      content_(new QWidget(this)),
      buttons_(new QDialogButtonBox(this)),
      toolTips_(new DialogToolTips(this, [this](const QString& text) { return Localized(text); })),
      lines_(new DialogLines(content_)) {
    auto* const column = new QVBoxLayout(this);
    column->addWidget(header_);
    column->addWidget(content_, 1);
    column->addWidget(buttons_);
    buttons_->hide();
    header_->installEventFilter(this);
    connect(header_, &DialogHeader::Clicked, this, &CTMDialog::OnSystemButton);
    connect(header_, &DialogHeader::DragBegun, this, [this](SysBtnID button) {
        const MessageScope scope;
        if (button == SysBtnID::Copy) OnBeginDragCopy();
    });
    connect(buttons_, &QDialogButtonBox::accepted, this, [this] {
        const MessageScope scope;
        accept();
    });
    connect(buttons_, &QDialogButtonBox::rejected, this, [this] {
        const MessageScope scope;
        reject();
    });
}

CTMDialog::~CTMDialog() { DialogDestroyed(this); }

// Opening and closing

void CTMDialog::MarkOpen() {
    created_ = true;
    closed_ = false;
    DialogCreated(this);
}

int CTMDialog::DoModal() {
    if (HasWindow()) return Rejected;
    const QPointer<CTMDialog> alive(this);
    modal_ = true;
    const int result = exec();
    if (!alive) return Rejected;
    modal_ = false;
    if (!closed_) CancelDialog();  // the program ends
    return result;
}

bool CTMDialog::CreateModeless(bool show, bool activate, const char* title) {
    if (HasWindow()) return false;
    if (title) SetTitle(QString::fromUtf8(title));
    MarkOpen();
    if (!show) return true;
    setAttribute(Qt::WA_ShowWithoutActivating, !activate);
    QDialog::show();
    if (!activate) return true;
    raise();
    activateWindow();
    return true;
}

void CTMDialog::CloseDialog() { done(Accepted); }
void CTMDialog::CancelDialog() { done(Rejected); }

void CTMDialog::done(int result) {
    if (!HasWindow()) return;
    const MessageScope scope;
    PrepareClose();
    if (docked_) LeaveDock();
    QDialog::done(result);
    PostNcDestroy();
}

void CTMDialog::PostNcDestroy() {
    closed_ = true;
    Q_EMIT Closed();
}

// State

void CTMDialog::SetHelp(const char* key) {
    helpKey_ = key;
    if (!helpKey_.isEmpty()) AddSystemButton(SysBtnID::Help);
    if (SystemButton* const button = FindSystemButton(SysBtnID::Help)) button->setVisible(!helpKey_.isEmpty());
}

void CTMDialog::SetTitle(const QString& title) {
    title_ = title;
    setWindowTitle(Localized(title_));
    header_->SetTitle(windowTitle());
}

void CTMDialog::SetActive(bool active) {
    active_ = active;
    header_->SetActive(active);
}

void CTMDialog::SetDataLocked(bool locked) {
    if (locked == locked_) return;
    locked_ = locked;
    if (SystemButton* const button = FindSystemButton(SysBtnID::Lock)) button->SetPressed(locked);
    Q_EMIT DataLocked(locked);
}

void CTMDialog::SetCopyButtonPressed(bool pressed) {
    copyPressed_ = pressed;
    if (SystemButton* const button = FindSystemButton(SysBtnID::Copy)) button->SetPressed(pressed);
}

// System buttons

SystemButton* CTMDialog::AddSystemButton(SysBtnID id) { return header_->Add(id); }
SystemButton* CTMDialog::FindSystemButton(SysBtnID id) const { return header_->Find(id); }
const std::vector<SystemButton*>& CTMDialog::SystemButtons() const { return header_->Buttons(); }

SystemButton* CTMDialog::AddDockBtn(const char* text) {
    SystemButton* const button = AddSystemButton(SysBtnID::Dock);
    button->SetText(QString::fromUtf8(text));
    return button;
}

void CTMDialog::SetSystemButtonTooltip(SysBtnID id, const QString& text) {
    if (SystemButton* const button = FindSystemButton(id)) button->SetText(text);
}

void CTMDialog::OnSystemButton(SysBtnID id) {
    const MessageScope scope;
    switch (id) {
        case SysBtnID::Copy:
            return OnCopyClicked();
        case SysBtnID::Lock:
            return OnLockClicked();
        case SysBtnID::Help:
            return OpenContextHelp();
        case SysBtnID::Dock:
            return IsDocked() ? OnUndockClicked() : OnDockClicked();
        case SysBtnID::Minimize:
            return OnMinimizeClicked();
        case SysBtnID::Maximize:
            return OnMaximizeClicked();
        case SysBtnID::Windorize:
            return OnWindorizeClicked();
        case SysBtnID::Close:
            return CloseDialog();
    }
}

void CTMDialog::OnCopyClicked() {
    if (SystemButton* const button = FindSystemButton(SysBtnID::Copy)) button->update();
    Q_EMIT CopyClicked();
}

void CTMDialog::OnCopyReset() {
    if (SystemButton* const button = FindSystemButton(SysBtnID::Copy)) button->update();
    Q_EMIT CopyReset();
}

void CTMDialog::OnMaximizeClicked() { isMaximized() ? showNormal() : showMaximized(); }

void CTMDialog::OnWindorizeClicked() {
    if (IsDocked()) return OnUndockClicked();
    showNormal();
}

// Menus

QMenu* CTMDialog::MakeMenu() {
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    return menu;
}

void CTMDialog::FillCopyMenu(QMenu& menu) {
    const SystemButton* const button = FindSystemButton(SysBtnID::Copy);
    if (!button) return;
    menu.addAction(button->icon(), button->toolTip(), this, [this] { OnSystemButton(SysBtnID::Copy); })
        ->setEnabled(button->isEnabled());
    menu.addAction(Localized(copyResetText_), this, [this] {
        const MessageScope scope;
        OnCopyReset();
    });
}

void CTMDialog::FillLockMenu(QMenu& menu) {
    const SystemButton* const button = FindSystemButton(SysBtnID::Lock);
    if (button)
        menu.addAction(button->icon(), button->toolTip(), this, [this] { OnSystemButton(SysBtnID::Lock); })
            ->setEnabled(button->isEnabled());
}

void CTMDialog::ShowCopyContextMenu(QPoint screen) {
    if (!FindSystemButton(SysBtnID::Copy)) return;
    QMenu* const menu = MakeMenu();
    FillCopyMenu(*menu);
    menu->popup(screen);
}

void CTMDialog::ShowLockContextMenu(QPoint screen) {
    if (!FindSystemButton(SysBtnID::Lock)) return;
    QMenu* const menu = MakeMenu();
    FillLockMenu(*menu);
    menu->popup(screen);
}

void CTMDialog::ShowHeaderMenu(QPoint screen) {
    const auto* const button = qobject_cast<SystemButton*>(header_->childAt(header_->mapFromGlobal(screen)));
    if (button && button->Id() == SysBtnID::Copy) return ShowCopyContextMenu(screen);
    if (button && button->Id() == SysBtnID::Lock) return ShowLockContextMenu(screen);
    if (!FindSystemButton(SysBtnID::Copy) && !FindSystemButton(SysBtnID::Lock)) return;
    QMenu* const menu = MakeMenu();
    FillCopyMenu(*menu);
    menu->addSeparator();
    FillLockMenu(*menu);
    menu->popup(screen);
}

// Help and texts

void CTMDialog::OpenContextHelp(const char* key) {
    if (key && *key) WinHelp(key);
}

void CTMDialog::WinHelp(const char* key) {
    auto* const box = new QMessageBox(QMessageBox::NoIcon, windowTitle(), GetLocalized(key), QMessageBox::Close, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setModal(false);
    box->button(QMessageBox::Close)->setText(GetLocalized("COMMON_CLOSE"));
    box->show();
}

QString CTMDialog::GetLocalized(const char* key) const { return DialogText(key); }

QString CTMDialog::Localized(const QString& text) const { return GetLocalized(text.toUtf8().constData()); }

void CTMDialog::Retranslate() {
    SetTitle(title_);
    for (SystemButton* const button : SystemButtons()) button->Retranslate();
    for (QAbstractButton* const button : buttons_->buttons())
        button->setText(GetLocalized(button->property(kTextKey).toByteArray().constData()));
    for (const NamedControl& named : named_)
        if (named.control) named.control->setAccessibleName(Localized(named.text));
    UpdateToolTip();
}

// Content

void CTMDialog::AddChildCtrl(QWidget* control, bool show, const QString& text) {
    control->setParent(content_);
    if (!text.isEmpty()) {
        AddToolTip(control, text);
        if (control->accessibleName().isEmpty()) {
            named_.push_back({control, text});
            control->setAccessibleName(Localized(text));
        }
    }
    control->setVisible(show);
}

void CTMDialog::RemoveChildCtrl(QWidget* control) {
    if (!content_->isAncestorOf(control)) return;
    toolTips_->RemoveAll(control);
    std::erase_if(named_, [control](const NamedControl& named) { return named.control.data() == control; });
    control->hide();
    control->setParent(nullptr);
}

void CTMDialog::AddToolTip(QWidget* control, const QString& text, const QRect& area, int number, int milliseconds) {
    toolTips_->Add(control, text, area, number, milliseconds);
}

void CTMDialog::SetToolTipText(QWidget* control, const QString& text, int number) {
    toolTips_->SetText(control, text, number);
    UpdateToolTip();
}

void CTMDialog::SetToolTipRect(QWidget* control, const QRect& area, int number) {
    toolTips_->SetArea(control, area, number);
}

void CTMDialog::ReleaseToolTip(QWidget* control, int number) { toolTips_->Remove(control, number); }
void CTMDialog::PopToolTip() { QToolTip::hideText(); }
void CTMDialog::UpdateToolTip() { toolTips_->Update(); }

int CTMDialog::AddHorizontalLine(QPoint start, int length) { return lines_->Add(Qt::Horizontal, start, length); }
int CTMDialog::AddVerticalLine(QPoint start, int length) { return lines_->Add(Qt::Vertical, start, length); }
void CTMDialog::AddSubLines(int line, int count, int distance) { lines_->AddSubLines(line, count, distance); }
void CTMDialog::MoveLine(int line, QPoint start) { lines_->Move(line, start); }

QPushButton* CTMDialog::AddModalButton(const char* textKey, QDialogButtonBox::ButtonRole role) {
    QPushButton* const button = buttons_->addButton(GetLocalized(textKey), role);
    button->setProperty(kTextKey, QByteArray(textKey));
    ArrangeModalButtons();
    return button;
}

int CTMDialog::ModalButtonsCount() const { return static_cast<int>(buttons_->buttons().size()); }

void CTMDialog::RemoveModalButtons() {
    for (QAbstractButton* const button : buttons_->buttons()) {
        buttons_->removeButton(button);
        button->deleteLater();  // it may be the one that was clicked
    }
    ArrangeModalButtons();
}

void CTMDialog::ArrangeModalButtons() {
    buttons_->setVisible(ModalButtonsCount() > 0 && !docked_);
    bool first = true;
    for (QAbstractButton* const button : buttons_->buttons()) {
        const bool accepts = buttons_->buttonRole(button) == QDialogButtonBox::AcceptRole;
        if (auto* const push = qobject_cast<QPushButton*>(button))
            push->setDefault(accepts && std::exchange(first, false));
    }
}

// Events

bool CTMDialog::event(QEvent* event) {
    const MessageScope scope;  // `this` may be gone when the event has been handled
    return QDialog::event(event);
}

void CTMDialog::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) Retranslate();
    if (event->type() == QEvent::ActivationChange) SetActive(isActiveWindow());
}

void CTMDialog::showEvent(QShowEvent* event) {
    if (!HasWindow()) MarkOpen();
    QDialog::showEvent(event);
    if (!event->spontaneous() && !docked_) FocusFirstControl();
}

/// The head's buttons stand first in the order of the Tab key, but nobody opens a dialog for them.
void CTMDialog::FocusFirstControl() {
    if (focusWidget() && content_->isAncestorOf(focusWidget())) return;
    for (QWidget* next = content_->nextInFocusChain(); next != content_; next = next->nextInFocusChain())
        if (content_->isAncestorOf(next) && (next->focusPolicy() & Qt::TabFocus) && next->isEnabled() &&
            next->isVisibleTo(this))
            return next->setFocus(Qt::OtherFocusReason);
}

void CTMDialog::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::HelpContents) && !helpKey_.isEmpty()) return OpenContextHelp();
    if (docked_) return event->ignore();  // Enter and Escape are for the window that it is docked into
    QDialog::keyPressEvent(event);
}

bool CTMDialog::eventFilter(QObject* object, QEvent* event) {
    if (object == header_ && event->type() == QEvent::ContextMenu) {
        ShowHeaderMenu(static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    }
    if (docked_ && object == parentWidget() && event->type() == QEvent::Resize) ArrangeDockView();
    return QDialog::eventFilter(object, event);
}

}  // namespace kestrel
