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
    /// Every request asks upstream exactly once, with the arguments as they stand, before it touches the caller's rows,
    /// and the output has the input's size. Hosts may then hand such a line the rows of the picture itself.
    bool inPlace = false;
};

}  // namespace kestrel
