#pragma once
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// What a toolkit's message box does for `RunLoggedMessageBox`.
class MessageBoxView {
public:
    /// Makes a splash screen step aside, if there is one.
    virtual void HideSplashScreen() = 0;
    /// Whether the Enter key is down; while it is, `PassKeyMessages` is called, so that the key that closed an earlier
    /// box cannot answer this one.
    virtual bool IsEnterHeld() = 0;
    virtual void PassKeyMessages() = 0;
    /// Shows the box until it is answered: 1, 2 or 3 for its buttons, other values for what else closes it.
    virtual int Run() = 0;
    /// The caption of button 1, 2 or 3 where one is set, otherwise empty.
    virtual std::string Caption(int button) = 0;

protected:
    ~MessageBoxView() = default;
};

/// Runs a message box; all of them come through here: the log tells what the user was asked and what the answer was.
/// `style` is the platform's (1 for OK and Cancel, 2 for Abort, Retry and Ignore...). Returns what `Run` returned.
KESTREL_API int RunLoggedMessageBox(MessageBoxView& view, const char* text, const char* title, int style);

/// The name of button 1, 2 or 3 under a style; null when the style has none.
KESTREL_API const char* MessageBoxButtonName(int style, int button);

}  // namespace kestrel
