// Files that lie, and files that other writers left untidy.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "tests/support/CompoundReader.h"

namespace kestrel::compound {
namespace {

using tests::CompoundContent;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kEnd = 0xFFFFFFFE;
constexpr std::uint32_t kNone32 = 0xFFFFFFFF;

/// A version 3 file in memory and the places of its numbers.
class Image {
public:
    Image() {
        auto file = *CompoundFile::Create(std::make_unique<MemoryStore>(bytes_), Version::k3);
        auto root = *file.Root();
        for (const char16_t* name : {u"first", u"second", u"third"})
            EXPECT_EQ(root.CreateStream(name)->Write(Bytes(20000, static_cast<std::uint8_t>(name[0]))), Error::kNone);
        EXPECT_EQ(root.CreateStream(u"mini")->Write(Bytes(300, 5)), Error::kNone);
        auto inner = *root.CreateStorage(u"inner");
        EXPECT_EQ(inner.CreateStream(u"within")->Write(Bytes(100, 6)), Error::kNone);
        EXPECT_EQ(file.Commit(), Error::kNone);
    }

    const MemoryStore::Block& Block() const { return bytes_; }
    std::uint32_t Get(std::size_t at) const {
        const Bytes& b = *bytes_;
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;) number = number << 8 | b[at + i];
        return number;
    }
    void Put(std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) (*bytes_)[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    static std::size_t Place(std::uint32_t sector) { return (std::size_t{sector} + 1) * 512; }
    std::size_t Fat(std::uint32_t sector) const { return Place(Get(76 + sector / 128 * 4)) + sector % 128 * 4; }
    std::size_t Entry(std::uint32_t id) const {
        std::uint32_t sector = Get(48);
        for (std::uint32_t i = 0; i < id / 4; ++i) sector = Get(Fat(sector));
        return Place(sector) + id % 4 * 128;
    }
    std::uint32_t Id(std::u16string_view name) const {
        for (std::uint32_t id = 0; id < 8; ++id) {
            std::u16string found;
            for (std::size_t i = 0; (*bytes_)[Entry(id) + i] != 0; i += 2)
                found += static_cast<char16_t>((*bytes_)[Entry(id) + i]);
            if (found == name) return id;
        }
        ADD_FAILURE() << "no such entry";
        return 0;
    }
    std::uint32_t Start(std::u16string_view name) const { return Get(Entry(Id(name)) + 116); }
    /// The root of the root's tree.
    std::size_t Top() const { return Entry(Get(Entry(0) + 76)); }

private:
    MemoryStore::Block bytes_ = std::make_shared<Bytes>();
};

/// Counts what is read.
class CountingStore final : public ByteStore {
public:
    explicit CountingStore(const MemoryStore::Block& block) : store_(block) {}
    std::uint64_t Count() const { return count_; }

    bool Writable() const override { return false; }
    Result<std::uint64_t> Size() override { return store_.Size(); }
    Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) override {
        count_ += to.size();
        return store_.ReadAt(offset, to);
    }
    Error WriteAt(std::uint64_t, std::span<const std::uint8_t>) override { return Error::kAccessDenied; }
    Error SetSize(std::uint64_t) override { return Error::kAccessDenied; }
    Error Flush() override { return Error::kNone; }

private:
    MemoryStore store_;
    std::uint64_t count_ = 0;
};

/// Walks down and reads everything; how many bytes could be read. Ends for any file.
std::uint64_t ReadAll(const MemoryStore::Block& block) {
    const auto file = CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kRead);
    if (!file) return 0;
    std::uint64_t total = 0;
    std::vector<Storage> storages;
    storages.push_back(*const_cast<CompoundFile&>(*file).Root());
    while (!storages.empty()) {
        Storage storage = std::move(storages.back());
        storages.pop_back();
        const auto elements = storage.Elements();
        if (!elements) continue;
        EXPECT_LT(elements->size(), 1000U);
        for (const ElementInfo& info : *elements) {
            if (info.kind == ElementKind::kStorage) {
                if (auto inner = storage.OpenStorage(info.name)) storages.push_back(std::move(*inner));
            } else if (auto stream = storage.OpenStream(info.name)) {
                Bytes bytes(100000);
                const auto count = stream->Read(bytes);
                if (count) total += *count;
            }
        }
    }
    return total;
}

struct Case {
    const char* name;
    std::function<void(Image&)> damage;
    const char* told;     // part of a finding
    std::uint64_t saved;  // bytes that `Repair` saves of streams saved whole or in part, at least
};

constexpr std::uint64_t kAll = 60400;

const Case kDamaged[] = {
    {"a chain that goes in a circle", [](Image& i) { i.Put(i.Fat(i.Start(u"first") + 5), i.Start(u"first")); },
     "stream first: sector", kAll - 20000},
    {"a chain that leaves the file", [](Image& i) { i.Put(i.Fat(i.Start(u"first") + 5), 0xFFFFFF); },
     "stream first: its chain leaves the file", kAll - 20000},
    {"two chains that meet", [](Image& i) { i.Put(i.Fat(i.Start(u"first") + 5), i.Start(u"second") + 6); },
     "is used twice", kAll - 20000},
    {"a chain over free sectors", [](Image& i) { i.Put(i.Fat(i.Start(u"first") + 5), kNone32); },
     "stream first: its chain breaks off after 6 sectors", kAll - 20000 + 2560},
    {"a chain that ends early", [](Image& i) { i.Put(i.Fat(i.Start(u"first") + 5), kEnd); },
     "stream first: its chain ends 34 sectors early", kAll - 20000 + 2560},
    {"a size beyond the file", [](Image& i) { i.Put(i.Entry(i.Id(u"first")) + 120, 0x7FFFFFFF); },
     "stream first: its chain ends", kAll},
    {"a mini chain in a circle",
     [](Image& i) { i.Put(Image::Place(i.Get(60)) + 4 * (i.Start(u"mini") + 1), i.Start(u"mini")); },
     "stream mini: its mini chain", kAll - 300},
    {"a directory in a circle", [](Image& i) { i.Put(i.Fat(i.Get(48)), i.Get(48)); }, "the directory: sector", 0},
    {"a tree in a circle", [](Image& i) { i.Put(i.Top() + 72, i.Get(i.Entry(0) + 76)); },
     "the root storage: its tree has broken links", kAll},
    {"a tree that leaves the directory", [](Image& i) { i.Put(i.Top() + 68, 0x10000000); }, "its tree has broken links",
     kAll},
    {"a storage within itself", [](Image& i) { i.Put(i.Entry(i.Id(u"inner")) + 76, i.Id(u"inner")); },
     "stream within (entry 6) is in no storage", kAll},
    {"two storages with the same elements",
     [](Image& i) { i.Put(i.Entry(i.Id(u"inner")) + 76, i.Get(i.Entry(0) + 76)); }, "storage inner: its tree", kAll},
    {"a FAT sector outside", [](Image& i) { i.Put(76, 0x00FFFFFF); }, "FAT sector 16777215 is outside", 0},
    {"a DIFAT in a circle",
     [](Image& i) {
         i.Put(68, i.Start(u"first"));
         i.Put(72, 1);
         for (std::size_t at = 76; at < 512; at += 4) i.Put(at, i.Get(76));
         std::fill_n(i.Block()->begin() + static_cast<std::ptrdiff_t>(Image::Place(i.Start(u"first"))), 508,
                     std::uint8_t{0});
         i.Put(Image::Place(i.Start(u"first")) + 508, i.Start(u"first"));
     },
     "is outside the file or used twice", 0},
};

TEST(Hostile, DamageIsToldAndWhatIsLeftIsSaved) {
    for (const Case& c : kDamaged) {
        SCOPED_TRACE(c.name);
        Image image;
        c.damage(image);
        CountingStore counted(image.Block());
        const auto report = Check(counted);
        ASSERT_TRUE(report);
        EXPECT_LE(counted.Count(), 8 * image.Block()->size());
        std::string all;
        bool damaged = false;
        for (const Finding& finding : report->findings) {
            all += finding.text + "\n";
            damaged = damaged || finding.severity == Severity::kDamaged;
        }
        EXPECT_TRUE(damaged);
        EXPECT_NE(all.find(c.told), all.npos) << all;
        ReadAll(image.Block());

        const auto before = *image.Block();
        auto file = CompoundFile::Open(std::make_unique<MemoryStore>(image.Block()), Access::kReadWrite);
        if (file) {
            auto root = *file->Root();
            if (root.CreateStream(u"new")) {
                EXPECT_EQ(file->Commit(), Error::kNone);
            }
        }
        file = Error::kNotFound;
        *image.Block() = before;

        CountingStore source(image.Block());
        const auto saved = std::make_shared<Bytes>();
        const auto repaired = Repair(source, std::make_unique<MemoryStore>(saved));
        if (!repaired) {
            EXPECT_EQ(c.saved, 0U);
            EXPECT_EQ(repaired.Failure(), Error::kDamaged);
            continue;
        }
        MemoryStore store(saved);
        EXPECT_TRUE(Check(store)->Clean());
        EXPECT_GE(ReadAll(saved), c.saved);
    }
}

/// Others' habits: all is read, and the next change puts it in order.
TEST(Hostile, UntidyFilesAreReadAndTidied) {
    const Case kUntidy[] = {
        {"a red root", [](Image& i) { (*i.Block())[i.Top() + 67] = 0; }, "rules of order or color", kAll},
        {"all black",
         [](Image& i) {
             for (std::uint32_t id = 1; id < 7; ++id) (*i.Block())[i.Entry(id) + 67] = 1;
         },
         "rules of order or color", kAll},
        {"out of order",
         [](Image& i) {
             const auto left = i.Get(i.Top() + 68);
             i.Put(i.Top() + 68, i.Get(i.Top() + 72));
             i.Put(i.Top() + 72, left);
         },
         "rules of order or color", kAll},
        {"stale counts",
         [](Image& i) {
             i.Put(44, 7);
             i.Put(64, 9);
         },
         "the header counts 7 FAT", kAll},
        {"a size above 4 GB in version 3", [](Image& i) { i.Put(i.Entry(i.Id(u"first")) + 124, 0xCDCDCDCD); }, "",
         kAll},
        {"a lost sector", [](Image& i) { i.Put(i.Fat(127), kEnd); }, "", kAll},
    };
    const Image original;
    std::string fault;
    auto content = tests::ReadCompound(*original.Block(), fault);
    ASSERT_EQ(fault, "");
    content[u"new"];
    for (const Case& c : kUntidy) {
        SCOPED_TRACE(c.name);
        Image image;
        c.damage(image);
        EXPECT_EQ(ReadAll(image.Block()), c.saved);
        MemoryStore store(image.Block());
        std::string all;
        const auto report = Check(store);
        for (const Finding& finding : report->findings) all += finding.text + "\n";
        EXPECT_NE(all.find(c.told), all.npos) << all;
        {
            auto file = *CompoundFile::Open(std::make_unique<MemoryStore>(image.Block()), Access::kReadWrite);
            ASSERT_TRUE(file.Root()->CreateStream(u"new"));
            ASSERT_EQ(file.Commit(), Error::kNone);
        }
        EXPECT_TRUE(Check(store)->Clean());
        EXPECT_TRUE(tests::ReadCompound(*image.Block(), fault) == content);
        EXPECT_EQ(fault, "");
    }
}

TEST(Hostile, CutAnywhere) {
    const Image whole;
    for (std::size_t size = 0; size < whole.Block()->size(); size += 256) {
        const auto cut =
            std::make_shared<Bytes>(whole.Block()->begin(), whole.Block()->begin() + static_cast<std::ptrdiff_t>(size));
        MemoryStore store(cut);
        const auto report = Check(store);
        EXPECT_TRUE(report ? !report->Clean() : report.Failure() == Error::kNotCompound) << size;
        EXPECT_LE(ReadAll(cut), kAll);
    }
}

/// Every stream claims the same sectors, and the tree is one long line.
TEST(Hostile, AHugeDirectoryIsCheckedInLinearTime) {
    constexpr std::uint32_t kEntries = 40000;
    const auto block = std::make_shared<Bytes>();
    {
        auto file = *CompoundFile::Create(std::make_unique<MemoryStore>(block), Version::k3);
        auto root = *file.Root();
        for (std::uint32_t i = 0; i < kEntries; ++i) {
            const std::string name = std::to_string(100000 + i);
            ASSERT_TRUE(root.CreateStream(std::u16string(name.begin(), name.end())));
        }
        ASSERT_EQ(file.Commit(), Error::kNone);
    }
    const auto put = [&](std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) (*block)[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    };
    std::uint32_t id = 0;
    for (std::size_t at = 512; at + 128 <= block->size(); at += 128) {
        if ((*block)[at + 66] == 5) put(at + 76, 1);
        if ((*block)[at + 66] != 2 || (*block)[at + 64] != 14) continue;
        ++id;
        put(at + 68, kNone32);
        put(at + 72, id < kEntries ? id + 1 : kNone32);
        put(at + 116, 0);
        put(at + 120, 0x7FFFFFFF);
    }
    ASSERT_EQ(id, kEntries);
    CountingStore store(block);
    const auto report = Check(store);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->streams, kEntries);
    EXPECT_EQ(report->findings.size(), 1000U);
    EXPECT_GT(report->more, kEntries - 1100);
    EXPECT_LE(store.Count(), 8 * block->size());
    const auto file = CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kRead);
    EXPECT_TRUE(const_cast<CompoundFile&>(*file).Root()->OpenStream(u"139999"));
}

}  // namespace
}  // namespace kestrel::compound
