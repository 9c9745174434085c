#include "kestrel/storage/QvSimpStorage.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <map>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/storage/NameMask.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/QvSimpStream.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/StorageWait.h"
#include "tests/storage/Monitored.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long kReadWriteCreate = kStorageRead | kStorageWrite | kStorageCreate;

std::string logged;  // what the log was told, a line each
int waits;           // how often somebody waited, by 100 ms

struct FolderTree : testing::Test {
    FolderTree() {
        logged.clear();
        waits = 0;
        SetLogSink([](int, const char*, int, const std::string& text) { logged += text + "\n"; });
        SetStorageWait([](std::chrono::milliseconds time) {
            EXPECT_EQ(time.count(), 100);
            ++waits;
        });
    }
    ~FolderTree() override {
        SetLogSink(nullptr);
        SetStorageWait(nullptr);
    }
    std::string Root() const { return (folders / "tree").string(); }
    QvStoragePtr Tree(unsigned long mode = kReadWriteCreate) const {
        return QvSimpStorage::CreateNewQvStorage(Root().c_str(), mode, true, true);
    }
    std::string Content(const char* name) const { return test::ReadBytes(folders / "tree" / name); }

    test::PrivateFolders folders;
};

void Put(IQvStorage& storage, const char* name, const std::string& bytes, unsigned long mode = kReadWriteCreate) {
    QvStreamPtr stream = storage.OpenStream(name, mode);
    ASSERT_TRUE(stream) << name;
    EXPECT_EQ(stream->Write(bytes.data(), bytes.size()), bytes.size());
    EXPECT_TRUE(CloseStream(stream));
}

std::map<std::string, unsigned long> List(IQvStorage& storage, const char* mask = "") {
    std::map<std::string, unsigned long> all;
    QvString name;
    unsigned long flags = 0;
    for (bool more = storage.FirstElement(name, flags, mask); more; more = storage.NextElement(name, flags)) {
        EXPECT_TRUE(all.empty() || all.rbegin()->first < std::string(name)) << "listed by name";
        all[std::string(name)] = flags;
    }
    return all;
}

TEST_F(FolderTree, BoxesLieInTheirFolder) {
    const std::string box = (folders / "x.box").string();
    const QvStoragePtr storage = QvSimpStorage::CreateNewQvStorage(box.c_str(), kReadWriteCreate, true, false);
    EXPECT_EQ(storage->Path(), (StoragePath(box) + "_qv\\").c_str());
    EXPECT_EQ(storage->Name(), box.c_str());
    EXPECT_FALSE(fs::exists(box + "_qv")) << "folders are made with the first stream";
    const QvStoragePtr pictures = storage->OpenStorage("Pictures", kReadWriteCreate);
    EXPECT_EQ(pictures->Path(), (StoragePath(box) + "_qv\\Pictures\\").c_str());
    EXPECT_EQ(pictures->Name(), "Pictures");
    Put(*pictures, "a.jpg", "picture");
    EXPECT_EQ(test::ReadBytes(box + "_qv/Pictures/a.jpg"), "picture");
    for (const char* end : {"/", "\\"}) {
        const QvStoragePtr inner =
            QvSimpStorage::CreateNewQvStorage((box + "/Pictures" + end).c_str(), kStorageRead, true, false);
        EXPECT_EQ(inner->Path(), pictures->Path()) << end;
    }
    EXPECT_TRUE(pictures->KeepNative());
    EXPECT_FALSE(pictures->External());
    EXPECT_EQ(pictures->Kind(), 1);
    EXPECT_FALSE(QvSimpStorage::Flush());
}

TEST_F(FolderTree, ExternalFoldersAreMadeAtOnce) {
    const QvStoragePtr storage = Tree();
    EXPECT_TRUE(fs::is_directory(Root()));
    EXPECT_TRUE(storage->External());
    EXPECT_FALSE(Tree(kStorageRead)->OpenStorage("none", kStorageRead)->Exists("x"));
    EXPECT_FALSE(fs::exists(Root() + "/none"));
    Tree()->OpenStorage("new", kReadWriteCreate);
    EXPECT_TRUE(fs::is_directory(Root() + "/new"));
}

TEST_F(FolderTree, TheBitsOfTheMode) {
    const QvStoragePtr storage = Tree();
    EXPECT_FALSE(storage->OpenStream("a", kStorageRead | kStorageWrite)) << "missing, and no create bit";
    EXPECT_NE(LastStorageError().find("No such file"), std::string::npos);
    Put(*storage, "sub\\deep/a", "0123456789");
    Put(*storage, "sub/deep/a", "ab");
    EXPECT_EQ(Content("sub/deep/a"), "ab23456789");
    Put(*storage, "sub/deep/a", "xyz", kReadWriteCreate | kStorageTruncate);
    EXPECT_EQ(Content("sub/deep/a"), "xyz");
    const QvStreamPtr reading = storage->OpenStream("sub/deep/a", kStorageRead);
    EXPECT_THROW(reading->Write("x", 1), StorageFileException);
    EXPECT_TRUE(storage->OpenStream("sub/deep/a", kStorageRead)) << "readers share";
    const QvStreamPtr writing = storage->CreateStream("b", kStorageWrite);
    char c;
    EXPECT_THROW(writing->Read(&c, 1), StorageFileException);
}

TEST_F(FolderTree, PositionsAndSizes) {
    const QvStoragePtr storage = Tree();
    QvStreamPtr stream = storage->CreateStream("a", kStorageRead | kStorageWrite);
    EXPECT_EQ(stream->Write("0123456789", 10), 10u);
    char bytes[8] = {};
    EXPECT_EQ(stream->Seek(2, kSeekBegin), 2);
    EXPECT_EQ(stream->Read(bytes, 3), 3u);
    EXPECT_EQ(stream->Write("AB", 2), 2u) << "straight after a read";
    EXPECT_EQ(stream->Read(bytes + 3, 2), 2u);
    EXPECT_STREQ(bytes, "23478");
    EXPECT_EQ(stream->Seek(-4, kSeekCurrent), 5);
    EXPECT_EQ(stream->Seek(-1, kSeekEnd), 9);
    EXPECT_EQ(stream->Seek(1, 3), -1);
    EXPECT_EQ(stream->Tell(), 9);
    EXPECT_THROW(stream->Seek(-1, kSeekBegin), StorageFileException);
    EXPECT_EQ(stream->Seek(12, kSeekBegin), 12);
    EXPECT_EQ(stream->Write("!", 1), 1u);
    EXPECT_EQ(stream->Size(), 13);
    EXPECT_TRUE(stream->SetSize(14));
    EXPECT_EQ(stream->Tell(), 13);
    EXPECT_EQ(stream->Read(bytes, 5), 1u);
    QvStat stat;
    EXPECT_TRUE(stream->Stat(stat));
    EXPECT_EQ(stat.size, 14u);
    EXPECT_EQ(stat.name, "a");
    EXPECT_FALSE(storage->Exists("a")) << "there once it is whole";
    EXPECT_TRUE(CloseStream(stream));
    EXPECT_EQ(Content("a"), std::string("01234AB789\0\0!\0", 14));
}

TEST_F(FolderTree, WhatIsNotClosedIsGivenUp) {
    const QvStoragePtr storage = Tree();
    Put(*storage, "old", "whole");
    for (const char* name : {"old", "new"}) {
        const QvStreamPtr stream = storage->OpenStream(name, kReadWriteCreate);
        EXPECT_EQ(stream->Write("half", 4), 4u);
    }
    EXPECT_EQ(Content("old"), "whole");
    EXPECT_EQ(List(*storage).size(), 1u);
    // A killed writer and a full disk leave no more behind.
    EXPECT_NE(test::InChild([&]() -> std::string {
                  const QvStreamPtr stream = storage->OpenStream("old", kReadWriteCreate | kStorageTruncate);
                  stream->Write("half", 4);
                  kill(getpid(), SIGKILL);
                  return "";
              }).find("status 9"),
              std::string::npos);
    EXPECT_EQ(Content("old"), "whole");
    EXPECT_EQ(test::InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit small{100, 100};
                  setrlimit(RLIMIT_FSIZE, &small);
                  QvStreamPtr stream = storage->OpenStream("old", kReadWriteCreate);
                  stream->Write(std::string(1000, 'x').data(), 1000);
                  const bool closed = CloseStream(stream);
                  return (closed ? "closed " : "refused ") + LastStorageError();
              }),
              "refused " + Root() + "/old: File too large");
    EXPECT_EQ(Content("old"), "whole");
}

TEST_F(FolderTree, FilesThatAreHeldAreTriedFiveTimes) {
    const QvStoragePtr storage = Tree();
    Put(*storage, "a", "x");
    const QvStreamPtr held = storage->OpenStream("a", kStorageRead | kStorageWrite);
    for (const unsigned long mode : {kStorageRead + 0ul, kReadWriteCreate, kReadWriteCreate | kStorageTruncate}) {
        logged.clear();
        waits = 0;
        try {
            storage->OpenStream("a", mode);
            ADD_FAILURE() << "opened";
        } catch (const StorageFileException& error) {
            EXPECT_EQ(error.Cause(), FileCause::SharingViolation);
            EXPECT_EQ(error.Text(), "Error processing file '" + Root() +
                                        "/a'\nSHARE.EXE was not loaded, or a shared region was locked.");
            EXPECT_EQ(logged, error.Text() + "\n");
        }
        EXPECT_EQ(waits, 4);
    }
    // Whoever lets go in time is waited for, and what was written meanwhile is what is opened.
    int descriptor = -1;
    SetStorageWait([&](std::chrono::milliseconds) {
        if (++waits == 3) close(descriptor);
    });
    Put(*storage, "b", "x");
    descriptor = open((Root() + "/b").c_str(), O_RDONLY);
    flock(descriptor, LOCK_SH);
    waits = 0;
    Put(*storage, "b", "y");
    EXPECT_EQ(waits, 3);
    EXPECT_EQ(Content("b"), "y");
}

TEST_F(FolderTree, OtherCausesEndAtOnce) {
    const QvStoragePtr storage = Tree();
    fs::create_directory(Root() + "/folder");
    mkfifo((Root() + "/pipe").c_str(), 0600);
    const auto causeOf = [&](const std::string& name) {
        waits = 0;
        try {
            storage->OpenStream(name.c_str(), kReadWriteCreate);
        } catch (const StorageFileException& error) {
            return static_cast<int>(error.Cause());
        }
        return 0;
    };
    EXPECT_EQ(causeOf(std::string(300, 'n')), 3);
    EXPECT_EQ(waits, 0);
    for (const char* name : {"folder", "pipe"}) {
        EXPECT_EQ(causeOf(name), 5) << name;
        EXPECT_EQ(waits, 4);
    }
    Put(*storage, "file", "x");
    EXPECT_FALSE(storage->OpenStream("file/a", kReadWriteCreate));
}

TEST_F(FolderTree, NamesThatLeadOutAreRefused) {
    const QvStoragePtr storage = Tree();
    test::WriteBytes(folders / "secret", "s");
    fs::create_directory(folders / "treeside");  // begins with the name of the root
    Put(*storage, "sub/a", "x");
    fs::create_symlink("../secret", Root() + "/file");
    fs::create_symlink("../not yet", Root() + "/dangling");
    fs::create_symlink(folders / "treeside", Root() + "/side");
    fs::create_symlink("..", Root() + "/sub/up");  // within the tree
    for (const char* name : {"..", "../secret", "sub/../../secret", "/etc/passwd", "\\x", "", "file", "dangling",
                             "side/x", "sub/up/file", "sub/up/../a"}) {
        EXPECT_FALSE(storage->OpenStream(name, kReadWriteCreate)) << name;
        EXPECT_NE(LastStorageError().find("leads out"), std::string::npos) << name << ": " << LastStorageError();
        EXPECT_FALSE(storage->OpenStorage(name, kStorageRead)) << name;
        EXPECT_FALSE(storage->DeleteElement(name)) << name;
        EXPECT_FALSE(*name && storage->DeleteStorage(name)) << name;
        EXPECT_FALSE(storage->Exists(name)) << name;
    }
    EXPECT_FALSE(fs::exists(folders / "not yet"));
    EXPECT_EQ(test::ReadBytes(folders / "secret"), "s");
    EXPECT_TRUE(storage->OpenStream("sub/up/sub/a", kStorageRead));
    const QvStoragePtr inner = storage->OpenStorage("sub", kStorageRead);
    EXPECT_TRUE(inner->OpenStream("up/sub/a", kStorageRead)) << "the root is where the tree began";
}

TEST_F(FolderTree, Elements) {
    const QvStoragePtr storage = Tree();
    for (const char* name : {"harbour.jpg", "Harbour.inf", "harbour", "x.tar.gz", "sub/a"}) Put(*storage, name, "");
    using Names = std::map<std::string, unsigned long>;
    EXPECT_EQ(
        List(*storage),
        (Names{{"Harbour.inf", 0x20}, {"harbour", 0x20}, {"harbour.jpg", 0x20}, {"sub", 0x10}, {"x.tar.gz", 0x20}}));
    EXPECT_EQ(List(*storage, "harbour.*").size(), 3u);
    EXPECT_EQ(List(*storage, "*.JPG"), (Names{{"harbour.jpg", 0x20}}));
    EXPECT_TRUE(List(*storage, "none*").empty());
    EXPECT_TRUE(storage->DeleteElement("sub/a"));
    EXPECT_FALSE(storage->DeleteElement("sub/a"));
    const QvStoragePtr sub = storage->OpenStorage("sub", kStorageRead);
    EXPECT_FALSE(storage->DeleteStorage(nullptr)) << "filled";
    EXPECT_TRUE(sub->DeleteStorage(nullptr));
    EXPECT_FALSE(fs::exists(Root() + "/sub"));
}

TEST(NameMask, WildCards) {
    const struct {
        const char* mask;
        const char* name;
        bool fits;
    } cases[] = {
        {"", "a", true},
        {"*.*", "a", true},
        {"*.*", "a.b", true},
        {"*", "", true},
        {"a.*", "A", true},
        {"a.*", "ab", false},
        {"*.", "a", true},
        {"*.", "a.b", false},
        {"a*c*e", "abcde", true},
        {"a*c*e", "abcd", false},
        {"*ab", "aab", true},
        {"?", "\xC3\xA9", true},
        {"?", "ab", false},
        {"a?", "a", false},
        {"*.jp*", "x.JPEG", true},
        {"har*.jpg", "harbour-2.jpg", true},
        {"a*b*b*b*c", "abbbb", false},
    };
    for (const auto& c : cases) EXPECT_EQ(MaskFits(c.mask, c.name), c.fits) << c.mask << " " << c.name;
}

TEST(StorageErrors, Texts) {
    const char* lines[] = {"\nThe file could not be located.",
                           "\nAll or part of the path is invalid.",
                           "\nThe permitted number of open files was exceeded.",
                           "\nThe file could not be accessed.",
                           "\nThere was an attempt to use an invalid file handle.",
                           "\nThe current working directory cannot be removed.",
                           "\nThere are no more directory entries.",
                           "\nThere was an error trying to set the file pointer.",
                           "\nThere was a hardware error.",
                           "\nSHARE.EXE was not loaded, or a shared region was locked.",
                           "\nThere was an attempt to lock a region that was already locked.",
                           "\nThe disk is full.",
                           "\nThe end of file was reached."};
    for (int cause = 2; cause <= 14; ++cause)
        EXPECT_EQ(StorageFileException("f", static_cast<FileCause>(cause)).Text(),
                  std::string("Error processing file 'f'") + lines[cause - 2]);
    logged.clear();
    SetLogSink([](int, const char*, int, const std::string& text) { logged += text; });
    try {
        QvStreamPtr(new QvSimpStream(nullptr)).release()->Close();
        ADD_FAILURE() << "closed";
    } catch (const CStorageFileError& error) {
        EXPECT_EQ(error.Text(), "CStorageFileError-Exception: no IStream");
        EXPECT_EQ(error.Code(), 1);
        EXPECT_EQ(error.FoundAt(), "qvSimpStorage(440)");
        EXPECT_EQ(logged, error.Text());
    }
    SetLogSink(nullptr);
}

TEST(StorageErrors, TheMonitorIsTold) {
    const test::Monitored monitor;
    QvSimpStorage::CreateNewQvStorage("none", kStorageRead, true, true)->DeleteElement("..");
    CGalleryError("no box", 5, "box", 12);
    EXPECT_EQ(monitor.Told(),
              "QvStorage:Operation unlink schlug fehl f\xFCr ..: the name leads out of the storage\n"
              "QVExeption:box(12):CGalleryError-Exception: no box\n");
}

}  // namespace
}  // namespace kestrel
