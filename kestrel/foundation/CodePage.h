#pragma once
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

// The 8-bit texts of the library are Windows-1252, whatever the locale of the process. The five bytes that the code
// page leaves open (0x81, 0x8D, 0x8F, 0x90, 0x9D) stand for the control characters of the same number.

/// Upper case within Windows-1252. Letters without a partner in the code page (sharp s, micro, florin) stay.
constexpr char UpperCase1252(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == 0xFF) return static_cast<char>(0x9F);  // y with diaeresis
    if (byte == 0x9A || byte == 0x9C || byte == 0x9E) return static_cast<char>(byte - 0x10);
    if ((byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte != 0xF7)) return static_cast<char>(byte - 0x20);
    return c;
}

/// Lower case within Windows-1252.
constexpr char LowerCase1252(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == 0x9F) return static_cast<char>(0xFF);
    if (byte == 0x8A || byte == 0x8C || byte == 0x8E) return static_cast<char>(byte + 0x10);
    if ((byte >= 'A' && byte <= 'Z') || (byte >= 0xC0 && byte <= 0xDE && byte != 0xD7))
        return static_cast<char>(byte + 0x20);
    return c;
}

/// The Unicode code point of a Windows-1252 byte; all lie below 0x10000.
KESTREL_API char16_t UnicodeFrom1252(char c);

/// The text in UTF-8, embedded NUL bytes included.
KESTREL_API std::string Utf8From1252(std::string_view text);
/// The text in Windows-1252; each character that the code page lacks, and each byte that is not UTF-8, becomes '?'.
KESTREL_API std::string Windows1252FromUtf8(std::string_view utf8);

/// Whether a text is UTF-8 throughout.
KESTREL_API bool IsUtf8(std::string_view text);

/// Windows-1252 to code page 850, the character set of DOS consoles in western Europe. A character that 850 lacks
/// becomes its nearest look-alike (curly quotes, dashes, letters without their accent), otherwise '?'.
KESTREL_API char OemFrom1252(char c);
/// Code page 850 to Windows-1252; frames give '-', '|' and '+', other lost characters '?'.
KESTREL_API char Windows1252FromOem(char c);

}  // namespace kestrel
