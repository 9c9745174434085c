// Asks the installed dialogs for a text that the installed library holds.
#include <QApplication>

#include "kestrel/dialogs/DialogText.h"

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    kestrel::SetDialogLanguage(kestrel::Language::German);
    return kestrel::DialogText("COMMON_CANCEL") == QStringLiteral("Abbrechen") ? 0 : 1;
}
