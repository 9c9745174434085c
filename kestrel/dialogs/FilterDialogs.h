#pragma once
#include <memory>
#include <string>

#include "kestrel/dialogs/FilterDialog.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The dialog of a filter with its panel; null when there is no filter of this ProgID. Host and page may be null and
/// outlive the dialog. User interface thread only.
KESTREL_API std::unique_ptr<CFilterDialog> MakeFilterDialog(const std::string& progId, IDialogHost* host = nullptr,
                                                            IHostPage* page = nullptr, QWidget* parent = nullptr);

/// Gives the filters their dialogs (`IFilterObject::CreateDialog`). Loading the library does it; a program that is
/// linked with the library calls this, so that it is loaded, or after it has set another factory for a while.
KESTREL_API void RegisterDialogs();

}  // namespace kestrel
