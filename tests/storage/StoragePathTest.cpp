#include "kestrel/storage/StoragePath.h"

#include <gtest/gtest.h>

#include "kestrel/storage/ElementName.h"

namespace kestrel {
namespace {

TEST(StoragePath, BoxFolders) {
    const auto isFolder = [](const std::string& path) {
        return path == "/home" || path == "/home/me" || path == "pics" || path == "pics/old" || path == "pics/old_qv";
    };
    const struct {
        const char* path;
        const char* folder;
    } cases[] = {
        {"x.box", "x.box_qv"},
        {"x.box/Pictures", "x.box_qv\\Pictures"},
        {"x.box/Pictures/OnlyPic", "x.box_qv\\Pictures\\OnlyPic"},
        {"C:\\pics\\x.box/Pictures", "C:\\pics\\x.box_qv\\Pictures"},
        {"x.box/", "x.box_qv\\"},
        {"/home/me/x.box", "\\home\\me\\x.box_qv"},  // slashes of folders that are there lead to the box
        {"/home/me/x.box/Pictures", "\\home\\me\\x.box_qv\\Pictures"},
        {"pics/x.box", "pics\\x.box_qv"},
        {"pics/old/Pictures", "pics\\old_qv\\Pictures"},  // a box that is there wins over a folder of its name
        {"gone/x.box", "gone_qv\\x.box"},
    };
    for (const auto& c : cases) EXPECT_EQ(BoxFolder(c.path, isFolder), c.folder) << c.path;
}

TEST(StoragePath, NamesStayInside) {
    using Names = std::vector<std::string>;
    const struct {
        const char* path;
        Names names;
    } cases[] = {
        {"a", {"a"}},
        {"a/b\\c", {"a", "b", "c"}},
        {"a//./b/", {"a", "b"}},
        {"..a/b..", {"..a", "b.."}},
        {"", {}},
        {".", {}},
        {"/a", {}},
        {"\\a", {}},
        {"..", {}},
        {"a/../b", {}},
        {"a\\..", {}},
    };
    for (const auto& c : cases) {
        Names names;
        EXPECT_EQ(SplitStorageName(c.path, names), !c.names.empty()) << c.path;
        EXPECT_EQ(names, c.names) << c.path;
    }
}

TEST(ElementName, IsUtf8OrElseWindows1252) {
    const struct {
        const char* text;
        std::u16string name;
        bool comesBack;
    } cases[] = {
        {"a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", u"a\u00E4\u20AC\U0001F600", true},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF", true},
        {"\xED\xA0\x80x", {0xD800, u'x'}, true},  // half a pair in a foreign file has a name as well
        {"\xE4x", u"\u00E4x", false},
        {"\xC0\x80", u"\u00C0\u20AC", false},
        {"\xE0\x80\x80", u"\u00E0\u20AC\u20AC", false},
        {"\xF4\x90\x80\x80", u"\u00F4\u0090\u20AC\u20AC", false},
        {"\xE2\x82", u"\u00E2\u201A", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ElementName(c.text), c.name) << c.text;
        EXPECT_EQ(ElementText(c.name) == c.text, c.comesBack) << c.text;
    }
}

}  // namespace
}  // namespace kestrel
