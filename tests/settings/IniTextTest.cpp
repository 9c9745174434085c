#include "kestrel/settings/IniText.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrel {
namespace {

using namespace std::string_literals;

TEST(IniTextTest, ReadsAsAProfile) {
    const IniText text(
        "lost=1\r\n"
        "; [A]\r\n"
        "[A]\r\n"
        "  Key = value with blanks \t\r\n"
        "key=second\r\n"
        "quoted=\"  kept  \"\r\n"
        "single='x'\r\n"
        "one=\"\r\n"
        ";off=1\r\n"
        "no equals sign\r\n"
        "empty=\r\n"
        "twice=a=b\r\n"
        "[ b ] behind\r\n"
        "Key=of b\r\n"
        "[A]\r\n"
        "later=never seen\r\n"
        "[open\n"
        "last=no line end");
    const struct {
        const char* section;
        const char* key;
        std::optional<std::string> want;
    } cases[] = {
        {"A", "Key", "value with blanks"},
        {"a", "KEY", "value with blanks"},
        {"A", "quoted", "  kept  "},
        {"A", "single", "x"},
        {"A", "one", "\""},
        {"A", "off", std::nullopt},
        {"A", ";off", std::nullopt},
        {"A", "no equals sign", std::nullopt},
        {"A", "empty", ""},
        {"A", "twice", "a=b"},
        {"b", "key", "of b"},
        {"A", "later", std::nullopt},
        {"A", "lost", std::nullopt},
        {"C", "Key", std::nullopt},
        {"open", "last", "no line end"},
    };
    for (const auto& c : cases) EXPECT_EQ(text.Get(c.section, c.key), c.want) << c.section << " " << c.key;
}

TEST(IniTextTest, ChangesNothingButTheEntry) {
    const struct {
        const char* before;
        const char* section;
        const char* key;
        const char* value;
        const char* after;
    } cases[] = {
        {"", "S", "k", "v", "[S]\nk=v\n"},
        {"[S]\r\na=1\r\n; note\r\n\r\n[T]\r\n", "s", "A", "2", "[S]\r\na=2\r\n; note\r\n\r\n[T]\r\n"},
        {"[S]\na=1\n; note\n\n[T]\n", "S", "b", "2", "[S]\na=1\n; note\nb=2\n\n[T]\n"},
        {"[S]\na=1", "S", "b", "2", "[S]\na=1\nb=2\n"},
        {"[S]\na=1", "S", "a", "2", "[S]\na=2\n"},
        {"junk\n[S]", "S", "b", "2", "junk\n[S]\nb=2\n"},
        {"[S]\na=1\n", "T", "b", "2", "[S]\na=1\n\n[T]\nb=2\n"},
        {"[S]\na=1\n[S]\na=9\n", "S", "a", "2", "[S]\na=2\n[S]\na=9\n"},
    };
    for (const auto& c : cases) {
        IniText text(c.before);
        text.Set(c.section, c.key, c.value);
        EXPECT_EQ(text.Bytes(), c.after);
    }
}

TEST(IniTextTest, ValuesComeBackAsTheyWere) {
    for (const char* value : {"plain", " blank before", "blank behind\t", "\"quoted\"", "'", "a;b", "=", "[x]", ""}) {
        IniText text("[S]\nother=1\n");
        text.Set("S", "k", value);
        EXPECT_EQ(text.Get("S", "k"), value);
        EXPECT_EQ(text.Get("S", "other"), "1");
    }
}

TEST(IniTextTest, RefusesWhatWouldNotComeBack) {
    EXPECT_TRUE(IniText::IsKey("a b\\c"));
    for (const char* key : {"", " a", "a=b", ";a", "[a", "a\nb"}) EXPECT_FALSE(IniText::IsKey(key)) << key;
    EXPECT_TRUE(IniText::IsSection("a_#_b\\c=d"));
    for (const char* section : {"", "a]b", "a\r", " a"}) EXPECT_FALSE(IniText::IsSection(section)) << section;
    EXPECT_TRUE(IniText::IsValue(""));
    EXPECT_FALSE(IniText::IsValue("a\n[S]"));
}

TEST(IniTextTest, DeletesSectionsAndListsTheRest) {
    IniText text("head\n[A]\nx=1\n[B]\ny=2\nz=3\n[a]\nx=4\n");
    EXPECT_EQ(text.Sections(), (std::vector<std::string>{"A", "B", "a"}));
    text.DeleteSection("A");
    EXPECT_EQ(text.Bytes(), "head\n[B]\ny=2\nz=3\n");
    EXPECT_EQ(text.Entries("b"), (std::vector<std::pair<std::string, std::string>>{{"y", "2"}, {"z", "3"}}));
}

TEST(IniTextTest, Utf8MarkIsNoPartOfTheFirstLine) {
    const std::string mark = "\xEF\xBB\xBF";
    IniText text(mark + "[A]\na=1\n[B]\nb=2\n");
    EXPECT_EQ(text.Sections(), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(text.Get("A", "a"), "1");
    text.Set("A", "a", "3");
    EXPECT_EQ(text.Bytes(), mark + "[A]\na=3\n[B]\nb=2\n");
    text.DeleteSection("A");
    EXPECT_EQ(text.Bytes(), mark + "[B]\nb=2\n");
}

TEST(IniTextTest, BinaryBytesAreKept) {
    const std::string before = "\0\x01[S]\n\xFF\0=\n[S]\nk=1\n\0"s;
    const std::string after = "\0\x01[S]\n\xFF\0=\n[S]\nk=2\n\0"s;
    IniText text(before);
    text.Set("S", "k", "2");
    EXPECT_EQ(text.Bytes(), after);
    EXPECT_EQ(text.Get("S", "k"), "2");
}

}  // namespace
}  // namespace kestrel
