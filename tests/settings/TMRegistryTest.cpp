#include "kestrel/settings/TMRegistry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>

#include "kestrel/settings/Branches.h"
#include "kestrel/settings/TMRegistryMFC.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

using enum SettingsPlace;
using test::ReadBytes;
using test::WriteBytes;

constexpr SettingsPlace kPlaces[] = {kAllUsers, kCurrentUser, kIniFile, kIniFileUser};
constexpr const char* kIdentity =
    "[TMGallery]\r\nCompany=Velda\r\nProduct=Gallery\r\nVersion=7\r\nShortId=TMG\r\n"
    "[Broken]\r\nCompany=Velda\r\nProduct=\r\nVersion=7\r\nShortId=TMG\r\n";

struct TMRegistryTest : testing::Test {
    TMRegistryTest() { WriteBytes(folders / "program/Velda.inf", kIdentity); }

    test::PrivateFolders folders;
    std::filesystem::path ini = folders / "program/Relax.ini";
    QvString text;
};

TEST_F(TMRegistryTest, IdentityMakesTheRootKey) {
    EXPECT_EQ(TMRegistry().GetRootKey(), "Software\\Velda\\Gallery\\7");
    EXPECT_EQ(TMRegistry("tmgallery").GetStatus(), kSuccess);
    EXPECT_EQ(TMRegistry("TMGallery", "8.1").GetRootKey(), "Software\\Velda\\Gallery\\8.1");
    EXPECT_EQ(TMRegistry("TMGallery", "/x/y.ini").GetRootKey(), "Software\\Velda\\Gallery\\7");
    EXPECT_EQ(TMRegistry("Broken").GetStatus(), kNoIniValue);
    EXPECT_EQ(TMRegistry("Other").GetStatus(), kNoIniValue);
    EXPECT_EQ(TMRegistry(nullptr).GetStatus(), kBadArguments);
    TMRegistryMFC mfc(QvString("TMGallery"));
    EXPECT_EQ(mfc.GetRootKey(), "Software\\Velda\\Gallery\\7");
}

TEST_F(TMRegistryTest, IdentityIsLookedForInTheCurrentFolderToo) {
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directory(folders / "here");
    std::filesystem::rename(folders / "program/Velda.inf", folders / "here/Velda.inf");
    std::filesystem::current_path(folders / "here");
    EXPECT_EQ(TMRegistry().GetStatus(), kSuccess);
    std::filesystem::current_path(before);
    EXPECT_EQ(TMRegistry().GetStatus(), kNoIniValue);
    setenv("KESTREL_PROGRAM_DIR", ("/" + std::string(250, 'p')).c_str(), 1);
    std::filesystem::current_path(folders / "here");
    EXPECT_EQ(TMRegistry().GetStatus(), kSuccess) << "the long folder does not exist";
    std::filesystem::current_path(before);
}

TEST_F(TMRegistryTest, WithoutIdentityEveryOperationSaysSo) {
    TMRegistry none("Other");
    char buffer[8] = "kept";
    int integer = 5;
    bool flag = true;
    for (const auto place : kPlaces) {
        EXPECT_EQ(none.WriteText(place, "s", "k", "v"), kNotInitialized);
        EXPECT_EQ(none.WriteInteger(place, "s", "k", 1), kNotInitialized);
        EXPECT_EQ(none.WriteBool(place, "s", "k", true), kNotInitialized);
        EXPECT_EQ(none.ReadText(place, "s", "k", buffer, 8), kNotInitialized);
        EXPECT_EQ(none.ReadText(place, nullptr, nullptr, nullptr, 0), kNotInitialized);
        EXPECT_EQ(none.ReadText(place, "s", "k", text), kNotInitialized);
        EXPECT_EQ(none.ReadText(place, "s", "k", text, "d"), kNotInitialized);
        EXPECT_EQ(none.ReadInteger(place, "s", "k", integer), kNotInitialized);
        EXPECT_EQ(none.ReadBool(place, "s", "k", flag), kNotInitialized);
        EXPECT_EQ(none.ReadPath(place, "s", "k", text), kNotInitialized);
        EXPECT_EQ(none.AddToList(place, "s", "k", "v"), kNotInitialized);
        EXPECT_EQ(none.CountList(place, "s", "k", integer), kNotInitialized);
        EXPECT_EQ(none.RemoveFromList(place, "s", "k", 0), kNotInitialized);
    }
    EXPECT_EQ(none.GetUserName(text), kNotInitialized);
    EXPECT_EQ(none.GetIniPath(text), kNotInitialized);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(integer, 5);
}

TEST_F(TMRegistryTest, EmptyNamesAreRefused) {
    TMRegistry settings;
    for (const auto place : kPlaces) {
        EXPECT_EQ(settings.WriteText(place, "", "k", "v"), kBadArguments);
        EXPECT_EQ(settings.WriteText(place, nullptr, "k", "v"), kBadArguments);
        EXPECT_EQ(settings.WriteText(place, "s", "", "v"), kBadArguments);
        EXPECT_EQ(settings.WriteText(place, "s", "k", nullptr), kBadArguments);
        EXPECT_EQ(settings.ReadText(place, "s", nullptr, text), kBadArguments);
        EXPECT_EQ(settings.ReadText(place, "s", "k", nullptr, 5), kBadArguments);
        EXPECT_EQ(settings.AddToList(place, "s", "k", ""), kBadArguments);
    }
}

TEST_F(TMRegistryTest, TypedTextsComeBackFromEveryPlace) {
    TMRegistry settings;
    for (const auto place : kPlaces) {
        SCOPED_TRACE(static_cast<int>(place));
        EXPECT_EQ(settings.WriteText(place, "View", "Name",
                                     "Gr\xFC\xDF"
                                     "e"),
                  kSuccess);
        EXPECT_EQ(settings.ReadText(place, "view", "NAME", text), kSuccess);
        EXPECT_EQ(text,
                  "Gr\xFC\xDF"
                  "e");
        EXPECT_EQ(settings.WriteInteger(place, "View", "Zoom", -2147483647 - 1), kSuccess);
        int integer = 0;
        EXPECT_EQ(settings.ReadInteger(place, "View", "Zoom", integer), kSuccess);
        EXPECT_EQ(integer, -2147483647 - 1);
        EXPECT_EQ(settings.ReadText(place, "View", "Zoom", text), kSuccess);
        EXPECT_EQ(text, "-2147483648");
        for (const bool want : {true, false}) {
            EXPECT_EQ(settings.WriteBool(place, "View", "Grid", want), kSuccess);
            EXPECT_EQ(settings.ReadText(place, "View", "Grid", text), kSuccess);
            EXPECT_EQ(text, want ? "true" : "false");
            bool flag = !want;
            EXPECT_EQ(settings.ReadBool(place, "View", "Grid", flag), kSuccess);
            EXPECT_EQ(flag, want);
        }
        EXPECT_EQ(settings.WriteText(place, "View", "Name", "n", false), kKeptExisting);
        EXPECT_EQ(settings.WriteText(place, "View", "Fresh", "n", false), kSuccess);
        const std::string longText(1000, 'l');
        EXPECT_EQ(settings.WriteText(place, "View", "Long", longText.c_str()), kSuccess);
        EXPECT_EQ(settings.ReadText(place, "View", "Long", text), kSuccess);
        EXPECT_EQ(text, longText.c_str());
    }
    EXPECT_EQ(TMRegistry("TMGallery", "8").ReadText(kCurrentUser, "View", "Name", text), kKeyMissing)
        << "another version has keys of its own";
}

TEST_F(TMRegistryTest, PlainReadsLeaveTheTargetAndSayWhy) {
    TMRegistry settings;
    (void)settings.WriteText(kCurrentUser, "s", "word", "abcdef");
    (void)settings.WriteText(kCurrentUser, "s", "number", "12345678901234567890");
    (void)settings.WriteText(kCurrentUser, "s", "tail", " 42 apples");
    char buffer[7] = "kept";
    EXPECT_EQ(settings.ReadText(kCurrentUser, "none", "word", buffer, 7), kKeyMissing);
    EXPECT_EQ(settings.ReadText(kCurrentUser, "s", "none", buffer, 7), kKeyUnreadable);
    EXPECT_EQ(settings.ReadText(kCurrentUser, "s", "word", buffer, 6), kBufferTooSmall);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(settings.ReadText(kCurrentUser, "s", "word", buffer, 7), kSuccess);
    EXPECT_STREQ(buffer, "abcdef");
    int integer = 9;
    bool flag = true;
    EXPECT_EQ(settings.ReadInteger(kCurrentUser, "s", "word", integer), kBadConversion);
    EXPECT_EQ(settings.ReadInteger(kCurrentUser, "s", "number", integer), kBufferTooSmall);
    EXPECT_EQ(integer, 9);
    EXPECT_EQ(settings.ReadInteger(kCurrentUser, "s", "tail", integer), kSuccess);
    EXPECT_EQ(integer, 42);
    EXPECT_EQ(settings.ReadBool(kCurrentUser, "s", "word", flag), kBadConversion);
    (void)settings.WriteText(kCurrentUser, "s", "case", "False");
    EXPECT_EQ(settings.ReadBool(kCurrentUser, "s", "case", flag), kBadConversion);
    EXPECT_TRUE(flag);
}

TEST_F(TMRegistryTest, DefaultsStandIn) {
    TMRegistry settings;
    for (const auto place : kPlaces) {
        char buffer[11] = "";
        EXPECT_EQ(settings.ReadText(place, "s", "none", buffer, 5, "0123456789"), kDefaultTooLong);
        EXPECT_STREQ(buffer, "0123");
        EXPECT_EQ(settings.ReadText(place, "s", "none", buffer, 11, "0123456789"), kSuccess);
        EXPECT_STREQ(buffer, "0123456789");
        EXPECT_EQ(settings.ReadText(place, "s", "none", text, "anything"), kSuccess);
        EXPECT_EQ(text, "anything");
        int integer = 0;
        EXPECT_EQ(settings.ReadInteger(place, "s", "none", integer, 12), kSuccess);
        EXPECT_EQ(integer, 12);
        bool flag = false;
        EXPECT_EQ(settings.ReadBool(place, "s", "none", flag, true), kSuccess);
        EXPECT_TRUE(flag);
        (void)settings.WriteText(place, "s", "word", "abcdef");
        EXPECT_EQ(settings.ReadText(place, "s", "word", text, "x"), kSuccess);
        EXPECT_EQ(text, "abcdef");
        EXPECT_EQ(settings.ReadText(place, "s", "word", buffer, 4, "xy"), kSuccess) << "too small for the text";
        EXPECT_STREQ(buffer, "xy");
        EXPECT_EQ(settings.ReadInteger(place, "s", "word", integer, 3), kSuccess);
        EXPECT_EQ(integer, 3);
    }
}

TEST_F(TMRegistryTest, PathsGetTheirClosingSeparator) {
    const struct {
        const char* stored;
        const char* want;
    } cases[] = {
        {"C:\\Data", "C:\\Data\\"}, {"C:\\Data\\", "C:\\Data\\"}, {"/home/log", "/home/log/"}, {"/", "/"}, {"x", "x\\"},
        {"C:/a\\b", "C:/a\\b\\"}};
    TMRegistry settings;
    for (const auto& c : cases) {
        (void)settings.WriteText(kAllUsers, "p", "path", c.stored);
        EXPECT_EQ(settings.ReadPath(kAllUsers, "p", "path", text), kSuccess);
        EXPECT_EQ(text, c.want);
    }
    (void)settings.WriteText(kAllUsers, "p", "path", "C:\\Data");
    char buffer[9];
    EXPECT_EQ(settings.ReadPath(kAllUsers, "p", "path", buffer, 9), kSuccess);
    EXPECT_STREQ(buffer, "C:\\Data\\");
    EXPECT_EQ(settings.ReadPath(kAllUsers, "p", "path", buffer, 8), kPathTooLong);
    EXPECT_EQ(settings.ReadPath(kAllUsers, "p", "path", buffer, 7), kBufferTooSmall);
    (void)settings.WriteText(kAllUsers, "p", "path", "");
    EXPECT_EQ(settings.ReadPath(kAllUsers, "p", "path", text), kSuccess);
    EXPECT_EQ(text, "");
}

TEST_F(TMRegistryTest, UsersAreNumberedByTheMachine) {
    EXPECT_EQ(TMRegistry().GetUserName(text), kSuccess);
    EXPECT_EQ(text, "User0001");
    EXPECT_EQ(TMRegistry().GetUserName(text), kSuccess);
    EXPECT_EQ(text, "User0001") << "the number stays";
    QvString last;
    EXPECT_EQ(RegistryRead(HKEY_LOCAL_MACHINE, "Software\\Velda\\Gallery\\7", "LastUser", last), kSuccess);
    EXPECT_EQ(last, "0001");
    setenv("KESTREL_CONFIG_DIR", (folders / "second user").c_str(), 1);
    EXPECT_EQ(TMRegistry().GetUserName(text), kSuccess);
    EXPECT_EQ(text, "User0002");
    setenv("KESTREL_CONFIG_DIR", (folders / "third user").c_str(), 1);
    setenv("KESTREL_SYSTEM_DIR", "/proc/nowhere", 1);
    EXPECT_EQ(TMRegistry().GetUserName(text), kKeyNotCreated) << "no two users share a number";
    EXPECT_EQ(TMRegistry().WriteText(kIniFileUser, "View", "Zoom", "3"), kKeyNotCreated);
}

TEST_F(TMRegistryTest, IniFileKeepsSectionsByShortIdAndUser) {
    TMRegistry settings;
    EXPECT_EQ(settings.GetIniPath(text), kSuccess);
    EXPECT_EQ(text, ini.c_str());
    (void)settings.WriteText(kIniFile, "View", "Zoom", "2");
    (void)settings.WriteText(kIniFileUser, "View", "Zoom", "3");
    EXPECT_EQ(ReadBytes(ini), "[TMG_#_View]\nZoom=2\n\n[User0001_#_View]\nZoom=3\n");
    EXPECT_EQ(ReadBytes(ini.string() + ".bak"), ReadBytes(ini));
    EXPECT_EQ(settings.WriteText(kIniFile, "View", "Zoom", "2\n[x]"), kBadArguments);
    EXPECT_EQ(settings.WriteText(kIniFile, "View", "a=b", "2"), kBadArguments);
    EXPECT_EQ(settings.WriteText(kIniFile, "View", "Zoom", ""), kSuccess);
    EXPECT_EQ(settings.ReadText(kIniFile, "View", "Zoom", text), kNoIniValue);
}

TEST_F(TMRegistryTest, IniPathRules) {
    std::filesystem::create_directory(folders / "shared");
    (void)RegistryWrite(HKEY_LOCAL_MACHINE,
                        {{"Software\\Velda\\Gallery\\7", "IniFilePath", (folders / "shared").string()}});
    TMRegistry settings;
    EXPECT_EQ(settings.GetIniPath(text), kSuccess);
    EXPECT_EQ(text, (folders / "shared/Relax.ini").c_str());
    (void)RegistryWrite(HKEY_LOCAL_MACHINE, {{"Software\\Velda\\Gallery\\7", "IniFilePath", "/elsewhere/"}});
    EXPECT_EQ(settings.GetIniPath(text), kSuccess);
    EXPECT_EQ(text, (folders / "shared/Relax.ini").c_str()) << "fixed once";
    EXPECT_EQ(TMRegistry().GetIniPath(text), kSuccess);
    EXPECT_EQ(text, "/elsewhere/Relax.ini");
    TMRegistry own("TMGallery", (folders / "own.ini").c_str());
    EXPECT_EQ(own.WriteText(kIniFile, "s", "k", "v"), kSuccess);
    EXPECT_EQ(ReadBytes(folders / "own.ini"), "[TMG_#_s]\nk=v\n");

    TMRegistry longPath("TMGallery", ("/" + std::string(295, 'x') + ".ini").c_str());
    EXPECT_EQ(longPath.GetIniPath(text), kPathTooLong);
    EXPECT_EQ(longPath.WriteText(kIniFile, "s", "k", "v"), kPathTooLong);
    EXPECT_EQ(longPath.ReadText(kIniFile, "s", "k", text), kPathTooLong);
    EXPECT_EQ(TMRegistry("TMGallery", ("/" + std::string(254, 'x') + ".ini").c_str()).GetIniPath(text), kSuccess);
    EXPECT_EQ(TMRegistry("TMGallery", ("/" + std::string(255, 'x') + ".ini").c_str()).GetIniPath(text), kPathTooLong);
}

TEST_F(TMRegistryTest, SafetyCopyComesBack) {
    TMRegistry settings;
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kIniMissing);
    (void)settings.WriteText(kIniFile, "s", "k", "v");
    std::filesystem::remove(ini);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kSuccess);
    EXPECT_EQ(text, "v");
    EXPECT_TRUE(std::filesystem::exists(ini));
    std::filesystem::remove(ini.string() + ".bak");
    (void)settings.ReadText(kIniFile, "s", "k", text);
    EXPECT_EQ(ReadBytes(ini.string() + ".bak"), ReadBytes(ini));
    std::filesystem::remove(ini);
    EXPECT_EQ(settings.WriteText(kIniFile, "s", "other", "w"), kSuccess);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kSuccess) << "a write restores first as well";
}

TEST_F(TMRegistryTest, WhatIsNoIniFileIsToldAndKept) {
    TMRegistry settings;
    std::filesystem::create_directory(ini);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kIniUnreadable);
    EXPECT_EQ(settings.WriteText(kIniFile, "s", "k", "v"), kIniNotWritable);
    std::filesystem::remove(ini);
    ASSERT_EQ(mkfifo(ini.c_str(), 0600), 0);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kIniUnreadable) << "and no waiting for a writer";
    std::filesystem::remove(ini);
    std::string binary(100000, '\0');
    for (std::size_t i = 0; i < binary.size(); ++i) binary[i] = static_cast<char>(i * i >> 3);
    WriteBytes(ini, binary);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kNoIniValue);
    EXPECT_EQ(settings.WriteText(kIniFile, "s", "k", "v"), kSuccess);
    EXPECT_EQ(ReadBytes(ini).substr(0, binary.size()), binary);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kSuccess);
    EXPECT_EQ(text, "v");

    std::filesystem::create_directory(folders / "inf");
    std::filesystem::remove(folders / "program/Velda.inf");
    std::filesystem::create_directory(folders / "program/Velda.inf");
    EXPECT_EQ(TMRegistry().GetStatus(), kNoIniValue);
}

TEST_F(TMRegistryTest, FilesOfHundredMegabytes) {
    std::string huge(kIdentity);
    huge.reserve(101 << 20);
    while (huge.size() < 100u << 20)
        huge += "; a comment that goes on and on, as if somebody had logged into the file\n";
    WriteBytes(folders / "program/Velda.inf", huge);
    WriteBytes(ini, huge);
    TMRegistry settings;
    EXPECT_EQ(settings.GetStatus(), kSuccess);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kNoIniValue);
    EXPECT_EQ(settings.WriteText(kIniFile, "s", "k", "v"), kSuccess);
    EXPECT_EQ(settings.ReadText(kIniFile, "s", "k", text), kSuccess);
}

TEST_F(TMRegistryTest, FullDiskLeavesTheOldFile) {
    TMRegistry settings;
    (void)settings.WriteText(kIniFile, "s", "k", "old");
    const auto before = ReadBytes(ini);
    EXPECT_EQ(test::InChild([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{10, 10};  // bytes in a file
                  setrlimit(RLIMIT_FSIZE, &limit);
                  return std::to_string(settings.WriteText(kIniFile, "s", "k", "new"));
              }),
              "-7");
    EXPECT_EQ(ReadBytes(ini), before);
    EXPECT_EQ(ReadBytes(ini.string() + ".bak"), before);
}

TEST_F(TMRegistryTest, ListsMoveDownAndCleanUp) {
    for (const auto place : kPlaces) {
        SCOPED_TRACE(static_cast<int>(place));
        TMRegistry settings;
        for (const char* entry : {"a", "b", "c", "d"})
            EXPECT_EQ(settings.AddToList(place, "L", "Recent", entry), kSuccess);
        int count = 0;
        EXPECT_EQ(settings.CountList(place, "L", "Recent", count), kSuccess);
        EXPECT_EQ(count, 4);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", 1), kSuccess);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", "d"), kSuccess);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", "d"), kKeyMissing);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", 2), kKeyMissing);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", -1), kKeyMissing);
        EXPECT_EQ(settings.ReadFromList(place, "L", "Recent", 0, text), kSuccess);
        EXPECT_EQ(text, "a");
        EXPECT_EQ(settings.ReadFromList(place, "L", "Recent", 1, text), kSuccess);
        EXPECT_EQ(text, "c");
        EXPECT_EQ(settings.ReadFromList(place, "L", "Recent", 2, text), kKeyMissing);
        int index = -1;
        EXPECT_EQ(settings.FindInList(place, "L", "Recent", "c", index), kSuccess);
        EXPECT_EQ(index, 1);
        EXPECT_EQ(settings.FindInList(place, "L", "Recent", "b", index), kKeyMissing);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", 0), kSuccess);
        EXPECT_EQ(settings.RemoveFromList(place, "L", "Recent", 0), kSuccess);
    }
    RegistryContents contents;
    EXPECT_EQ(RegistryList(HKEY_CURRENT_USER, "Software", contents), kSuccess);
    EXPECT_EQ(contents.subkeys, std::vector<std::string>{"Velda"}) << "the user's number keeps the product's key";
    setenv("KESTREL_CONFIG_DIR", (folders / "fresh").c_str(), 1);
    TMRegistry settings;
    (void)settings.AddToList(kCurrentUser, "L", "Recent", "only");
    EXPECT_EQ(RegistryList(HKEY_CURRENT_USER, "Software\\Velda\\Gallery\\7\\L\\Recent_0000", contents), kSuccess);
    (void)settings.RemoveFromList(kCurrentUser, "L", "Recent", "only");
    EXPECT_EQ(RegistryList(HKEY_CURRENT_USER, "Software", contents), kSuccess);
    EXPECT_TRUE(contents.subkeys.empty()) << "empty keys go up to the first name";
}

/// What another user of the machine gets from `work`; the tests' own user where they may not change it.
template <class Work>
std::string AsUser(uid_t user, const test::PrivateFolders& folders, const Work& work) {
    return test::InChild([&] {
        setenv("KESTREL_CONFIG_DIR", (folders / ("config " + std::to_string(user))).c_str(), 1);
        if (geteuid() == 0) {
            std::filesystem::create_directories(folders / ("config " + std::to_string(user)));
            if (chown((folders / ("config " + std::to_string(user))).c_str(), user, user) != 0 || setgid(user) != 0 ||
                setuid(user) != 0)
                return std::string("cannot change the user");
        }
        return work();
    });
}

TEST_F(TMRegistryTest, KeysForEverybodyAreWrittenByEverybody) {
    std::filesystem::permissions(folders / "", std::filesystem::perms(0755));
    (void)RegistryWrite(HKEY_CLASSES_ROOT, {{"CLSID\\x", "", "registered"}});  // whoever comes first makes the stores
    (void)TMRegistry().WriteText(kAllUsers, "s", "of the machine", "m");
    const auto write = [](const char* key, const char* value) {
        const Status status = TMRegistryMFC(QvString("TMGallery")).WriteText(kAllUsers, "s", key, value);
        return std::to_string(status);
    };
    EXPECT_EQ(AsUser(20001, folders, [&] { return write("k", "first"); }), "0");
    EXPECT_EQ(AsUser(20002, folders, [&] { return write("k", "second"); }), "0");
    TMRegistry settings;
    EXPECT_EQ(settings.ReadText(kAllUsers, "s", "k", text), kSuccess);
    EXPECT_EQ(text, "second");
    EXPECT_EQ(settings.ReadText(kAllUsers, "s", "of the machine", text), kSuccess);
    EXPECT_EQ(RegistryRead(HKEY_LOCAL_MACHINE, "Software\\Velda\\Gallery\\7\\s", "k", text), kSuccess);
    const auto name = [] {
        QvString user;
        (void)TMRegistry().GetUserName(user);
        return std::string(user);
    };
    EXPECT_EQ(AsUser(20001, folders, name), "User0001");
    EXPECT_EQ(AsUser(20002, folders, name), "User0002");

    // What an administrator set, and classes, are not theirs.
    const bool root = geteuid() == 0;
    EXPECT_EQ(AsUser(20001, folders, [&] { return write("of the machine", "u"); }), root ? "-4" : "0");
    const auto plant = [] {
        (void)RegistryWrite(HKEY_CLASSES_ROOT, {{"CLSID\\x", "", "planted"}});
        return std::to_string(RegistryWrite(HKEY_LOCAL_MACHINE, {{"Software\\Classes\\CLSID\\x", "", "planted"}}));
    };
    EXPECT_EQ(AsUser(20001, folders, plant), root ? "-5" : "0");
    EXPECT_EQ(RegistryRead(HKEY_CLASSES_ROOT, "CLSID\\x", "", text), kSuccess);
    EXPECT_EQ(text, root ? "registered" : "planted");

    const auto modeOf = [&](const char* file) {
        return static_cast<unsigned>(std::filesystem::status(folders / file).permissions());
    };
    EXPECT_EQ(modeOf("system/shared"), 0777u) << "every user removes the journal that a killed one left";
    EXPECT_EQ(modeOf("system/shared/settings.db"), 0666u);
    EXPECT_EQ(modeOf("system/settings.db") & 0022u, 0u);
    EXPECT_EQ(modeOf("system") & 0022u, 0u);
}

TEST_F(TMRegistryTest, KilledWriterLocksNobodyOutOfTheSharedStore) {
    std::filesystem::permissions(folders / "", std::filesystem::perms(0755));
    PrepareSharedStore();
    const auto put = [](const char* value) {
        (void)TMRegistryMFC(QvString("TMGallery")).WriteText(kAllUsers, "s", "k", value);
        return std::string();
    };
    AsUser(20001, folders, [&] { return put("old"); });
    const std::string killed = AsUser(20001, folders, [] {
        Store store(SharedStore(), Store::Access::kWrite, true);
        for (int i = 0; i < 64; ++i)  // more than fits into the cache: the file itself is changed already
            store.Set("Software\\Velda\\Gallery\\7\\s", std::to_string(i), std::string(100000, 'x'));
        raise(SIGKILL);
        return std::string();
    });
    EXPECT_EQ(killed, "\nchild ended with status 9");
    EXPECT_TRUE(std::filesystem::exists(SharedStore().string() + "-journal"));
    const auto get = [] {
        QvString value;
        (void)TMRegistry().ReadText(kAllUsers, "s", "k", value);
        return std::string(value);
    };
    EXPECT_EQ(AsUser(20002, folders, get), "old");
    AsUser(20002, folders, [&] { return put("new"); });
    EXPECT_EQ(AsUser(20001, folders, get), "new");
}

TEST_F(TMRegistryTest, ListsOfEverybodyGoOnBehindTheMachinesTexts) {
    TMRegistry machine;
    TMRegistryMFC everybody(QvString("TMGallery"));
    EXPECT_EQ(machine.AddToList(kAllUsers, "l", "e", "a"), kSuccess);
    EXPECT_EQ(everybody.AddToList(kAllUsers, "l", "e", "b"), kSuccess);
    EXPECT_EQ(everybody.AddToList(kAllUsers, "l", "e", "c"), kSuccess);
    EXPECT_EQ(machine.RemoveFromList(kAllUsers, "l", "e", 0), kSuccess);
    int count = 0;
    EXPECT_EQ(everybody.CountList(kAllUsers, "l", "e", count), kSuccess);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(machine.ReadFromList(kAllUsers, "l", "e", 1, text), kSuccess);
    EXPECT_EQ(text, "c");
    while (count-- > 0) EXPECT_EQ(everybody.RemoveFromList(kAllUsers, "l", "e", count), kSuccess);
    EXPECT_FALSE(Store(MachineStore(), Store::Access::kRead).HasKey("Software\\Velda"));
    EXPECT_FALSE(Store(SharedStore(), Store::Access::kRead).HasKey("Software\\Velda"));
}

TEST(TMRegistryTextTest, StatusTextsAreWindows1252) {
    QvString text;
    const struct {
        int code;
        const char* want;
    } cases[] = {
        {-1,
         "TMRegistry - Fehler: \xFC"
         "bergebener Puffer zu klein f\xFCr Registry Eintrag"},
        {-2, "TMRegistry - Fehler: Registry-Key nicht lesbar"},
        {-3, "TMRegistry - Fehler: Registry-Key existiert nicht"},
        {-8, "TMRegistry - Fehler: Ini-Datei nicht lesbar"},
        {-9,
         "TMRegistry - Fehler: \xFC"
         "bergebener Puffer zu klein f\xFCr Pfad und Name"},
        {-12, "TMRegistry - Fehler: Default l\xE4nger als Platz in Ziel"},
        {-13,
         "TMRegistry - Warnung: Existierender Registry-Key wurde nicht \xFC"
         "berschrieben"},
        {0, "TMRegistry - Fehler: kein g\xFCltiger Fehlercode"},
        {-14, "TMRegistry - Fehler: kein g\xFCltiger Fehlercode"},
        {-15, "TMRegistry - Fehler: kein g\xFCltiger Fehlercode"},
        {-2147483647 - 1, "TMRegistry - Fehler: kein g\xFCltiger Fehlercode"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(TMRegistry::GetErrorText(c.code, text), 0);
        EXPECT_STREQ(text, c.want) << c.code;
    }
}

}  // namespace
}  // namespace kestrel
