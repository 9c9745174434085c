#include "kestrel/framework/FilterBox.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/foundation/Counted.h"
#include "kestrel/storage/QvSimpStorage.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

std::string record;  // what was handed over or shown, in order

struct RecordingEngine final : Counted<IScriptEngine, IScriptParser> {
    HRESULT AddPicture(const char* name, const void* data, std::size_t size) override {
        return Write("picture", std::string(name) + "=" + std::string(static_cast<const char*>(data), size));
    }
    HRESULT ParsePage(const char* text) override { return Write("page", text); }
    HRESULT ParseSequence(const char* text) override { return Write("sequence", text); }
    HRESULT ParseStrings(const char* text) override { return Write("strings", text); }
    ~RecordingEngine() override { Write("engine", "gone"); }

    static HRESULT Write(const std::string& what, const std::string& text) {
        record += what + ":" + text + "\n";
        return S_OK;
    }
};

/// Gives its engine to those who ask, or answers that there is none.
struct Host final : Counted<IUnknown> {
    HRESULT QueryInterface(const GUID& iid, void** object) override {
        return engine ? engine->QueryInterface(iid, object) : Counted::QueryInterface(iid, object);
    }
    Ref<RecordingEngine> engine{new RecordingEngine};
};

struct FilterBoxTest : testing::Test {
    FilterBoxTest() {
        record.clear();
        for (const char* folder : {"tree/Scripts", "tree/Pictures", "empty"})
            std::filesystem::create_directories(folders / folder);
        const std::pair<const char*, const char*> streams[] = {
            {"Scripts/color.strings", "A = B;"}, {"Scripts/Curves.Page", "the %d page"},
            {"Scripts/Curves.seq", "the order"}, {"Scripts/Lone.Page", "no order"},
            {"Pictures/icons_a", "1"},           {"Pictures/icons_a_clk", ""},
            {"Pictures/my_icons_a", "3"},        {"Pictures/icons_b", "4"}};
        for (const auto& [name, text] : streams) test::WriteBytes(folders / "tree" / name, text);
        root = Open("tree");
    }

    QvStoragePtr Open(const char* folder) const {
        return QvSimpStorage::CreateNewQvStorage((folders / folder).c_str(), kStorageRead, false, true);
    }

    /// What one call hands over.
    std::string Parse(const char* page, const char* prefix) {
        record.clear();
        box.FilterBox_Parse(host.get(), root.get(), page, prefix);
        return record;
    }

    const test::PrivateFolders folders;
    QvStoragePtr root;
    Ref<Host> host{new Host};
    FilterBox box;
};

// The debug monitor and the list of prefixes are one for a process, hence the processes of their own.
TEST_F(FilterBoxTest, HandsOverInOrderAndIconsOnceForEachPrefix) {
    const std::string handed = test::InChild([&] {
        std::string all;
        for (const auto& [page, prefix] : {std::pair{"Curves.Page", "icons_a"},
                                           {"Curves.Page", "icons_a"},
                                           {nullptr, "icons_b"},
                                           {nullptr, nullptr},
                                           {"Lone.Page", nullptr},
                                           {"None.Page", nullptr},
                                           {"", nullptr},
                                           {"x", nullptr}})
            all += Parse(page, prefix) + "--\n";
        root = Open("empty");
        all += Parse("Curves.Page", "icons_x") + "--\n";
        record = box.IsActive() ? "" : "inactive\n";
        box = {};
        host = nullptr;
        return all + record;
    });
    const std::string strings = "strings:A = B;\n", page = strings + "page:the %d page\nsequence:the order\n";
    EXPECT_EQ(handed, "picture:icons_a=1\npicture:icons_a_clk=\npicture:my_icons_a=3\n" + page + "--\n" +  //
                          page + "--\n" +                             // a known prefix
                          "picture:icons_b=4\n" + strings + "--\n" +  // no page
                          strings + "--\n" +                          // neither
                          strings + "page:no order\n--\n" +           // no sequence
                          strings + "--\n" + strings + "--\n" + strings + "--\n--\nengine:gone\n");
}

TEST_F(FilterBoxTest, IsInactiveWithoutEngineOrStorage) {
    box.FilterBox_Parse(host.get(), nullptr, "Curves.Page", "icons_x");
    EXPECT_FALSE(box.IsActive());
    box.FilterBox_Parse(nullptr, root.get(), "Curves.Page", "icons_x");
    EXPECT_FALSE(box.IsActive());
    host->engine = nullptr;
    EXPECT_EQ(Parse("Curves.Page", "icons_x"), "");
    EXPECT_FALSE(box.IsActive());
}

TEST_F(FilterBoxTest, ShowsPagesToDevelopers) {
    test::WriteBytes(folders / "program/TMDebug.txt", "FilterBox_Parse");
    EXPECT_EQ(test::InChild([&] {
                  SetDebugOutput([](const char* text) { record += text; });
                  TraceLog::StopLogging(false);
                  return Parse("Curves.Page", nullptr);
              }),
              "strings:A = B;\n"
              "FilterBox_Parse [TMDeMon]: the %d page\npage:the %d page\n"
              "FilterBox_Parse [TMDeMon]: the order\nsequence:the order\n");
}

}  // namespace
}  // namespace kestrel
