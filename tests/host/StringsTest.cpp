#include "kestrel/host/Strings.h"

#include <gtest/gtest.h>

#include "kestrel/host/Catalogue.h"
#include "kestrel/host/CharSets.h"

namespace kestrel {
namespace {

TEST(CharSets, EachHasItsCodePageAndIsFoundByItsCharacters) {
    const struct {
        int set;
        const char* utf8;
        const char* bytes;
        int found;  ///< without a set; Japanese comes before traditional Chinese
    } cases[] = {{0, "\xC3\xA4\xE2\x82\xAC", "\xE4\x80", 0}, {238, "\xC5\x82\xC5\xBA", "\xB3\x9F", 238},
                 {204, "\xD0\x9C\xD0\xB8", "\xCC\xE8", 204}, {161, "\xCE\x91\xCE\xA9", "\xC1\xD9", 161},
                 {162, "\xC4\x9F\xC5\x9F", "\xF0\xFE", 162}, {186, "\xC4\x85\xC4\x97", "\xE0\xEB", 186},
                 {163, "\xC6\xA1\xC4\x91", "\xF5\xF0", 163}, {177, "\xD7\x90\xD7\x91", "\xE0\xE1", 177},
                 {178, "\xD9\xBE\xDA\x86", "\x81\x8D", 178}, {222, "\xE0\xB8\x81\xE0\xB8\x82", "\xA1\xA2", 222},
                 {128, "\xE8\xA1\xA8", "\x95\\5c", 128},     {134, "\xE4\xBB\xAC", "\xC3\xC7", 134},
                 {136, "\xE9\xAB\x94", "\xC5\xE9", 128},     {129, "\xED\x95\x9C", "\xC7\xD1", 129}};
    for (const auto& c : cases) {
        EXPECT_EQ(MakeTextValue(c.utf8, static_cast<std::uint8_t>(c.set), false).value, c.bytes) << c.set;
        EXPECT_EQ(MakeTextValue(c.utf8, std::nullopt, false).charSet, c.found) << c.set;
    }
}

TEST(Strings, ComeFromTheBuiltInDataInUtf8) {
    EXPECT_TRUE(BuiltInStrings().Faults().empty());
    EXPECT_EQ(BuiltInText("IDS_SEPIA_NAME", Language::French), "S\xC3\xA9pia");
    EXPECT_EQ(BuiltInText("COMMON_OPEN", Language::German),
              "\xC3\x96"
              "ffnen\xE2\x80\xA6");
    EXPECT_FALSE(BuiltInText("IDS_SEPIA", Language::English));
}

TEST(Strings, FiltersTellTheirNameAndHelpOnOneLine) {
    const Description& histo = *FindFilter("Histo")->description;
    EXPECT_EQ(FilterName(histo, Language::German), "Helligkeit angleichen");
    for (const ClassRow* row : ListFilters())
        for (std::size_t i = 0; i < kLanguageCount; ++i)
            for (const std::string& text : {FilterName(*row->description, static_cast<Language>(i)),
                                            FilterHelp(*row->description, static_cast<Language>(i))}) {
                EXPECT_FALSE(text.empty()) << row->description->progId;
                EXPECT_EQ(text.find('\n'), std::string::npos) << text;
            }
    const Description print = {.nameKey = "PrintCrop", .name = "PrintCrop", .summary = "Cuts."};
    EXPECT_EQ(FilterName(print, Language::German), "PrintCrop");
    EXPECT_EQ(FilterHelp(print, Language::German), "Cuts.");
}

}  // namespace
}  // namespace kestrel
