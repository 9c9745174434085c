#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"
#include "kestrel/framework/Description.h"
#include "kestrel/framework/ScriptStrings.h"

namespace kestrel {

/// The texts that ship with the library, read at the first call. Any thread may ask.
KESTREL_API const ScriptStrings& BuiltInStrings();

/// One of them in UTF-8, in English where the language is missing; none for an unknown key.
KESTREL_API std::optional<std::string> BuiltInText(std::string_view key, Language language);

/// The key of a filter's name on one line, as the head of its dialog has it; not every filter has such a text.
KESTREL_API std::string FilterHeaderKey(const Description& filter);

/// The name of a filter in UTF-8, on one line; the plain name where there is no translated one.
KESTREL_API std::string FilterName(const Description& filter, Language language);

/// What a filter does, in two or three sentences of UTF-8; its summary where there is no help text.
KESTREL_API std::string FilterHelp(const Description& filter, Language language);

}  // namespace kestrel
