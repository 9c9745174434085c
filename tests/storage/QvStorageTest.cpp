#include "kestrel/storage/QvStorage.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <map>

#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/ElementName.h"
#include "kestrel/storage/QvHelperStream.h"
#include "kestrel/storage/QvMemoryStorage.h"
#include "kestrel/storage/QvResourceStorage.h"
#include "kestrel/storage/QvSimpStorage.h"
#include "kestrel/storage/StorageCopy.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/StorageWait.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "tests/storage/Monitored.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

constexpr unsigned long kAll = kStorageRead | kStorageWrite | kStorageCreate;

void Put(IQvStorage& storage, const std::string& name, const std::string& bytes, unsigned long mode = kAll) {
    QvStreamPtr stream = storage.CreateStream(name.c_str(), mode);
    ASSERT_TRUE(stream) << name << ": " << LastStorageError();
    EXPECT_EQ(stream->Write(bytes.data(), bytes.size()), bytes.size());
    EXPECT_TRUE(CloseStream(stream)) << LastStorageError();
}

std::string Get(IQvStorage& storage, const std::string& name) {
    const QvStreamPtr stream = storage.OpenStream(name.c_str(), kStorageRead);
    if (!stream) return "none";
    std::string bytes(static_cast<std::size_t>(stream->Size()), 0);
    EXPECT_EQ(stream->Read(bytes.data(), bytes.size()), bytes.size());
    return bytes;
}

/// Names in their order, storages with a slash.
std::string List(IQvStorage& storage, const char* mask = "") {
    std::string all;
    QvString name;
    unsigned long flags = 0;
    for (bool more = storage.FirstElement(name, flags, mask); more; more = storage.NextElement(name, flags))
        all += std::string(name) + (flags == kElementStorage ? "/ " : " ");
    return all;
}

struct CompoundStorages : testing::Test {
    std::string File(const char* name = "a.box") const { return (folders / name).string(); }
    QvStoragePtr Open(unsigned long mode = kAll, const char* name = "a.box") const {
        return QvStorage::CreateNewQvStorage(File(name).c_str(), mode, false, false);
    }
    ~CompoundStorages() override { SetStorageWait(nullptr); }

    test::PrivateFolders folders;
};

TEST_F(CompoundStorages, WhatIsWrittenIsThereAtTheNextOpening) {
    EXPECT_FALSE(Open(kStorageRead | kStorageWrite)) << "missing, and no create bit";
    {
        const QvStoragePtr storage = Open();
        ASSERT_TRUE(storage) << LastStorageError();
        Put(*storage, "plain", "one");
        const QvStoragePtr pictures = storage->CreateStorage("Pictures", kAll);
        ASSERT_TRUE(pictures);
        Put(*pictures, "a.jpg", std::string(70000, 'j'));
        EXPECT_TRUE(storage->OpenStorage("New", kAll)) << "made by the create bit";
        EXPECT_FALSE(storage->OpenStorage("None", kStorageRead | kStorageWrite));
    }
    QvStoragePtr storage = Open();
    EXPECT_EQ(List(*storage), "New/ plain Pictures/ ");
    EXPECT_EQ(List(*storage, "P*"), "plain Pictures/ ");
    EXPECT_EQ(Get(*storage, "Pictures/a.jpg"), std::string(70000, 'j'));
    EXPECT_EQ(Get(*storage, "pictures\\A.JPG"), std::string(70000, 'j')) << "the format knows no case";
    EXPECT_TRUE(storage->Exists("PLAIN"));
    EXPECT_FALSE(storage->Exists("plain2"));
    for (const char* bad : {"../plain", "/plain", "", "\\plain"}) EXPECT_FALSE(storage->OpenStream(bad, kAll)) << bad;
    EXPECT_FALSE(storage->DeleteStorage("New"));
    EXPECT_TRUE(storage->DeleteElement("Pictures"));
    EXPECT_TRUE(storage->DeleteElement("plain"));
    EXPECT_FALSE(storage->DeleteElement("plain"));
    EXPECT_EQ(LastStorageError(), "plain: there is nothing of that name");
    EXPECT_TRUE(CloseStorage(storage));
    EXPECT_EQ(List(*Open(kStorageRead)), "New/ ");
}

TEST_F(CompoundStorages, WhatStoragesTell) {
    const QvStoragePtr storage = Open();
    EXPECT_EQ(storage->Name(), File().c_str());
    const std::string folder = StoragePath(File());
    EXPECT_EQ(storage->Path(), folder.substr(0, folder.rfind('\\')).c_str());
    EXPECT_EQ(storage->Kind(), 0);
    EXPECT_FALSE(storage->KeepNative() || storage->External() || storage->HasFailed() || QvStorage::Flush());
    EXPECT_TRUE(storage->Commit());
    const QvStoragePtr inner = storage->CreateStorage("Inner", kAll);
    EXPECT_EQ(inner->Name(), "Inner");
    QvStat stat;
    EXPECT_TRUE(inner->Stat(stat));
    EXPECT_EQ(stat.name, "Inner");
    EXPECT_EQ(stat.flags, kElementStorage);
    Put(*inner, "s", "12345");
    EXPECT_TRUE(inner->OpenStream("s", kStorageRead)->Stat(stat));
    EXPECT_EQ(stat.name, "s");
    EXPECT_EQ(stat.flags, kElementStream);
    EXPECT_EQ(stat.size, 5u);
}

TEST_F(CompoundStorages, StreamsAreReplacedWholeOrNotAtAll) {
    const QvStoragePtr storage = Open();
    Put(*storage, "a", "0123456789");
    EXPECT_FALSE(storage->CreateStream("a", kStorageRead | kStorageWrite)) << "there already, and no create bit";
    {
        const QvStreamPtr given = storage->CreateStream("a", kAll);
        EXPECT_EQ(given->Write("half", 4), 4u);
        EXPECT_EQ(List(*storage), "a ");
        Put(*storage, "other", "x");  // commits
    }
    EXPECT_EQ(Get(*storage, "a"), "0123456789");
    QvStreamPtr stream = storage->OpenStream("a", kAll);
    EXPECT_EQ(stream->Seek(-2, kSeekEnd), 8);
    EXPECT_EQ(stream->Write("AB", 2), 2u) << "an old stream is opened as it is";
    EXPECT_EQ(stream->Seek(12, kSeekBegin), 12);
    EXPECT_EQ(stream->Write("C", 1), 1u);
    EXPECT_EQ(stream->Seek(0, 3), -1);
    EXPECT_EQ(stream->Seek(-1, kSeekBegin), -1);
    EXPECT_EQ(stream->Tell(), 13);
    EXPECT_TRUE(stream->SetSize(14));
    EXPECT_EQ(stream->Size(), 14);
    EXPECT_TRUE(CloseStream(stream));
    EXPECT_EQ(Get(*storage, "a"), std::string("01234567AB\0\0C\0", 14));
    Put(*storage, "a", "new");
    EXPECT_EQ(Get(*storage, "a"), "new");
    const QvStreamPtr reading = storage->OpenStream("a", kStorageRead);
    EXPECT_EQ(reading->Write("x", 1), 0u);
    EXPECT_TRUE(reading->HasFailed());
    EXPECT_FALSE(storage->CreateStream("Inner/x", kAll)) << "no storage of that name";
    storage->CreateStorage("Inner", kAll);
    EXPECT_FALSE(storage->CreateStream("Inner", kAll)) << "no storage gives way to a stream";
    EXPECT_FALSE(storage->CreateStorage("a", kAll)) << "nor the other way round";
    Put(*storage, "Inner/x", "");
    EXPECT_FALSE(storage->CreateStorage("Inner", kStorageRead | kStorageWrite));
    storage->CreateStorage("Inner", kAll);
    EXPECT_FALSE(storage->Exists("Inner/x"));
}

TEST_F(CompoundStorages, AKilledWriterLeavesNothingUnderAName) {
    Put(*Open(), "a", "whole");
    EXPECT_NE(test::InChild([&]() -> std::string {
                  const QvStoragePtr storage = Open();
                  const QvStreamPtr half = storage->CreateStream("a", kAll);
                  half->Write("half", 4);
                  Put(*storage, "b", "committed");
                  kill(getpid(), SIGKILL);
                  return "";
              }).find("status 9"),
              std::string::npos);
    const QvStoragePtr storage = Open();
    EXPECT_EQ(Get(*storage, "a"), "whole");
    EXPECT_EQ(Get(*storage, "b"), "committed");
    Put(*storage, "c", "the next writer clears up");
    EXPECT_EQ(List(*storage), "a b c ");
}

TEST_F(CompoundStorages, AFullDiskIsToldAndLosesNothing) {
    Put(*Open(), "a", std::string(50000, 'o'));
    EXPECT_EQ(test::InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit small{100000, 100000};
                  setrlimit(RLIMIT_FSIZE, &small);
                  const QvStoragePtr storage = Open();
                  QvStreamPtr stream = storage->CreateStream("a", kAll);
                  const bool wrote = stream->Write(std::string(200000, 'n').data(), 200000) == 200000;
                  return (wrote ? "wrote " : "short ") + LastStorageError() +
                         (CloseStream(stream) ? " kept" : " not kept");
              }),
              "short a: the disk is full not kept");
    EXPECT_EQ(Get(*Open(), "a"), std::string(50000, 'o'));
}

TEST_F(CompoundStorages, AHeldFileIsTriedAHundredTimes) {
    auto held = std::make_unique<compound::Result<compound::CompoundFile>>(compound::CompoundFile::CreateFile(File()));
    ASSERT_TRUE(*held);
    int waits = 0;
    SetStorageWait([&](std::chrono::milliseconds time) {
        EXPECT_EQ(time.count(), 10);
        ++waits;
    });
    {
        const test::Monitored monitor;
        errno = 0;
        QvStorage storage(File().c_str(), kAll);
        EXPECT_NE(errno, 0);
        EXPECT_TRUE(storage.HasFailed());
        EXPECT_EQ(waits, 100);
        const std::string line = "QvStorage_Zephon:the file is open elsewhere.\r\n" + File() + " in new QVStorage\n \n";
        EXPECT_EQ(monitor.Told().substr(0, line.size()), line);
        EXPECT_EQ(monitor.Told().size(), 100 * line.size());
        QvString name;
        unsigned long flags = 0;
        EXPECT_FALSE(storage.OpenStream("a", kAll) || storage.FirstElement(name, flags) || storage.CopyTo(storage));
    }
    waits = 0;
    EXPECT_FALSE(Open());
    SetStorageWait([&](std::chrono::milliseconds) {
        if (++waits == 130) held.reset();
    });
    EXPECT_TRUE(Open());
    EXPECT_EQ(waits, 130);
    // Other failures end at once.
    waits = 0;
    test::WriteBytes(File("text"), "no compound file, although it is long enough to be one" + std::string(600, ' '));
    EXPECT_FALSE(Open(kAll, "text"));
    EXPECT_FALSE(Open(kAll, "none/a.box"));
    EXPECT_EQ(waits, 0);
    EXPECT_EQ(test::ReadBytes(File("text")).size(), 654u);
}

TEST_F(CompoundStorages, AHeldElementIsTriedAHundredTimes) {
    const QvStoragePtr storage = Open();
    Put(*storage, "a", "x");
    const QvStoragePtr inner = storage->CreateStorage("Inner", kAll);
    QvStreamPtr held = storage->OpenStream("a", kStorageRead);
    int waits = 0;
    SetStorageWait([&](std::chrono::milliseconds) { ++waits; });
    const test::Monitored monitor;
    EXPECT_FALSE(storage->OpenStream("a", kAll));
    EXPECT_EQ(waits, 100);
    EXPECT_FALSE(storage->OpenStorage("Inner", kAll));
    EXPECT_EQ(waits, 200);
    const std::string told = monitor.Told();
    EXPECT_EQ(told.find("on OpenStorage with Inner in new QVStorage"), told.rfind(".\r\n on ", told.find("Inner")) + 4);
    SetStorageWait([&](std::chrono::milliseconds) { held.reset(); });
    EXPECT_TRUE(storage->OpenStream("a", kAll));

    using compound::Error;
    for (const Error error : {Error::kAccessDenied, Error::kShareViolation, Error::kLockViolation, Error::kNotFound}) {
        EXPECT_EQ(HeldByOthers(ResultOf(error)), error != Error::kNotFound);
        EXPECT_EQ(HeldByOthersForStreams(ResultOf(error)), error == Error::kAccessDenied);
    }
}

TEST_F(CompoundStorages, Names) {
    const struct {
        std::string text;
        std::u16string name;
    } cases[] = {
        {"a\xC3\xA9", u"a\u00E9"},                        // UTF-8
        {"a\xE9\x80", u"a\u00E9\u20AC"},                  // Windows-1252
        {"\xF0\x9F\x93\xB7", u"\U0001F4F7"},              // beyond 16 bits
        {"\xED\xA0\x80x", std::u16string{0xD800, u'x'}},  // half a pair
        {"\xC0\xAF", u"\u00C0\u00AF"},                    // no slash in disguise
        {"\xE2\x82", u"\u00E2\u201A"},                    // cut
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ElementName(c.text), c.name);
        EXPECT_EQ(ElementName(ElementText(c.name)), c.name);
    }
    const QvStoragePtr storage = Open();
    Put(*storage, "caf\xE9", "coffee");
    EXPECT_EQ(List(*storage), "caf\xC3\xA9 ");
    EXPECT_EQ(Get(*storage, "CAF\xC3\x89"), "coffee");
    EXPECT_FALSE(storage->CreateStream("longer than thirty-one characters", kAll));
}

TEST_F(CompoundStorages, InMemoryAndBuiltIn) {
    {
        QvMemoryStorage storage(100);
        ASSERT_FALSE(storage.HasFailed());
        EXPECT_TRUE(storage.DumpToFile(File("empty.box").c_str()));
        EXPECT_FALSE(storage.CreateStream("a", kAll) || storage.Exists("a") || storage.DumpToFile(File().c_str()));
    }
    EXPECT_EQ(List(*Open(kStorageRead, "empty.box")), "");
    QvMemoryStorage storage(0);
    Put(storage, "a", std::string(5000, 'a'));
    storage.CreateStorage("Empty", kAll);
    {
        const QvStreamPtr open = storage.OpenStream("a", kStorageRead);
        const test::Monitored monitor;
        SetStorageWait([](std::chrono::milliseconds) { FAIL(); });
        EXPECT_FALSE(storage.OpenStream("a", kStorageRead));
        EXPECT_EQ(monitor.Told(), "");
    }
    EXPECT_FALSE(storage.DumpToFile(File("none/b.box").c_str()));
    QvMemoryStorage again(0);
    Put(again, "a", "built in");
    ASSERT_TRUE(again.DumpToFile(File("b.box").c_str()));
    const std::string file = test::ReadBytes(File("b.box"));
    const std::span blob(reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
    QvResourceStorage resource(blob);
    EXPECT_EQ(Get(resource, "a"), "built in");
    EXPECT_FALSE(resource.OpenStream("a", kAll));
    EXPECT_FALSE(resource.CreateStream("b", kAll));
    EXPECT_FALSE(resource.CreateStorage("b", kAll));
    EXPECT_FALSE(resource.DeleteElement("a"));
    EXPECT_EQ(resource.OpenStream("a", kStorageRead)->Write("x", 1), 0u);
    for (const std::size_t size : {0u, 100u, 511u}) {
        QvResourceStorage none(blob.first(size));
        EXPECT_TRUE(none.HasFailed());
        EXPECT_EQ(Get(none, "a"), "none");
    }
    QvHelperStream helper(10);
    ASSERT_TRUE(helper.Stream());
    EXPECT_EQ(helper.Stream()->Write("12345", 5), 5u);
    EXPECT_EQ(helper.Stream()->Seek(1, kSeekBegin), 1);
    char bytes[5];
    EXPECT_EQ(helper.Stream()->Read(bytes, 5), 4u);
    QvStat stat;
    EXPECT_TRUE(helper.Stream()->Stat(stat));
    EXPECT_EQ(stat.name, "TempStream");
}

TEST_F(CompoundStorages, CopiesBetweenAllKinds) {
    const auto make = [&](int kind, const char* name) {
        return kind == 0 ? Open(kAll, name)
                         : QvSimpStorage::CreateNewQvStorage(File(name).c_str(), kAll, false, kind == 2);
    };
    for (int from = 0; from < 3; ++from)
        for (int to = 0; to < 3; ++to) {
            const std::string number = std::to_string(from * 3 + to);
            const QvStoragePtr source = make(from, ("from" + number).c_str());
            const QvStoragePtr target = make(to, ("to" + number).c_str());
            Put(*source, "a", std::string(2500000, 'a'));
            Put(*source, "empty", "");
            std::string deep;
            for (int level = 0; level < 30; ++level) {
                deep += "d/";
                source->OpenStorage(deep.c_str(), kAll);
            }
            Put(*source, deep + "leaf", "leaf");
            Put(*target, "a", std::string(3000000, 'b'));
            Put(*target, "kept", "k");
            const StorageCopy copy = CopyElements(*source, *target);
            EXPECT_EQ(copy.failures, std::vector<std::string>());
            EXPECT_EQ(copy.storages, 30u);
            EXPECT_EQ(copy.streams, 3u);
            EXPECT_EQ(copy.bytes, 2500004u);
            EXPECT_EQ(Get(*target, "a"), std::string(2500000, 'a'));
            EXPECT_EQ(Get(*target, deep + "leaf"), "leaf");
            EXPECT_EQ(List(*target), "a " + std::string(to == 0 ? "d/ kept empty " : "d/ empty kept "));
        }
    const QvStoragePtr source = Open();
    QvMemoryStorage memory(0);
    Put(*source, "a", "x");
    source->CreateStorage("Empty", kAll);
    EXPECT_TRUE(source->CopyTo(memory));
    EXPECT_EQ(List(memory), "a Empty/ ");
    EXPECT_FALSE(source->CopyTo(*source));
    const QvStoragePtr tree = make(2, "plain");
    EXPECT_TRUE(memory.CopyTo(*tree));
    EXPECT_EQ(List(*tree), "Empty/ a ");
    EXPECT_FALSE(tree->CopyTo(memory));
    EXPECT_FALSE(memory.Wrap(nullptr));
    auto file = compound::CompoundFile::Create(std::make_unique<compound::MemoryStore>());
    const auto wrapped = memory.Wrap(std::make_shared<compound::Storage>(*file->Root()->CreateStorage(u"Inner")));
    EXPECT_EQ(wrapped->Name(), "Inner");
    Put(*wrapped, "w", "wrapped");
    EXPECT_TRUE(file->Changed());
}

}  // namespace
}  // namespace kestrel
