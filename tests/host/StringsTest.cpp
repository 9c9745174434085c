#include "kestrel/host/Strings.h"

#include <gtest/gtest.h>

#include "kestrel/host/Catalogue.h"

namespace kestrel {
namespace {

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
