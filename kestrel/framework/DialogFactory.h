#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// Makes the dialog of the class with this ProgID and asks it for an interface.
using DialogFactory = HRESULT (*)(const char* progId, const GUID& iid, void** object);

/// The dialogs library puts its factory in place here; null takes it away. Without one no filter has a dialog.
KESTREL_API void SetDialogFactory(DialogFactory factory);
KESTREL_API DialogFactory GetDialogFactory();

}  // namespace kestrel
