#include "kestrel/framework/ScriptStrings.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace kestrel {
namespace {

using Strings = std::vector<std::string>;

TEST(ScriptStrings, ReadsWhatTheFormAllows) {
    const ScriptStrings strings(
        "// IDS_OUT = English(\"out\");\r\n"
        "IDS_A =\r\n  English(\"Color\"),\r\n  Italian(\"Colore\"), French(\"Couleur\"),\r\n"
        "  Spanish(\"Color\"),\r\n  German(\"Farbe\");\r\n"
        "/* IDS_OUT = English(\"a\");\r\n   over lines */ HLP_B = // the key\r\n"
        "  German(\"Gr\xFC\xDF\\n\\\"// \x80\\\\\\q\") , English ( \"/*Greetings*/\" ) ;"
        "COMMON_C=German(\"\");\nIDS_D=\n\tFrench(\"a\") /**/ ;");
    EXPECT_TRUE(strings.Faults().empty()) << strings.Faults()[0].line << ": " << strings.Faults()[0].reason;
    EXPECT_EQ(strings.Keys(), (Strings{"IDS_A", "HLP_B", "COMMON_C", "IDS_D"}));
    EXPECT_EQ(strings.Text("IDS_A", Language::French), "Couleur");
    EXPECT_EQ(strings.Text("HLP_B", Language::German), "Gr\xFC\xDF\n\"// \x80\\\\q");
    EXPECT_EQ(strings.Text("HLP_B", Language::Spanish), "/*Greetings*/") << "English is the fallback";
    EXPECT_FALSE(strings.TextIn("HLP_B", Language::Spanish));
    EXPECT_EQ(strings.Text("COMMON_C", Language::German), "") << "an empty text is a text";
    EXPECT_FALSE(strings.Text("IDS_D", Language::German)) << "neither German nor English";
    EXPECT_FALSE(strings.Text("IDS_OUT", Language::English));
    EXPECT_FALSE(strings.Has("IDS_"));
}

// Each broken file is followed by an entry that has to be read, and lies before the line of its fault.
TEST(ScriptStrings, SkipsNoMoreThanTheFault) {
    const struct {
        std::string file;
        int line;       ///< of the only fault
        Strings keys;   ///< beside the entry that follows
        std::string a;  ///< German text of the key A
    } cases[] = {
        {"A = German(\"x\")\n", 2, {"A"}, "x"},
        {"A = German(\"x\"),\n", 2, {"A"}, "x"},
        {"A = German(\"x\n", 1, {"A"}, "-"},
        {"A = German(\"x\\\n", 1, {"A"}, "-"},
        {"A = German(\"x\";\n", 1, {"A"}, "-"},
        {"A = German x;\n", 1, {"A"}, "-"},
        {"A = German(x);\n", 1, {"A"}, "-"},
        {"A German(\"x\");\n", 1, {}, "-"},
        {"\n= German(\"x\");\n", 2, {}, "-"},
        {"A = Deutsch(\"y\"), German(\"x\");\n", 1, {"A"}, "x"},
        {"A = German(\"x\"), German(\"y\");\n", 1, {"A"}, "x"},
        {"A = German(\"x\");\nA = German(\"y\");\n", 2, {"A"}, "x"},
        {"A = German(\"x\t\");\n", 1, {"A"}, "-"},
        {"A = German(\"x\x81\");\n", 1, {"A"}, "-"},
        {std::string("A = German(\"x\0\");\n", 18), 1, {"A"}, "-"},
        {"\xEF\xBB\xBF// UTF-8\n", 1, {}, "-"},
        {std::string("\0\0\n", 3), 1, {}, "-"},
    };
    for (const auto& [file, line, keys, a] : cases) {
        SCOPED_TRACE(file);
        const ScriptStrings strings(file + "NEXT = German(\"n\");");
        ASSERT_EQ(strings.Faults().size(), 1u);
        EXPECT_EQ(strings.Faults()[0].line, line);
        Strings all = keys;
        all.push_back("NEXT");
        EXPECT_EQ(strings.Keys(), all);
        EXPECT_EQ(strings.Text("A", Language::German).value_or("-"), a);
        EXPECT_EQ(strings.Text("NEXT", Language::German), "n");
    }
    const ScriptStrings open("A = German(\"x\");\n\n/* to the end\nB = German(\"y\");");
    ASSERT_EQ(open.Faults().size(), 1u);
    EXPECT_EQ(open.Faults()[0].line, 3);
    EXPECT_EQ(open.Keys(), Strings{"A"});
}

TEST(ScriptStrings, LanguagesHaveNamesThatPeopleUse) {
    for (const char* name : {"de", "DE", "German", "german", "de-AT", "de_DE.UTF-8"})
        EXPECT_EQ(ParseLanguage(name), Language::German) << name;
    for (const char* name : {"", "d", "deu", "Deutsch", "pt", "-de", "C"}) EXPECT_FALSE(ParseLanguage(name)) << name;
    for (std::size_t i = 0; i < kLanguageCount; ++i) {
        const auto language = static_cast<Language>(i);
        EXPECT_EQ(ParseLanguage(LanguageName(language)), language);
        EXPECT_EQ(ParseLanguage(LanguageCode(language)), language);
    }
}

}  // namespace
}  // namespace kestrel
