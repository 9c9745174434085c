#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"

// Character sets as fonts number them (the key `fchs` of the Text filter): each names the code page of a text's bytes.

namespace kestrel {

/// The code page of a character set, as iconv calls it; null where Windows-1252 serves.
const char* CodePageOf(std::uint8_t charSet);

/// UTF-8 of a text in the code page of a character set. What the page does not know becomes a replacement character.
KESTREL_API std::string Utf8FromCharSet(std::string_view text, std::uint8_t charSet);

/// What a person wrote, as the Text filter's key `txt` holds it.
struct TextValue {
    std::string value;         ///< escaped: commas and the like are safe in it
    std::uint8_t charSet = 0;  ///< for `fchs`
    std::string error;         ///< one line; then there is no value
};

/// Makes the value of `txt` from UTF-8; bytes that are not UTF-8 are taken as they stand. The two characters "\n" are a
/// line break; with `escapes`, a backslash and two lower-case hexadecimal digits are the byte of that number. Without a
/// character set the first one that holds the whole text is chosen, Windows-1252 before all others.
KESTREL_API TextValue MakeTextValue(std::string_view utf8, std::optional<std::uint8_t> charSet, bool escapes);

}  // namespace kestrel
