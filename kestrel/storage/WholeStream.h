#pragma once
#include <optional>
#include <string>

#include "kestrel/storage/IQvStorage.h"

namespace kestrel {

/// All bytes of a stream, whose name may be a path. Nothing when it cannot be opened or read, or is longer than
/// `longest` bytes; throws `std::bad_alloc` only.
KESTREL_API std::optional<std::string> ReadWholeStream(IQvStorage& storage, const char* name, std::int64_t longest);

}  // namespace kestrel
