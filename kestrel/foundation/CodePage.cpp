#include "kestrel/foundation/CodePage.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace kestrel {
namespace {

using Half = std::array<char16_t, 128>;  // the code points of the bytes 0x80 to 0xFF

constexpr Half kWindows1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152,
    0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122,
    0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178, 0x00A0, 0x00A1, 0x00A2, 0x00A3, 0x00A4, 0x00A5, 0x00A6,
    0x00A7, 0x00A8, 0x00A9, 0x00AA, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x00AF, 0x00B0, 0x00B1, 0x00B2, 0x00B3,
    0x00B4, 0x00B5, 0x00B6, 0x00B7, 0x00B8, 0x00B9, 0x00BA, 0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF, 0x00C0,
    0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C6, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD,
    0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D7, 0x00D8, 0x00D9, 0x00DA,
    0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00DF, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5, 0x00E6, 0x00E7,
    0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00ED, 0x00EE, 0x00EF, 0x00F0, 0x00F1, 0x00F2, 0x00F3, 0x00F4,
    0x00F5, 0x00F6, 0x00F7, 0x00F8, 0x00F9, 0x00FA, 0x00FB, 0x00FC, 0x00FD, 0x00FE, 0x00FF,
};

constexpr Half kOem850 = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x00C1, 0x00C2, 0x00C0, 0x00A9, 0x2563, 0x2551, 0x2557, 0x255D, 0x00A2, 0x00A5, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x00A4, 0x00F0, 0x00D0, 0x00CA, 0x00CB, 0x00C8, 0x0131, 0x00CD, 0x00CE, 0x00CF, 0x2518, 0x250C,
    0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580, 0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE,
    0x00DE, 0x00DA, 0x00DB, 0x00D9, 0x00FD, 0x00DD, 0x00AF, 0x00B4, 0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6,
    0x00A7, 0x00F7, 0x00B8, 0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0,
};

struct LookAlike {
    char16_t character;
    char standIn;
};

// What code page 850 lacks of Windows-1252.
constexpr LookAlike kFor850[] = {
    {0x201A, '\''}, {0x2018, '\''}, {0x2019, '\''}, {0x201E, '"'}, {0x201C, '"'}, {0x201D, '"'}, {0x2039, '<'},
    {0x203A, '>'},  {0x2013, '-'},  {0x2014, '-'},  {0x2026, '.'}, {0x02C6, '^'}, {0x02DC, '~'}, {0x0160, 'S'},
    {0x0161, 's'},  {0x017D, 'Z'},  {0x017E, 'z'},  {0x0178, 'Y'}, {0x0152, 'O'}, {0x0153, 'o'}, {0x2122, 'T'},
};

// What Windows-1252 lacks of code page 850.
constexpr LookAlike kFor1252[] = {
    {0x2500, '-'}, {0x2550, '-'}, {0x2502, '|'}, {0x2551, '|'}, {0x0131, 'i'}, {0x2017, '_'},
    {0x250C, '+'}, {0x2510, '+'}, {0x2514, '+'}, {0x2518, '+'}, {0x251C, '+'}, {0x2524, '+'},
    {0x252C, '+'}, {0x2534, '+'}, {0x253C, '+'}, {0x2554, '+'}, {0x2557, '+'}, {0x255A, '+'},
    {0x255D, '+'}, {0x2560, '+'}, {0x2563, '+'}, {0x2566, '+'}, {0x2569, '+'}, {0x256C, '+'},
};

constexpr std::size_t HalfIndex(char c) { return static_cast<unsigned char>(c) - std::size_t{0x80}; }
constexpr bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// The byte of a code page for a code point above 0x7F; 0 when the code page lacks it.
char ByteFor(const Half& page, char32_t character) {
    const auto found = std::find(page.begin(), page.end(), character);
    return found == page.end() ? '\0' : static_cast<char>(0x80 + (found - page.begin()));
}

template <std::size_t N>
char Translate(char c, const Half& from, const Half& to, const LookAlike (&likes)[N]) {
    if (IsAscii(c)) return c;
    const char16_t character = from[HalfIndex(c)];
    if (const char byte = ByteFor(to, character)) return byte;
    const auto like =
        std::find_if(std::begin(likes), std::end(likes), [&](const LookAlike& l) { return l.character == character; });
    return like == std::end(likes) ? '?' : like->standIn;
}

constexpr char32_t kBad = 0xFFFFFFFF;  // no character

/// Reads one character and moves `at` past it; bytes that are not UTF-8 are `kBad` and are passed one by one.
char32_t NextCharacter(std::string_view utf8, std::size_t& at) {
    const auto first = static_cast<unsigned char>(utf8[at++]);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || utf8.size() - at < more) return kBad;
    char32_t character = first & (0x3Fu >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(utf8[at + i]);
        if ((next & 0xC0u) != 0x80u) return kBad;
        character = character << 6 | (next & 0x3Fu);
    }
    constexpr char32_t minimum[] = {0, 0x80, 0x800, 0x10000};  // a longer form than needed is not UTF-8
    if (character < minimum[more] || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) return kBad;
    at += more;
    return character;
}

}  // namespace

char16_t UnicodeFrom1252(char c) { return IsAscii(c) ? static_cast<char16_t>(c) : kWindows1252[HalfIndex(c)]; }

std::string Utf8From1252(std::string_view text) {
    std::string utf8;
    utf8.reserve(text.size());
    const auto put = [&](unsigned byte) { utf8 += static_cast<char>(byte); };
    for (const char c : text) {
        const unsigned character = UnicodeFrom1252(c);
        if (character < 0x80) {
            put(character);
        } else if (character < 0x800) {
            put(0xC0u | character >> 6);
            put(0x80u | (character & 0x3Fu));
        } else {
            put(0xE0u | character >> 12);
            put(0x80u | (character >> 6 & 0x3Fu));
            put(0x80u | (character & 0x3Fu));
        }
    }
    return utf8;
}

std::string Windows1252FromUtf8(std::string_view utf8) {
    std::string text;
    text.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        const char32_t character = NextCharacter(utf8, at);
        if (character < 0x80) {
            text += static_cast<char>(character);
        } else {
            const char byte = ByteFor(kWindows1252, character);
            text += byte ? byte : '?';
        }
    }
    return text;
}

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();)
        if (NextCharacter(text, at) == kBad) return false;
    return true;
}

char OemFrom1252(char c) { return Translate(c, kWindows1252, kOem850, kFor850); }
char Windows1252FromOem(char c) { return Translate(c, kOem850, kWindows1252, kFor1252); }

}  // namespace kestrel
