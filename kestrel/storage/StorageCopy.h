#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

class IQvStorage;

/// What a copy came to.
struct StorageCopy {
    std::uint64_t storages = 0;  ///< not counting the one that was copied
    std::uint64_t streams = 0;
    std::uint64_t bytes = 0;
    std::vector<std::string> failures;  ///< a line for each element that was not copied: which and why
};

/// Copies everything of a storage into another one of any kind. Streams of the same name are replaced, storages are
/// merged; an element that fails is left out, the others are copied all the same. Any depth is possible.
KESTREL_API StorageCopy CopyElements(IQvStorage& from, IQvStorage& to);

/// Copies one stream, replacing one of that name. Gives what went wrong, or an empty text.
[[nodiscard]] KESTREL_API std::string CopyStream(IQvStorage& from, const char* name, IQvStorage& to, const char* toName,
                                                 std::uint64_t& bytes);

}  // namespace kestrel
