#include "kestrel/storage/StoragePath.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace kestrel
