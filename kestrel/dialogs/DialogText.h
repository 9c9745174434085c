#pragma once
#include <QString>

#include "kestrel/foundation/Export.h"
#include "kestrel/framework/ScriptStrings.h"

namespace kestrel {

/// The language of all dialogs; before it is set, that of the user's locale, or English. User interface thread only.
KESTREL_API Language DialogLanguage();
/// Sends `QEvent::LanguageChange` to all windows when the language is another than before.
KESTREL_API void SetDialogLanguage(Language language);

/// A text that ships with the library in the language of the dialogs; the key itself when there is no such text.
KESTREL_API QString DialogText(const char* key);

/// A text for a label or a button that shows each "&" and takes none for the mark of a shortcut.
KESTREL_API QString WithoutShortcut(QString text);

}  // namespace kestrel
