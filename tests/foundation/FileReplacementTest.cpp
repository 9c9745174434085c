#include "kestrel/foundation/FileReplacement.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "kestrel/foundation/ByteReader.h"
#include "kestrel/foundation/ByteWriter.h"
#include "tests/support/InChild.h"

namespace {
bool syncFails = false;
int syncedFiles = 0, syncedFolders = 0;
}  // namespace

/// In place of the system's: a disk that fails, and a count of what is asked for.
extern "C" int fsync(int descriptor) {
    struct stat status {};
    fstat(descriptor, &status);
    ++(S_ISDIR(status.st_mode) ? syncedFolders : syncedFiles);
    if (!syncFails) return static_cast<int>(syscall(SYS_fsync, descriptor));
    errno = EIO;
    return -1;
}

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const Bytes kNew = {'n', 'e', 'w'};

struct FileReplacementTest : testing::Test {
    FileReplacementTest() : folder(fs::path(testing::TempDir()) / ("kestrel_replace_" + std::to_string(getpid()))) {
        fs::create_directories(folder);
        old = umask(027);
    }
    ~FileReplacementTest() override {
        umask(old);
        fs::remove_all(folder);
    }
    std::string Path(const char* name) const { return folder / name; }
    static std::string Content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static mode_t Mode(const std::string& path) {
        struct stat status {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777;
    }
    std::ptrdiff_t Files() const { return std::distance(fs::directory_iterator(folder), fs::directory_iterator()); }

    fs::path folder;
    mode_t old;
};

TEST_F(FileReplacementTest, NewFileFollowsTheUmask) {
    EXPECT_EQ(WriteWhole(Path("a"), kNew), "");
    EXPECT_EQ(Content(Path("a")), "new");
    EXPECT_EQ(Mode(Path("a")), 0640u);
    EXPECT_EQ(WriteWhole(Path("empty"), {}), "");
    EXPECT_EQ(fs::file_size(Path("empty")), 0u);
    EXPECT_EQ(Files(), 2);
}

TEST_F(FileReplacementTest, OldFileKeepsItsMode) {
    std::ofstream(Path("a")) << "old and longer";
    chmod(Path("a").c_str(), 0604);
    EXPECT_EQ(WriteWhole(Path("a"), kNew), "");
    EXPECT_EQ(Content(Path("a")), "new");
    EXPECT_EQ(Mode(Path("a")), 0604u);
    chmod(Path("a").c_str(), 04604);
    EXPECT_EQ(WriteWhole(Path("a"), kNew), "");
    EXPECT_EQ(Mode(Path("a")), 04604u) << "what it lends to others is the owner's to take back";
}

TEST_F(FileReplacementTest, NewOwnerLendsNoRights) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can play two users";
    std::ofstream(Path("a")) << "old";
    ASSERT_EQ(chown(Path("a").c_str(), 20001, 20001), 0);
    chmod(Path("a").c_str(), 06666);
    std::ofstream(Path("protected")) << "old";
    chmod(Path("protected").c_str(), 0644);
    chmod(folder.c_str(), 0777);
    EXPECT_EQ(test::InChild([&] {
                  if (setgid(20002) != 0 || setuid(20002) != 0) return std::string("cannot change the user");
                  if (WriteWhole(Path("protected"), kNew).empty()) return std::string("replaced what is protected");
                  return WriteWhole(Path("a"), kNew);
              }),
              "");
    EXPECT_EQ(Content(Path("a")), "new");
    EXPECT_EQ(Mode(Path("a")), 0666u);
    ASSERT_EQ(chown(Path("a").c_str(), 20001, 20001), 0);
    chmod(Path("a").c_str(), 06666);
    EXPECT_EQ(WriteWhole(Path("a"), kNew), "");
    struct stat status {};
    stat(Path("a").c_str(), &status);
    EXPECT_EQ(status.st_uid, 20001u);
    EXPECT_EQ(status.st_gid, 20001u);
    EXPECT_EQ(Mode(Path("a")), 06666u) << "who keeps the owner keeps the mode";
}

TEST_F(FileReplacementTest, OrphansOfKilledWritersGo) {
    const auto beside = [&] {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    };
    using Making = FileReplacement::Making;
    EXPECT_EQ(test::InChild([&] {
                  FileReplacement file(Path("a"), Making::kNamed);
                  std::fputs("half", file.Stream());
                  raise(SIGKILL);
                  return std::string();
              }),
              "\nchild ended with status 9");
    ASSERT_EQ(beside().size(), 1u);
    const std::string orphan = beside().front();
    EXPECT_TRUE(orphan.starts_with(".a.kestrel-") && orphan.ends_with(".part")) << orphan;

    FileReplacement living(Path("b"), Making::kNamed);
    std::ofstream(Path(".a.2024.part")) << "a user's own";
    std::ofstream(Path(".a.kestrel-x1.part")) << "another";
    fs::create_symlink(Path("elsewhere"), Path(".a.kestrel-1.part"));
    EXPECT_EQ(test::InChild([&] { return WriteWhole(Path("c"), kNew); }), "");
    EXPECT_FALSE(fs::exists(Path(orphan.c_str())));
    EXPECT_EQ(beside().size(), 5u) << "neither a living writer's file nor what only looks like one";
    ASSERT_NE(living.Stream(), nullptr);
    std::fputs("whole", living.Stream());
    EXPECT_TRUE(living.Commit()) << living.Error();
    EXPECT_EQ(Content(Path("b")), "whole");
}

TEST_F(FileReplacementTest, SmallWritesAreGathered) {
    FileReplacement file(Path("a"));
    for (int i = 0; i < 60000; ++i) std::fputc('x', file.Stream());
    struct stat status {};
    ASSERT_EQ(fstat(fileno(file.Stream()), &status), 0);
    EXPECT_EQ(status.st_size, 0) << "64 KB go to the disk at once";
    EXPECT_TRUE(file.Commit());
    EXPECT_EQ(fs::file_size(Path("a")), 60000u);
}

TEST_F(FileReplacementTest, FileAndFolderReachTheDisk) {
    std::ofstream(Path("a")) << "old";
    syncedFiles = syncedFolders = 0;
    EXPECT_EQ(WriteWhole(Path("a"), kNew), "");
    EXPECT_EQ(syncedFiles, 1);
    EXPECT_EQ(syncedFolders, 1);
    syncFails = true;
    const std::string error = WriteWhole(Path("a"), kNew);
    syncFails = false;
    EXPECT_EQ(error, "cannot write the file: Input/output error");
    EXPECT_EQ(Files(), 1);
}

TEST_F(FileReplacementTest, LinksStayAndTheirTargetsAreReplaced) {
    std::ofstream(Path("real")) << "old";
    fs::create_symlink("real", Path("one"));
    fs::create_symlink(Path("one"), Path("two"));
    EXPECT_EQ(WriteWhole(Path("two"), kNew), "");
    EXPECT_TRUE(fs::is_symlink(Path("one")));
    EXPECT_TRUE(fs::is_symlink(Path("two")));
    EXPECT_EQ(Content(Path("real")), "new");

    fs::create_symlink("later", Path("dangling"));
    EXPECT_EQ(WriteWhole(Path("dangling"), kNew), "");
    EXPECT_EQ(Content(Path("later")), "new");
    EXPECT_TRUE(fs::is_symlink(Path("dangling")));

    fs::create_symlink("loop", Path("loop"));
    EXPECT_NE(WriteWhole(Path("loop"), kNew), "");
    EXPECT_EQ(Files(), 6);
}

TEST_F(FileReplacementTest, WithoutCommitNothingHappens) {
    std::ofstream(Path("a")) << "old";
    {
        FileReplacement file(Path("a"));
        ASSERT_NE(file.Stream(), nullptr);
        std::fputs("half", file.Stream());
        EXPECT_EQ(Content(Path("a")), "old");
    }
    EXPECT_EQ(Content(Path("a")), "old");
    EXPECT_EQ(Files(), 1);
}

TEST_F(FileReplacementTest, AFailedWriteKeepsTheOldFile) {
    std::ofstream(Path("a")) << "old";
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{1000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string error = WriteWhole(Path("a"), Bytes(5000));  // seen by the flush: the buffer holds it
    const std::string large = WriteWhole(Path("a"), Bytes(500000));
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(error, "cannot write the file: File too large");
    EXPECT_EQ(large, error);
    EXPECT_EQ(Content(Path("a")), "old");
    EXPECT_EQ(Files(), 1);
}

TEST_F(FileReplacementTest, WhatCannotBeReplaced) {
    EXPECT_EQ(WriteWhole(Path("none/a"), kNew), "cannot create the file: No such file or directory");
    EXPECT_NE(WriteWhole(folder.string(), kNew), "");
    EXPECT_NE(WriteWhole(folder.string() + "/", kNew), "");
    EXPECT_NE(WriteWhole("", kNew), "");
    std::ofstream(Path("plain")) << "x";
    EXPECT_NE(WriteWhole(Path("plain/a"), kNew), "");
    EXPECT_EQ(WriteWhole("/dev/full", kNew), "cannot write the file: No space left on device");
    EXPECT_EQ(WriteWhole("/dev/null", kNew), "");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    if (geteuid() != 0) {  // root may write anything
        chmod(Path("plain").c_str(), 0400);
        EXPECT_NE(WriteWhole(Path("plain"), kNew), "");
        EXPECT_EQ(Content(Path("plain")), "x");
    }
    EXPECT_EQ(Files(), 1);
}

TEST_F(FileReplacementTest, LongNames) {
    const std::string name(255, 'n');
    EXPECT_EQ(WriteWhole(Path(name.c_str()), kNew), "");
    EXPECT_EQ(Content(Path(name.c_str())), "new");
    EXPECT_NE(WriteWhole(Path(std::string(256, 'n').c_str()), kNew), "");
}

TEST_F(FileReplacementTest, ReaderKnowsItsEnd) {
    ASSERT_EQ(WriteWhole(Path("a"), Bytes{1, 2, 3, 4, 5}), "");
    std::FILE* file = std::fopen(Path("a").c_str(), "rb");
    std::fgetc(file);
    const Bytes memory = {1, 2, 3, 4, 5};
    ByteReader readers[] = {ByteReader(file), ByteReader(memory)};
    ASSERT_TRUE(readers[1].Seek(1));
    for (ByteReader& reader : readers) {
        EXPECT_EQ(reader.Size(), 5u);
        EXPECT_EQ(reader.Position(), 1u);
        std::uint8_t bytes[9] = {};
        EXPECT_EQ(reader.Read(bytes, 2), 2u);
        EXPECT_EQ(bytes[1], 3);
        EXPECT_EQ(reader.Read(bytes, 9), 2u);
        EXPECT_EQ(bytes[1], 5);
        EXPECT_EQ(reader.Read(bytes, 1), 0u);
        EXPECT_FALSE(reader.Seek(6));
        EXPECT_TRUE(reader.Seek(5));
        EXPECT_EQ(reader.Left(), 0u);
    }
    std::fclose(file);
    EXPECT_EQ(ByteReader(static_cast<std::FILE*>(nullptr)).Size(), 0u);
}

TEST_F(FileReplacementTest, WriterKeepsItsFirstError) {
    std::FILE* full = std::fopen("/dev/full", "wb");
    std::setvbuf(full, nullptr, _IONBF, 0);
    ByteWriter writer(full);
    EXPECT_FALSE(writer.Write("abc", 3));
    EXPECT_EQ(errno, ENOSPC);
    errno = 0;
    EXPECT_FALSE(writer.Write(nullptr, 0));
    EXPECT_EQ(errno, ENOSPC);
    std::fclose(full);
    Bytes bytes = {9};
    ByteWriter memory(bytes);
    EXPECT_TRUE(memory.Write("ab", 2));
    EXPECT_EQ(bytes, (Bytes{9, 'a', 'b'}));
}

TEST_F(FileReplacementTest, WriterReplacesWhatItWrote) {
    const auto put = [](ByteWriter& writer) {
        return writer.Write("a", 1) && writer.Reserve(4) && writer.Write("f", 1) && writer.Replace(1, "XYde", 4) &&
               writer.Replace(4, "Z", 1) && writer.Write("g", 1);
    };
    Bytes bytes = {9};
    ByteWriter memory(bytes);
    EXPECT_TRUE(memory.CanReplace() && put(memory));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "\taXYdZfg");
    std::FILE* file = std::tmpfile();
    std::fputs("before", file);
    ByteWriter writer(file);
    EXPECT_TRUE(writer.CanReplace() && put(writer));
    char text[20] = {};
    std::rewind(file);
    EXPECT_EQ(std::fread(text, 1, sizeof text, file), 13u);
    EXPECT_STREQ(text, "beforeaXYdZfg");
    std::fclose(file);
    for (const auto& [name, mode] :
         {std::pair<std::string, const char*>("/dev/full", "wb"), {Path("appended"), "ab"}}) {
        file = std::fopen(name.c_str(), mode);
        EXPECT_FALSE(ByteWriter(file).CanReplace()) << name;
        std::fclose(file);
    }
}

}  // namespace
}  // namespace kestrel
