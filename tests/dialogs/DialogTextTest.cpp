#include "kestrel/dialogs/DialogText.h"

#include <gtest/gtest.h>

#include <QEvent>
#include <QPushButton>

namespace kestrel {
namespace {

class CancelButton : public QPushButton {
public:
    using QPushButton::QPushButton;
    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::LanguageChange) setText(DialogText("COMMON_CANCEL"));
        QPushButton::changeEvent(event);
    }
};

TEST(DialogText, ChangesWhileWindowsAreOpen) {
    QWidget window;
    CancelButton button(&window);
    SetDialogLanguage(Language::German);
    EXPECT_EQ(button.text(), u"Abbrechen");
    SetDialogLanguage(Language::English);
    EXPECT_EQ(button.text(), u"Cancel");
    EXPECT_EQ(DialogText("IDS_NO_SUCH_TEXT"), u"IDS_NO_SUCH_TEXT");
}

}  // namespace
}  // namespace kestrel
