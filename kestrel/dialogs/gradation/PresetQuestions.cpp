#include "kestrel/dialogs/gradation/PresetQuestions.h"

#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

#include "kestrel/dialogs/DialogText.h"

namespace kestrel {

// The boxes belong to the widget, which may end while one is open: they live on the heap and are looked at only as
// long as they are there.

std::optional<std::string> PresetQuestions::AskName(const std::string& initial) {
    if (!over_) return std::nullopt;
    const QPointer<QInputDialog> box = new QInputDialog(over_);
    box->setWindowTitle(DialogText("IDS_GRADCURVES_PRESET_SAVE"));
    box->setLabelText(DialogText("IDS_GRADCURVES_PRESET_SAVE_TEXT"));
    box->setTextValue(QString::fromStdString(initial));
    box->setOkButtonText(DialogText("COMMON_OK"));
    box->setCancelButtonText(DialogText("COMMON_CANCEL"));
    const bool agreed = box->exec() == QDialog::Accepted && box;
    const std::string name = agreed ? box->textValue().toStdString() : std::string();
    delete box;
    if (!agreed) return std::nullopt;
    return name;
}

bool PresetQuestions::Show(const PresetBox& question) {
    if (!over_) return false;
    const QPointer<QMessageBox> box = new QMessageBox(over_);
    box->setWindowTitle(DialogText(question.titleKey));
    // One argument of the text's own form; a "%" in a name stays what it is.
    box->setText(DialogText(question.textKey).replace(QStringLiteral("%s"), QString::fromStdString(question.name)));
    box->setTextFormat(Qt::PlainText);
    box->setIcon(question.warning ? QMessageBox::Warning
                 : question.asks  ? QMessageBox::Question
                                  : QMessageBox::Information);
    QAbstractButton* yes = nullptr;
    if (question.asks) {
        yes = box->addButton(DialogText("COMMON_YES"), QMessageBox::YesRole);
        box->setEscapeButton(box->addButton(DialogText("COMMON_NO"), QMessageBox::NoRole));
    } else {
        box->addButton(DialogText("COMMON_OK"), QMessageBox::AcceptRole);
    }
    box->exec();
    if (!box) return false;
    const bool answer = !question.asks || box->clickedButton() == yes;
    delete box;
    return answer;
}

}  // namespace kestrel
