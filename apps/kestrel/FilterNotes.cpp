#include "apps/kestrel/FilterNotes.h"

namespace {

constexpr struct {
    std::string_view filter;
    std::string_view notes;
} kNotes[] = {
    {"Rotate",
     "Angle counts degrees counterclockwise; Angle=270 is the clockwise quarter turn.\n"
     "Hundredths are cut in a way that makes -89.99 of -90: leave negative angles to\n"
     "turns that need not be exact.\n"},
    {"Text",
     "txt   With -f, UTF-8 up to the next key, commas included; --text-of takes any\n"
     "      text as it stands. \\n is a line break, a backslash and two lower-case\n"
     "      hexadecimal digits are the byte of that number: \\5c is a backslash. Chain\n"
     "      texts hold the bytes of the character set, with control characters and\n"
     "      , & = \\ written in that way. At most 199 bytes.\n"
     "pos   1 2 3: top left, middle, right; 4 5: left and right edge; 6 7 8: bottom\n"
     "      left, middle, right; 9: the middle of the picture.\n"
     "dir   0 upright, 90 reading upward, 270 reading downward.\n"
     "fcol  Color of the letters: blue * 65536 + green * 256 + red; with -f also\n"
     "      #RRGGBB. shr, shg and shb are red, green and blue of the shadow.\n"
     "fchs  Character set: 0 Western, 238 Central European, 204 Cyrillic, 161 Greek,\n"
     "      162 Turkish, 186 Baltic, 163 Vietnamese, 177 Hebrew, 178 Arabic, 222 Thai,\n"
     "      128 Japanese, 134 and 136 Chinese, 129 Korean. With -f the first that\n"
     "      holds the text is chosen when none is given.\n"
     "fpia  0; 16 falls back to a font with serifs, 49 to one of fixed pitch.\n"},
};

}  // namespace

std::string_view NotesOf(std::string_view filter) {
    for (const auto& row : kNotes)
        if (row.filter == filter) return row.notes;
    return {};
}
