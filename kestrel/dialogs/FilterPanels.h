#pragma once
#include <memory>
#include <string>

#include "kestrel/dialogs/FilterPanel.h"

namespace kestrel {

/// The panel of a filter, or null when there is no filter of this ProgID. User interface thread only.
KESTREL_API std::unique_ptr<FilterPanel> MakeFilterPanel(const std::string& progId, QWidget* parent);

}  // namespace kestrel
