#pragma once
#include "kestrel/foundation/Guid.h"

namespace kestrel {

/// What a class of filters is called and where it stands.
struct Description {
    const char* progId = "";  ///< "TMFilter.Sepia.1"
    GUID clsid{};
    int id = 0;                ///< sort key of the catalogue, descending
    int cost = 5000;           ///< sort key of a chain, ascending
    const char* nameKey = "";  ///< key of the translated name, or the plain name
    const char* name = "";     ///< English name
    const char* icon = "";     ///< icon base
    const char* help = "";     ///< key of the help topic
    const char* summary = "";  ///< what the filter does, one sentence for a user
};

}  // namespace kestrel
