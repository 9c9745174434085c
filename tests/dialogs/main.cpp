#include <gtest/gtest.h>

#include <QApplication>

#include "kestrel/dialogs/DialogText.h"

namespace {

/// A warning of the toolkit is a fault of ours, but for what the platform without a screen says about itself.
void FailOnWarning(QtMsgType type, const QMessageLogContext&, const QString& text) {
    const bool expected = text.startsWith(QLatin1String("This plugin does not support")) ||
                          text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR"));
    if (type != QtDebugMsg && type != QtInfoMsg && !expected) ADD_FAILURE() << text.toStdString();
}

}  // namespace

// Widgets need an application object before the first of them, and no screen to be drawn on.
int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(FailOnWarning);
    const QApplication application(argc, argv);
    kestrel::SetDialogLanguage(kestrel::Language::English);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
