#include "kestrel/dialogs/DialogWindow.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <utility>

#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/FilterPanels.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/parameters/Parameter.h"

namespace kestrel {

DialogWindow::DialogWindow(std::string progId)
    : progId_(std::move(progId)), host_(DialogLanguage(), [this](const char*, HostMessage message, const char* text) {
          if (message == HostMessage::ParameterChanged) Show(std::string(Parameter(text).GetString("FilterId")));
      }) {}

DialogWindow::~DialogWindow() { delete dialog_; }

std::unique_ptr<DialogWindow> DialogWindow::Make(const std::string& progId, Picture picture, const std::string& text) {
    std::unique_ptr<DialogWindow> window(new DialogWindow(progId));
    return window->Fill(std::move(picture), text) ? std::move(window) : nullptr;
}

bool DialogWindow::Fill(Picture picture, const std::string& text) {
    const ClassRow* const row = FindFilter(progId_);
    std::unique_ptr<FilterPanel> panel = row ? MakeFilterPanel(progId_, nullptr) : nullptr;
    if (!panel) return false;
    dialog_ = new CFilterDialog(*row->description, std::move(panel), &host_, nullptr, this);
    auto* const line = new QHBoxLayout(this);
    if (picture.image) {
        view_ = new PictureView(this);
        view_->SetPicture(std::move(picture));
        line->addWidget(view_, 1);
        dialog_->Panel()->SetPicture(view_);
    }
    auto* const side = new QVBoxLayout;
    line->addLayout(side);
    auto* const place = new QWidget(this);
    auto* const docked = new QVBoxLayout(place);
    docked->setContentsMargins(0, 0, 0, 0);
    side->addWidget(place, 1);
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    side->addWidget(buttons_);
    connect(buttons_, &QDialogButtonBox::accepted, dialog_, &CFilterDialog::CloseDialog);
    connect(buttons_, &QDialogButtonBox::rejected, dialog_, &CFilterDialog::CancelDialog);
    connect(dialog_, &CTMDialog::DockedChanged, buttons_, &QWidget::setVisible);
    connect(dialog_, &QDialog::finished, this, [this](int result) { Q_EMIT Finished(result == QDialog::Accepted); });

    if (!text.empty()) {
        dialog_->WriteParameterText(text);
        dialog_->Reset();
    }
    dialog_->DockView(place, nullptr, true);
    if (SystemButton* const close = dialog_->FindSystemButton(SysBtnID::Close))
        close->hide();  // OK and Cancel say more
    setWindowIcon(dialog_->windowIcon());
    Retranslate();
    resize(sizeHint().boundedTo(screen()->availableSize()));
    Show(ParameterText());
    return true;
}

void DialogWindow::Show(const std::string& text) {
    if (view_) view_->SetChainText(progId_ + '\t' + text + '\n');
}

void DialogWindow::closeEvent(QCloseEvent* event) {
    dialog_->CancelDialog();
    QWidget::closeEvent(event);
}

void DialogWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) return dialog_->CancelDialog();
    QWidget::keyPressEvent(event);
}

void DialogWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange) Retranslate();
    QWidget::changeEvent(event);
}

void DialogWindow::Retranslate() {
    host_.SetLanguage(DialogLanguage());
    if (!buttons_) return;
    setWindowTitle(dialog_->windowTitle());
    buttons_->button(QDialogButtonBox::Ok)->setText(DialogText("COMMON_OK"));
    buttons_->button(QDialogButtonBox::Cancel)->setText(DialogText("COMMON_CANCEL"));
}

}  // namespace kestrel
