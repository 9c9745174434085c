#include "kestrel/dialogs/DialogText.h"

#include <QApplication>
#include <QEvent>
#include <QLocale>
#include <QPointer>
#include <QWidget>
#include <optional>

#include "kestrel/host/Strings.h"

namespace kestrel {
namespace {

std::optional<Language> chosen;

void TellWindows() {
    QList<QPointer<QWidget>> windows;  // one that hears of it may close another
    for (QWidget* const window : QApplication::topLevelWidgets()) windows.append(window);
    for (const QPointer<QWidget>& window : windows) {
        QEvent event(QEvent::LanguageChange);
        if (window) QCoreApplication::sendEvent(window, &event);
    }
}

}  // namespace

Language DialogLanguage() {
    if (!chosen) chosen = ParseLanguage(QLocale::system().name().toStdString()).value_or(Language::English);
    return *chosen;
}

void SetDialogLanguage(Language language) {
    if (language == DialogLanguage()) return;
    chosen = language;
    TellWindows();
}

QString DialogText(const char* key) { return QString::fromStdString(BuiltInText(key, DialogLanguage()).value_or(key)); }

QString WithoutShortcut(QString text) { return text.replace(QLatin1String("&"), QLatin1String("&&")); }

}  // namespace kestrel
