#include "kestrel/foundation/CodePage.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <optional>
#include <string>

namespace kestrel {
namespace {

/// The system's own conversion of one byte; none where its tables have none.
std::optional<std::string> SystemConverts(const char* to, const char* from, std::string text) {
    const iconv_t converter = iconv_open(to, from);
    if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    char out[16];
    char* in = text.data();
    std::size_t inLeft = text.size();
    char* at = out;
    std::size_t outLeft = sizeof out;
    const bool done = iconv(converter, &in, &inLeft, &at, &outLeft) == 0;
    iconv_close(converter);
    return done ? std::optional(std::string(out, at)) : std::nullopt;
}

TEST(CodePageTest, EveryByteAgreesWithTheSystemsTables) {
    int compared = 0;
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        if (const auto utf8 = SystemConverts("UTF-8", "CP1252", text)) {
            EXPECT_EQ(Utf8From1252(text), *utf8) << byte;
            EXPECT_EQ(Windows1252FromUtf8(*utf8), text) << byte;
            ++compared;
        }
        if (const auto oem = SystemConverts("CP850", "CP1252", text)) {
            EXPECT_EQ(std::string(1, OemFrom1252(text[0])), *oem) << byte;
            EXPECT_EQ(Windows1252FromOem((*oem)[0]), text[0]) << byte;
            ++compared;
        }
    }
    EXPECT_GT(compared, 450);
}

TEST(CodePageTest, CaseIsTheLatinCase) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        EXPECT_EQ(UpperCase1252(LowerCase1252(c)), UpperCase1252(c)) << byte;
        if (UpperCase1252(c) != c) {
            EXPECT_EQ(LowerCase1252(UpperCase1252(c)), c) << byte;
        }
    }
    int letters = 0;
    for (int byte = 0; byte < 256; ++byte) letters += UpperCase1252(static_cast<char>(byte)) != static_cast<char>(byte);
    EXPECT_EQ(letters, 26 + 30 + 4) << "a to z, 30 from 0xE0 up, s and z with caron, the oe ligature, y with diaeresis";
}

TEST(CodePageTest, BrokenUtf8GivesQuestionMarks) {
    EXPECT_EQ(Windows1252FromUtf8("a\xC3\xA4"
                                  "b"),
              "a\xE4"
              "b");
    EXPECT_EQ(Windows1252FromUtf8("\xE2\x82\xAC"), "\x80");
    EXPECT_EQ(Windows1252FromUtf8("\xE4x"), "?x");
    EXPECT_EQ(Windows1252FromUtf8("\xC3"), "?");
    EXPECT_EQ(Windows1252FromUtf8("\xC0\x80"), "??") << "the long form of NUL";
    for (const char* half : {"\xED\xA0\x80", "\xED\xAF\xBF", "\xED\xB0\x80", "\xED\xBF\xBF"})
        EXPECT_EQ(Windows1252FromUtf8(half), "???") << "the first and the last of the halves of surrogate pairs";
    EXPECT_TRUE(IsUtf8("\xED\x9F\xBF\xEE\x80\x80")) << "their neighbours";
    EXPECT_EQ(Windows1252FromUtf8("\xF0\x9F\x98\x80"), "?") << "one character outside the code page";
    EXPECT_EQ(Windows1252FromUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_TRUE(IsUtf8("\xEF\xBF\xBD\xF4\x8F\xBF\xBF"));
    for (const char* text : {"\xE4", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "a\x80", "\xE2\x82"})
        EXPECT_FALSE(IsUtf8(text)) << text;
    EXPECT_EQ(Utf8From1252(std::string("a\0\xFF", 3)), std::string("a\0\xC3\xBF", 4));
}

}  // namespace
}  // namespace kestrel
