#include "kestrel/dialogs/FilterDialog.h"

#include <QApplication>
#include <QDrag>
#include <QDropEvent>
#include <QMimeData>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScreen>
#include <QVBoxLayout>
#include <cstring>
#include <utility>

#include "kestrel/dialogs/DialogIcon.h"
#include "kestrel/dialogs/MimeTransfer.h"
#include "kestrel/dialogs/PanelArea.h"
#include "kestrel/editing/DataTransfer.h"
#include "kestrel/framework/ObjectFactory.h"
#include "kestrel/host/Strings.h"

namespace kestrel {
namespace {

std::string PendingText(IFilterParameters& filter) {
    char text[FilterDialogFrame::kTextSize] = "";
    filter.GetParameterTextForSave(text, FilterDialogFrame::kTextSize);
    return text;
}

}  // namespace

CFilterDialog::CFilterDialog(const Description& filter, std::unique_ptr<FilterPanel> panel, IDialogHost* host,
                             IHostPage* page, QWidget* parent)
    : CTMDialog(filter.id, parent), FilterDialogFrame(host, page), about_(filter), panel_(panel.get()) {
    auto* const column = new QVBoxLayout(Content());
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(new PanelArea(panel.release(), Content()));
    connect(panel_, &FilterPanel::Edited, &edits_, qOverload<>(&QTimer::start));
    edits_.setSingleShot(true);
    edits_.setInterval(0);
    connect(&edits_, &QTimer::timeout, this, &CFilterDialog::Apply);
    connect(this, &CTMDialog::DockedChanged, this, [this](bool docked) {
        if (SystemButton* const close = FindSystemButton(SysBtnID::Close)) close->setVisible(docked);
    });

    setWindowIcon(DialogIcon(about_.icon));
    const std::string title = FilterHeaderKey(about_);
    SetTitle(QString::fromStdString(BuiltInStrings().Has(title) ? title : about_.name));
    CFilterDialog::SetFilterID(about_.progId);
    setAcceptDrops(true);
    if (!page) {
        CFilterDialog::SetHelp(about_.help);
        AddModalButton("COMMON_OK", QDialogButtonBox::AcceptRole);
        AddModalButton("COMMON_CANCEL", QDialogButtonBox::RejectRole);
        connect(AddModalButton("COMMON_RESET", QDialogButtonBox::ResetRole), &QPushButton::clicked, panel_,
                &FilterPanel::Reset);
    }
    Ref<IUnknown> own;
    if (ObjectFactory::Get().Create(about_.progId, IUnknown::kIid, own.Out()) >= 0) CFilterDialog::Connect(own.get());
}

CFilterDialog::~CFilterDialog() = default;

// Filters

int CFilterDialog::Connect(IUnknown* filter) {
    edits_.stop();
    const int result = FilterDialogFrame::Connect(filter);
    originals_.clear();
    if (Ref<IFilterParameters> parameters = Ref<IFilterParameters>::Query(filter))
        originals_.push_back({std::move(parameters), {}});
    RememberTexts();
    RefreshButtons();
    return result;
}

int CFilterDialog::AddFilter(IUnknown* filter) {
    Flush();
    const int result = FilterDialogFrame::AddFilter(filter);
    if (result < 0) return result;
    originals_.push_back({Ref<IFilterParameters>::Query(filter), {}});
    RememberTexts();
    RefreshButtons();
    return result;
}

void CFilterDialog::RememberTexts() {
    for (Original& original : originals_) original.text = PendingText(*original.filter);
    changed_ = false;
}

void CFilterDialog::Apply() {
    const MessageScope scope;
    edits_.stop();
    const std::string text = ParameterText();
    if (text.size() >= static_cast<std::size_t>(kTextSize)) {  // no filter could give it back
        QApplication::beep();
        return Reset();
    }
    changed_ = true;
    {
        const QScopedValueRollback applying(applying_, true);
        ApplyText();
        RefreshButtons();
    }
    Q_EMIT TextChanged(QByteArray::fromStdString(text));
}

void CFilterDialog::Flush() {
    if (edits_.isActive()) Apply();
}

void CFilterDialog::RestoreTexts() {
    edits_.stop();
    if (originals_.empty()) return;
    panel_->SetParameterText(originals_.front().text);
    if (!std::exchange(changed_, false)) return;
    for (const Original& original : originals_) original.filter->SetParameterText(original.text.c_str(), 1);
    {
        const QScopedValueRollback applying(applying_, true);
        ParameterChanged();
        Notify("UpdateFilter", nullptr);
        RefreshButtons();
    }
    Q_EMIT TextChanged(QByteArray::fromStdString(originals_.front().text));
}

// Opening and closing

void CFilterDialog::Begin() {
    if (IsDialogOpen(this)) return;
    if (!IsOnPage()) InitializeFreeDialog();
    if (SystemButton* const close = FindSystemButton(SysBtnID::Close)) close->setVisible(IsDocked());
    RememberTexts();
    RefreshButtons();
    Retranslate();  // the language may be another one than when the dialog was made
    FitScreen();
}

void CFilterDialog::FitScreen() {
    if (!testAttribute(Qt::WA_Resized)) resize(sizeHint().boundedTo(screen()->availableSize()));
}

int CFilterDialog::DoModal() {
    Begin();
    return CTMDialog::DoModal();
}

bool CFilterDialog::CreateModeless(bool show, bool activate, const char* title) {
    Begin();
    return CTMDialog::CreateModeless(show, activate, title);
}

void CFilterDialog::DockView(QWidget* window, DokkerControl* dokker, bool show) {
    Begin();
    CTMDialog::DockView(window, dokker, show);
}

void CFilterDialog::CloseDialog() {
    const MessageScope scope;
    Flush();
    CTMDialog::CloseDialog();
}

void CFilterDialog::CancelDialog() {
    const MessageScope scope;
    if (IsDialogOpen(this)) RestoreTexts();
    CTMDialog::CancelDialog();
}

void CFilterDialog::DestroyAndDelete() {
    AllowSelfDelete();
    if (!IsOpen()) return deleteLater();
    CloseDialog();
}

// Buttons

void CFilterDialog::AddSystemButtons(const char* dockKey) {
    AddCopyBtn();
    AddLockBtn();
    AddDockBtn(dockKey);
    AddSystemButton(SysBtnID::Close);  // a window has that on its frame
}

void CFilterDialog::OnDockClicked() {
    Flush();
    DockClicked();
    if (!IsDocked()) CTMDialog::OnDockClicked();  // the host has not answered the event
}

void CFilterDialog::OnCopyClicked() {
    Flush();
    HandleEvent("ButtonTop");
    CTMDialog::OnCopyClicked();
}

void CFilterDialog::OnCopyReset() {
    HandleEvent("ButtonTopDelete");
    CTMDialog::OnCopyReset();
}

void CFilterDialog::OnLockClicked() {
    Flush();
    if (IsOnPage()) CTMDialog::SetDataLocked(!IsDataLocked());
    HandleEvent("bu_lock");
}

void CFilterDialog::OnBeginDragCopy() {
    Flush();
    HandleEvent("ButtonTopDrag");
}

void CFilterDialog::RefreshButtons() {
    FilterDialogFrame::RefreshButtons();
    std::string enabled;
    HandleEvent("ButtonTopCopyEnabled", nullptr, &enabled);
    if (SystemButton* const copy = FindSystemButton(SysBtnID::Copy)) copy->setEnabled(enabled == "1");
}

// Hooks of the frame

void CFilterDialog::SetFilterID(const char* id) {
    FilterDialogFrame::SetFilterID(id);
    CTMDialog::SetFilterID(id);
}

void CFilterDialog::SetHelp(const char* key) {
    FilterDialogFrame::SetHelp(key);
    CTMDialog::SetHelp(key);
}

void CFilterDialog::OnEvent(const char* name) {
    if (std::strcmp(name, "ButtonClose") == 0) CloseDialog();
}

void CFilterDialog::Reset() {
    edits_.stop();
    std::string text;
    if (ReadParameterText(&text) != Texts::None) panel_->SetParameterText(text);
}

void CFilterDialog::WriteText(char* buffer, int size) {
    const std::string text = ParameterText();
    if (text.size() < static_cast<std::size_t>(size)) std::memcpy(buffer, text.c_str(), text.size() + 1);
}

void CFilterDialog::ShowText(const char* text) {
    if (!applying_ && !edits_.isActive()) panel_->SetParameterText(text);
}

void CFilterDialog::MoveTo(Place place) {
    if (QGuiApplication::screenAt({place.x, place.y})) move(place.x, place.y);
}

void CFilterDialog::ReleaseMouse() {
    if (QWidget* const holder = QWidget::mouseGrabber()) holder->releaseMouse();
}

Qt::DropAction CFilterDialog::RunDrag(QDrag& drag, Qt::DropActions offered) {
    return drag.exec(offered, Qt::CopyAction);
}

HRESULT CFilterDialog::DoDragDrop(IDataObject* object, std::uint32_t effects, std::uint32_t* effect) {
    auto* const drag = new QDrag(this);
    drag->setMimeData(ToMimeData(object).release());
    drag->setPixmap(windowIcon().pixmap(QSize(22, 22), devicePixelRatioF()));
    Qt::DropActions offered = Qt::IgnoreAction;
    if (effects & kDropCopy) offered |= Qt::CopyAction;
    if (effects & kDropMove) offered |= Qt::MoveAction;
    const Qt::DropAction dropped = RunDrag(*drag, offered);
    *effect = dropped == Qt::MoveAction ? kDropMove : dropped == Qt::CopyAction ? kDropCopy : kDropNone;
    return *effect == kDropNone ? DRAGDROP_S_CANCEL : DRAGDROP_S_DROP;
}

// Help, language, drops

QString CFilterDialog::GetLocalized(const char* key) const {
    const std::string text = FilterDialogFrame::GetLocalized(key);
    return text == key ? CTMDialog::GetLocalized(key) : QString::fromStdString(text);
}

void CFilterDialog::WinHelp(const char* key) {
    if (FindPage(host_page::kToolBar))
        HandleEvent("GetContexthelp", key);
    else
        CTMDialog::WinHelp(key);
}

void CFilterDialog::Retranslate() {
    CTMDialog::Retranslate();
    panel_->Retranslate();
}

/// Only settings of the same filter are taken, and not the dialog's own.
bool CFilterDialog::Takes(const QDropEvent& event) const {
    if (IsLocked() || event.source() == this) return false;
    const Ref<IDataObject> offered = FromMimeData(event.mimeData());
    std::string progId = GetDialog(offered.get());
    if (progId.empty()) progId = GetFilter(offered.get());
    return progId == about_.progId && !GetParameter(offered.get()).empty();
}

void CFilterDialog::dragEnterEvent(QDragEnterEvent* event) {
    if (!Takes(*event)) return event->ignore();
    event->setDropAction(Qt::CopyAction);  // the source keeps its filter
    event->accept();
}

void CFilterDialog::dropEvent(QDropEvent* event) {
    if (!Takes(*event)) return event->ignore();
    panel_->SetParameterText(GetParameter(FromMimeData(event->mimeData()).get()));
    Apply();
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

}  // namespace kestrel
