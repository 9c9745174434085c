#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "kestrel/storage/compound/NameOrder.h"

namespace kestrel::compound {
namespace {

using Bytes = std::vector<std::uint8_t>;

CompoundFile NewFile(MemoryStore::Block block = std::make_shared<Bytes>(), Version version = Version::k4) {
    return *CompoundFile::Create(std::make_unique<MemoryStore>(std::move(block)), version);
}

class TemporaryFile {
public:
    TemporaryFile()
        : folder_(std::filesystem::temp_directory_path() / ("kestrel-compound-" + std::to_string(getpid()))) {
        std::filesystem::create_directory(folder_);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { std::filesystem::remove_all(folder_); }
    std::string Path(const char* name = "file") const { return folder_ / name; }

private:
    std::filesystem::path folder_;
};

TEST(NameOrder, ShorterFirstThenByUpperCase) {
    const std::u16string ordered[] = {u"B", u"_", u"aa", u"AB", u"\u00E4a", u"\u0434\u0430", u"\u0414\u0431", u"aaa"};
    for (std::size_t i = 0; i < std::size(ordered); ++i)
        for (std::size_t j = 0; j < std::size(ordered); ++j)
            EXPECT_EQ(CompareNames(ordered[i], ordered[j]) < 0, i < j) << i << ' ' << j;
    constexpr std::pair<char16_t, char16_t> kPairs[] = {
        {u'a', u'A'},   {u'{', u'{'},     {0xE4, 0xC4},     {0xF7, 0xF7},     {0xFF, 0x178},
        {0x101, 0x100}, {0x100, 0x100},   {0x103, 0x102},   {0x131, 0x131},   {0x3B1, 0x391},
        {0x44F, 0x42F}, {0x1E01, 0x1E00}, {0x24D0, 0x24B6}, {0xFF5A, 0xFF3A}, {0xDF, 0xDF}};
    for (const auto& [lower, upper] : kPairs) EXPECT_EQ(UpperCase(lower), upper) << std::hex << int{lower};
    std::uint64_t hash = 14695981039346656037U;  // no letter changes its place: files were written in this order
    for (int unit = 0; unit < 0x10000; ++unit) hash = (hash ^ UpperCase(static_cast<char16_t>(unit))) * 1099511628211U;
    EXPECT_EQ(hash, 5747050641827876845U);
}

TEST(Handles, BeginWithTheHeaderOfTheirVersion) {
    for (const auto& [version, shift, other] : {std::tuple{Version::k3, 9, 12}, {Version::k4, 12, 9}}) {
        const auto block = std::make_shared<Bytes>();
        NewFile(block, version);
        Bytes start = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
        start.resize(24);  // no class
        for (const int byte : {0x3E, 0, static_cast<int>(version), 0, 0xFE, 0xFF, shift, 0, 6, 0})
            start.push_back(static_cast<std::uint8_t>(byte));
        EXPECT_EQ(Bytes(block->begin(), block->begin() + 34), start);
        (*block)[30] = static_cast<std::uint8_t>(other);
        EXPECT_EQ(CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kRead).Failure(),
                  Error::kNotCompound);
    }
}

TEST(Handles, TellEachMistake) {
    CompoundFile file = NewFile();
    auto root = *file.Root();
    ASSERT_TRUE(root.CreateStorage(u"Storage"));
    ASSERT_TRUE(root.CreateStream(u"Stream"));
    EXPECT_EQ(file.Root().Failure(), Error::kAccessDenied);
    for (const std::u16string name : {u"", u"a/b", u"a\\b", u"a:b", u"a!b", u"12345678901234567890123456789012"})
        EXPECT_EQ(root.CreateStream(name).Failure(), Error::kInvalidName);
    EXPECT_TRUE(root.CreateStream(u"1234567890123456789012345678901"));
    EXPECT_EQ(root.CreateStream(u"STREAM").Failure(), Error::kExists);
    EXPECT_EQ(root.CreateStorage(u"stream").Failure(), Error::kExists);
    EXPECT_EQ(root.OpenStream(u"Storage").Failure(), Error::kWrongKind);
    EXPECT_EQ(root.OpenStorage(u"Stream").Failure(), Error::kWrongKind);
    EXPECT_EQ(root.OpenStream(u"None").Failure(), Error::kNotFound);
    EXPECT_EQ(root.Remove(u"None"), Error::kNotFound);
    EXPECT_EQ(root.Rename(u"Stream", u"storage"), Error::kExists);
    EXPECT_EQ(root.Rename(u"Stream", u"STREAM"), Error::kNone);
    EXPECT_EQ(root.Find(u"stream")->name, u"STREAM");

    auto stream = *root.OpenStream(u"stream");
    EXPECT_EQ(root.OpenStream(u"stream").Failure(), Error::kAccessDenied);
    EXPECT_EQ(stream.Seek(-1, Origin::kCurrent).Failure(), Error::kInvalidArgument);
    EXPECT_EQ(*stream.Seek(7, Origin::kEnd), 7U);
    EXPECT_EQ(stream.Write(Bytes{1}), Error::kNone);
    EXPECT_EQ(*stream.Size(), 8U);
    EXPECT_EQ(stream.SetSize(std::uint64_t{1} << 60), Error::kTooLarge);
    EXPECT_EQ(root.Remove(u"stream"), Error::kNone);
    EXPECT_EQ(stream.Write(Bytes{1}), Error::kReverted);
    EXPECT_TRUE(root.CreateStream(u"stream"));  // of the same entry; the old handle must not meet it
    EXPECT_EQ(stream.Size().Failure(), Error::kReverted);
}

TEST(Handles, KeepWhatTheDirectoryTellsAndCopyIt) {
    const auto block = std::make_shared<Bytes>();
    constexpr GUID kId = MakeGuid("{8D772961-5CA0-4866-95E9-CD0E660E683C}");
    {
        CompoundFile file = NewFile(block);
        auto root = *file.Root();
        auto inner = *root.CreateStorage(u"inner");
        EXPECT_EQ(inner.SetClassId(kId), Error::kNone);
        EXPECT_EQ(inner.SetUserFlags(0xFF00FF00, 0xFFFF0000), Error::kNone);
        EXPECT_EQ(inner.SetTimes(0x0123456789ABCDEF, 5), Error::kNone);
        EXPECT_EQ(inner.CreateStream(u"s")->Write(Bytes(5000, 7)), Error::kNone);
        EXPECT_EQ(root.CopyTo(inner), Error::kInvalidArgument);
        EXPECT_EQ(file.Commit(), Error::kNone);
    }
    auto file = *CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kRead);
    auto root = *file.Root();
    CompoundFile copy = NewFile();
    auto target = *copy.Root();
    EXPECT_EQ(target.CreateStorage(u"INNER")->CreateStream(u"S")->Write(Bytes(9000, 1)), Error::kNone);
    EXPECT_EQ(root.CopyTo(target), Error::kNone);
    for (Storage* storage : {&root, &target}) {
        const auto inner = *storage->OpenStorage(u"inner");
        EXPECT_EQ(inner.Info()->classId, kId);
        EXPECT_EQ(inner.Info()->userFlags, 0xFF000000);
        EXPECT_EQ(inner.Info()->created, 0x0123456789ABCDEFU);
        EXPECT_EQ(inner.Info()->modified, 5U);
        ASSERT_EQ(inner.Elements()->size(), 1U);
        EXPECT_EQ(inner.Find(u"s")->size, 5000U);
    }
    EXPECT_EQ(root.SetUserFlags(1, 1), Error::kAccessDenied);
}

TEST(Handles, NestDeeply) {
    const auto block = std::make_shared<Bytes>();
    CompoundFile file = NewFile(block, Version::k3);
    {
        std::vector<Storage> path;
        path.push_back(*file.Root());
        for (int i = 0; i < 1000; ++i) path.push_back(*path.back().CreateStorage(u"s"));
        EXPECT_EQ(path.back().CreateStream(u"end")->Write(Bytes(10, 1)), Error::kNone);
    }
    ASSERT_EQ(file.Commit(), Error::kNone);
    CompoundFile copy = NewFile();
    auto root = *file.Root();
    auto target = *copy.Root();
    EXPECT_EQ(root.CopyTo(target), Error::kNone);
    EXPECT_EQ(copy.Commit(), Error::kNone);
    MemoryStore store(block);
    const auto report = Check(store);
    ASSERT_TRUE(report);
    EXPECT_TRUE(report->Clean());
    EXPECT_EQ(report->storages, 1000U);
    EXPECT_EQ(report->streams, 1U);
    EXPECT_EQ(root.Remove(u"s"), Error::kNone);
    EXPECT_EQ(file.Commit(), Error::kNone);
    EXPECT_LE(block->size(), 6U * 512);  // all sectors are given back
}

TEST(Files, AreHeldExclusivelyAndNeverReplaced) {
    const TemporaryFile place;
    EXPECT_EQ(CompoundFile::OpenFile(place.Path(), Access::kRead).Failure(), Error::kNotFound);
    EXPECT_EQ(CompoundFile::OpenFile(place.Path("no/file"), Access::kRead).Failure(), Error::kPathNotFound);
    auto file = CompoundFile::CreateFile(place.Path());
    ASSERT_TRUE(file);
    for (const Access access : {Access::kRead, Access::kReadWrite})
        EXPECT_EQ(CompoundFile::OpenFile(place.Path(), access).Failure(), Error::kShareViolation);
    EXPECT_EQ(CompoundFile::CreateFile(place.Path()).Failure(), Error::kExists);
    file = Error::kNotFound;
    const auto reader = CompoundFile::OpenFile(place.Path(), Access::kRead);
    ASSERT_TRUE(reader);
    EXPECT_EQ(CompoundFile::OpenFile(place.Path(), Access::kRead).Failure(), Error::kShareViolation);
}

/// Beyond 2 GB, where version 4 reserves a sector and version 3 ends.
TEST(Files, GrowBeyondTwoGigabytesInVersion4) {
    const TemporaryFile place;
    constexpr std::int64_t kFar = 5'000'000'000;
    {
        auto file = CompoundFile::CreateFile(place.Path());
        auto stream = *file->Root()->CreateStream(u"far");
        ASSERT_TRUE(stream.Seek(kFar, Origin::kBegin));
        ASSERT_EQ(stream.Write(Bytes{42}), Error::kNone);
        ASSERT_EQ(file->Commit(), Error::kNone);
    }
    {
        const auto store = FileStore::Open(place.Path(), Access::kRead);
        const auto report = Check(**store);
        ASSERT_TRUE(report);
        EXPECT_TRUE(report->Clean());
    }
    auto file = CompoundFile::OpenFile(place.Path(), Access::kReadWrite);
    auto root = *file->Root();
    {
        auto stream = *root.OpenStream(u"far");
        EXPECT_EQ(*stream.Size(), kFar + 1U);
        Bytes end(10, 9);
        ASSERT_TRUE(stream.Seek(kFar - 4, Origin::kBegin));
        EXPECT_EQ(*stream.Read(end), 5U);
        EXPECT_EQ(end[0], 0);
        EXPECT_EQ(end[4], 42);
    }
    ASSERT_EQ(root.Remove(u"far"), Error::kNone);
    ASSERT_EQ(file->Commit(), Error::kNone);
    EXPECT_LT(std::filesystem::file_size(place.Path()), 1U << 16);

    CompoundFile small = NewFile(std::make_shared<Bytes>(), Version::k3);
    auto stream = *small.Root()->CreateStream(u"far");
    EXPECT_EQ(stream.SetSize(0x80000001), Error::kTooLarge);
}

}  // namespace
}  // namespace kestrel::compound
