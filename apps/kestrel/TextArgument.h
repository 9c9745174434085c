#pragma once
#include <optional>
#include <string>
#include <string_view>

/// The parameter text of a Text filter from what a person wrote on the command line, which is UTF-8: `txt` and `fname`
/// go on over commas up to the next key of the filter, `fcol` may be #RRGGBB, and a character set is chosen where
/// `fchs` does not name one. `words`, when given, are the text as it stands, with "\n" for a line break. What cannot
/// be held throws `UsageError`, which begins with `option`.
std::string TextArgument(const std::string& option, std::string_view written, const std::optional<std::string>& words);
