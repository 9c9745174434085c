#include "kestrel/settings/Store.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "kestrel/settings/RegistryKeys.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

using test::PrivateFolders;

struct StoreTest : testing::Test {
    PrivateFolders folders;
    std::filesystem::path file = folders / "store.db";

    void Put(const char* key, const char* name, const char* text) {
        Store store(file, Store::Access::kWrite);
        store.Set(key, name, text);
        store.Commit();
    }
    std::optional<std::string> Get(const char* key, const char* name) {
        return Store(file, Store::Access::kRead).Get(key, name);
    }
};

TEST_F(StoreTest, NamesKeysWithoutCaseAndKeepsBytes) {
    Put("A\\B", "Name", "first");
    Put("a\\b\\", "NAME", "\xFF\xE4 second");
    EXPECT_EQ(Get("A\\\\B", "name"), "\xFF\xE4 second");
    EXPECT_EQ(Get("A", "name"), std::nullopt);
    const Store store(file, Store::Access::kRead);
    EXPECT_TRUE(store.HasKey("A"));
    EXPECT_FALSE(store.HasKey("B"));
    EXPECT_EQ(store.Subkeys(""), std::vector<std::string>{"A"});
}

TEST_F(StoreTest, MissingStoreReadsAsEmptyAndIsNotMade) {
    EXPECT_EQ(Get("A", "n"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file));
    test::WriteBytes(file, "");
    EXPECT_EQ(Get("A", "n"), std::nullopt) << "a writer that made the file and has not committed yet";
}

TEST_F(StoreTest, UncommittedIsNothing) {
    Put("A", "n", "old");
    { Store(file, Store::Access::kWrite).Set("A", "n", "new"); }
    EXPECT_EQ(Get("A", "n"), "old");
}

TEST_F(StoreTest, DeletesWithSubkeysAndUpwardWhileEmpty) {
    Put("Root\\P\\S\\L", "n", "1");
    Put("Root\\P\\T", "n", "1");
    Store store(file, Store::Access::kWrite);
    EXPECT_TRUE(store.DeleteKey("Root\\P\\S\\L"));
    EXPECT_FALSE(store.DeleteKey("Root\\P\\S\\L"));
    store.DeleteWhileEmpty("Root\\P\\S\\L");
    EXPECT_FALSE(store.HasKey("Root\\P\\S"));
    EXPECT_TRUE(store.HasKey("Root\\P")) << "it still holds T";
    store.DeleteKey("Root\\P\\T");
    store.DeleteWhileEmpty("Root\\P\\T");
    EXPECT_FALSE(store.HasKey("Root\\P"));
    EXPECT_TRUE(store.HasKey("Root")) << "the first name stays";
    store.Set("Root\\Q", "n", "1");
    EXPECT_TRUE(store.DeleteKey("Root"));
    EXPECT_FALSE(store.HasKey("Root\\Q"));
}

TEST_F(StoreTest, ForeignBytesAreToldNotReplaced) {
    const std::string garbage(5000, 'g');
    test::WriteBytes(file, garbage);
    try {
        Get("A", "n");
        ADD_FAILURE() << "read garbage";
    } catch (const StoreError& error) {
        EXPECT_EQ(error.status, kKeyUnreadable);
    }
    try {
        Put("A", "n", "x");
        ADD_FAILURE() << "wrote into garbage";
    } catch (const StoreError& error) {
        EXPECT_EQ(error.status, kKeyNotCreated);
    }
    EXPECT_EQ(test::ReadBytes(file), garbage);
}

TEST_F(StoreTest, WritersOfSeveralThreadsFollowEachOther) {
    std::vector<std::thread> writers;
    for (int w = 0; w < 4; ++w)
        writers.emplace_back([&, w] {
            for (int i = 0; i < 10; ++i) Put("K", (std::to_string(w) + "-" + std::to_string(i)).c_str(), "x");
        });
    for (auto& writer : writers) writer.join();
    EXPECT_EQ(Store(file, Store::Access::kRead).Texts("K").size(), 40u);
}

TEST_F(StoreTest, KilledWriterLeavesTheOldOrTheNew) {
    // Both texts of a round are written in one transaction; whatever moment the kill takes, they agree.
    Put("K", "one", "0");
    Put("K", "two", "0");
    for (int round = 0; round < 25; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 1;; ++i) {
                Store store(file, Store::Access::kWrite);
                store.Set("K", "one", std::to_string(i) + std::string(3000, 'x'));
                store.Set("K", "two", std::to_string(i) + std::string(3000, 'x'));
                store.Commit();
            }
        }
        usleep(static_cast<useconds_t>(500 + 613 * round));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const auto one = Get("K", "one");
        ASSERT_TRUE(one.has_value());
        ASSERT_EQ(one, Get("K", "two"));
    }
}

TEST_F(StoreTest, BranchesAndTheClassRoot) {
    QvString text;
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x", "", text), kKeyMissing);
    EXPECT_EQ(RegistryWrite(HKEY_CLASSES_ROOT, {{"CLSID\\x", "", "for all"}, {"CLSID\\x\\ProgID", "", "X.1"}}),
              kSuccess);
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x", "", text), kSuccess);
    EXPECT_EQ(text, "for all");
    EXPECT_EQ(RegistryRead(HKEY_LOCAL_MACHINE, "Software\\Classes\\CLSID\\x\\ProgID", "", text), kSuccess);
    EXPECT_EQ(text, "X.1");
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x", "other", text), kKeyUnreadable);

    EXPECT_EQ(RegistryWrite(HKEY_CURRENT_USER, {{"Software\\Classes\\CLSID\\x", "", "mine"}}), kSuccess);
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x", "", text), kSuccess);
    EXPECT_EQ(text, "mine") << "the current user's comes first";

    RegistryContents contents;
    EXPECT_EQ(RegistryList(HKEY_CLASSES_ROOT, "CLSID\\x", contents), kSuccess);
    EXPECT_EQ(contents.subkeys, std::vector<std::string>{"ProgID"});
    EXPECT_EQ(contents.texts, (std::vector<std::pair<std::string, std::string>>{{"", "mine"}}));

    EXPECT_EQ(DeleteKeyAndAllSubkeys(HKEY_CLASSES_ROOT, "clsid\\X"), 0);
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x\\ProgID", "", text), kKeyMissing);
    EXPECT_EQ(DeleteKeyAndAllSubkeys(HKEY_CLASSES_ROOT, "CLSID\\x"), kKeyMissing);
    EXPECT_EQ(DeleteKeyAndAllSubkeys(HKEY_CURRENT_USER, "\\"), kBadArguments);
    EXPECT_EQ(DeleteKeyAndAllSubkeys(HKEY_CURRENT_USER, nullptr), kBadArguments);
}

TEST_F(StoreTest, ClassRootFallsToTheUserWhereAllUsersAreClosed) {
    test::WriteBytes(folders / "system", "a file where the folder should be");
    EXPECT_EQ(RegistryWrite(HKEY_CLASSES_ROOT, {{"X", "", "x"}}), kSuccess);
    QvString text;
    EXPECT_EQ(RegistryRead(HKEY_CURRENT_USER, "Software\\Classes\\X", "", text), kSuccess);
    EXPECT_EQ(RegistryWrite(HKEY_LOCAL_MACHINE, {{"X", "", "x"}}), kKeyNotCreated);
}

}  // namespace
}  // namespace kestrel
