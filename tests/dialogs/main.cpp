#include <gtest/gtest.h>

#include <QApplication>

#include "kestrel/dialogs/DialogText.h"

// Widgets need an application object before the first of them, and no screen to be drawn on.
int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    kestrel::SetDialogLanguage(kestrel::Language::English);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
