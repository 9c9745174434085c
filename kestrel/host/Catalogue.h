#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/server/ClassTable.h"

namespace kestrel {

/// The filters in the order of the catalogue: descending filter id.
KESTREL_API std::vector<const ClassRow*> ListFilters();

/// "Sepia" of "TMFilter.Sepia.1".
KESTREL_API std::string WordOf(const Description& filter);

/// The filter that a person means by "Sepia", "Sepia.1" or "TMFilter.Sepia.1"; null when there is none.
KESTREL_API const ClassRow* FindFilter(std::string_view name);

/// The word of the filter that is nearest to a name that `FindFilter` does not know; empty when none is near.
KESTREL_API std::string SuggestFilter(std::string_view name);

}  // namespace kestrel
