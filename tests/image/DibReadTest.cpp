#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibModule.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Put(Bytes& bytes, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

void PutAt(Bytes& bytes, std::size_t at, std::uint32_t value) { std::memcpy(&bytes[at], &value, 4); }

struct Record {
    std::uint32_t size = 40;
    std::uint32_t width = 0, height = 0, depth = 0;
    std::uint32_t compression = 0, imageSize = 0, colors = 0;
    Bytes table{}, image{};
};

Bytes Bare(const Record& r) {
    Bytes bytes;
    Put(bytes, r.size, 4);
    Put(bytes, r.width, 4);
    Put(bytes, r.height, 4);
    Put(bytes, 1, 2);
    Put(bytes, r.depth, 2);
    Put(bytes, r.compression, 4);
    Put(bytes, r.imageSize, 4);
    Put(bytes, 0, 8);
    Put(bytes, r.colors, 4);
    Put(bytes, 0, 4);
    bytes.resize(std::max<std::size_t>(bytes.size(), r.size));
    bytes.insert(bytes.end(), r.table.begin(), r.table.end());
    bytes.insert(bytes.end(), r.image.begin(), r.image.end());
    return bytes;
}

/// With the 14 bytes of a file before the record.
Bytes File(const Bytes& record, std::uint32_t bitsOffset) {
    Bytes bytes = {'B', 'M'};
    Put(bytes, record.size() + 14, 4);
    Put(bytes, 0, 4);
    Put(bytes, bitsOffset, 4);
    bytes.insert(bytes.end(), record.begin(), record.end());
    return bytes;
}

DibPtr Read(const Bytes& bytes, std::int64_t offset = 0) {
    if (bytes.empty()) return nullptr;
    Bytes copy = bytes;  // exactly as long as the file, so that a read beyond it shows
    std::FILE* file = fmemopen(copy.data(), copy.size(), "rb");
    DibPtr dib(DibReadDib(file, offset));
    std::fclose(file);
    return dib;
}

/// Two by two, 24 bits: rows of six bytes and two of padding.
Record Small24() {
    return {.width = 2, .height = 2, .depth = 24, .image = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}};
}

void ExpectSmall24(const Dib* dib) {
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biWidth, 2);
    EXPECT_EQ(dib->biHeight, 2);
    EXPECT_EQ(dib->biSizeImage, 16u);
    EXPECT_EQ(DibRow(dib, 0)[5], 6);
    EXPECT_EQ(DibRow(dib, 1)[0], 7);
    EXPECT_EQ(DibRow(dib, 1)[5], 12);
}

TEST(DibRead, FileAndBareRecord) {
    const Bytes bare = Bare(Small24());
    ExpectSmall24(Read(bare).get());
    ExpectSmall24(Read(File(bare, 54)).get());
    ExpectSmall24(Read(File(bare, 0)).get());  // no offset: the image follows the table

    Bytes gap = Bare(Small24());
    gap.insert(gap.begin() + 40, 5, 0xEE);
    ExpectSmall24(Read(File(gap, 59)).get());

    Bytes later(7, 0xEE);
    const Bytes file = File(bare, 54);
    later.insert(later.end(), file.begin(), file.end());
    ExpectSmall24(Read(later, 7).get());
    EXPECT_EQ(Read(later, 6), nullptr);
    EXPECT_EQ(Read(later, -1), nullptr);
    EXPECT_EQ(Read(later, 1000), nullptr);
    EXPECT_EQ(DibReadDib(nullptr, 0), nullptr);
}

TEST(DibRead, LargerHeadersKeepTheirTableBehindThem) {
    Record r{.size = 124, .width = 1, .height = 1, .depth = 8, .colors = 2};
    r.table = {1, 2, 3, 0, 4, 5, 6, 0};
    r.image = {1, 0, 0, 0};
    const DibPtr dib = Read(File(Bare(r), 14 + 124 + 8));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(DibColorTable(dib.get())[4], 4);
    EXPECT_EQ(DibRow(dib.get(), 0)[0], 1);
}

TEST(DibRead, CoreHeaderLoadsLikeItsWideForm) {
    Record wide{.width = 9, .height = 2, .depth = 4, .image = Bytes(16)};
    for (std::size_t i = 0; i < 16; ++i) wide.image[i] = static_cast<std::uint8_t>(i * 16 + i);
    Bytes core;
    Put(core, 12, 4);
    Put(core, 9, 2);
    Put(core, 2, 2);
    Put(core, 1, 2);
    Put(core, 4, 2);
    for (std::uint8_t i = 0; i < 16; ++i)
        for (std::uint8_t c = 0; c < 3; ++c) {
            core.push_back(static_cast<std::uint8_t>(3 * i + c));
            wide.table.push_back(static_cast<std::uint8_t>(3 * i + c));
            if (c == 2) wide.table.push_back(0);
        }
    core.insert(core.end(), wide.image.begin(), wide.image.end());

    const DibPtr want = Read(Bare(wide));
    ASSERT_NE(want, nullptr);
    for (const Bytes& file : {core, File(core, 14 + 12 + 48)}) {
        const DibPtr got = Read(file);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(0, std::memcmp(got.get(), want.get(), 40 + 64 + 16));
    }
}

TEST(DibRead, RunsExpand) {
    // Three runs, a line end that rounds up, three literals with padding, a delta that moves nothing, a last run.
    const Bytes runs = {3, 0xA1, 2, 0xB2, 0,    0, 0, 3, 0xC1, 0xC2, 0xC3, 0, 0,
                        2, 9,    9, 5,    0xD4, 0, 0, 1, 0xE5, 0,    1,    1, 0xEE};
    Record r{.width = 16, .height = 2, .depth = 8, .compression = kDibRunLength8, .colors = 1};
    r.imageSize = static_cast<std::uint32_t>(runs.size());
    r.table = {0, 0, 0, 0};
    r.image = runs;
    const DibPtr dib = Read(Bare(r));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biCompression, 0u);
    EXPECT_EQ(dib->biSizeImage, runs.size());
    const Bytes want = {0xA1, 0xA1, 0xA1, 0xB2, 0xB2, 0, 0, 0, 0xC1, 0xC2, 0xC3, 0xD4, 0xD4, 0xD4, 0xD4, 0xD4,
                        0xE5, 0,    0,    0,    0,    0, 0, 0, 0,    0,    0,    0,    0,    0,    0,    0};
    EXPECT_EQ(Bytes(DibRow(dib.get(), 0), DibRow(dib.get(), 2)), want);
}

TEST(DibRead, ExpandedImageEndsWithItsRecordedSize) {
    Record r{.width = 8, .height = 4, .depth = 8, .compression = kDibRunLength8, .imageSize = 4, .colors = 1};
    r.table = {0, 0, 0, 0};
    r.image = {255, 7, 255, 7};  // two runs of 255 pixels; four bytes are all the room on record
    const DibPtr dib = Read(Bare(r));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(DibRow(dib.get(), 0)[3], 7);
    EXPECT_EQ(DibRow(dib.get(), 0)[4], 0);
}

TEST(DibRead, HostileRunsStayInTheirImage) {
    const Bytes hostile[] = {{0},          {5},       {0, 255},          {0, 2},         {0, 2, 1},      {255, 1, 255},
                             {0, 0, 0, 0}, {0, 3, 1}, {0, 200, 1, 2, 3}, {0, 0, 0, 255}, {9, 9, 0, 7, 1}};
    for (const Bytes& runs : hostile) {
        Record r{.width = 4, .height = 1, .depth = 8, .compression = kDibRunLength8, .colors = 1};
        r.imageSize = static_cast<std::uint32_t>(runs.size());
        r.table = {0, 0, 0, 0};
        r.image = runs;
        const DibPtr dib = Read(Bare(r));
        ASSERT_NE(dib, nullptr);
        EXPECT_EQ(dib->biCompression, 0u);
    }
}

TEST(DibRead, BitFieldsLoadAsPlain) {
    Record r{.width = 2, .height = 1, .depth = 16, .compression = kDibBitFields};
    r.table = {0, 0xF8, 0, 0, 0xE0, 7, 0, 0, 0x1F, 0, 0, 0};  // 5-6-5
    r.image = {0xE0, 0x07, 0x00, 0xF8};
    const DibPtr dib = Read(File(Bare(r), 14 + 40 + 12));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biCompression, 0u);
    EXPECT_EQ(DibRow(dib.get(), 0)[0], 0xE0);
    EXPECT_EQ(DibRow(dib.get(), 0)[3], 0xF8);
}

TEST(DibRead, TopDownRecordsHaveNoRows) {
    Record r = Small24();
    r.height = static_cast<std::uint32_t>(-2);
    const DibPtr dib = Read(Bare(r));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->biHeight, -2);
    const DibPtr converted(Make24BitDib(dib.get()));
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(converted->biHeight, -2);
}

TEST(DibRead, EveryTruncationIsRefused) {
    Record indexed{.width = 3, .height = 2, .depth = 8, .colors = 4, .table = Bytes(16), .image = Bytes(8)};
    for (const Bytes& whole : {File(Bare(Small24()), 54), Bare(Small24()), File(Bare(indexed), 0), Bare(indexed)}) {
        ASSERT_NE(Read(whole), nullptr);
        for (std::size_t size = 0; size < whole.size(); ++size)
            EXPECT_EQ(Read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), nullptr) << size;
    }
}

TEST(DibRead, LyingSizesAreRefused) {
    const Bytes honest = File(Bare(Small24()), 54);
    const std::size_t r = 14;
    const struct {
        const char* what;
        std::size_t at;
        std::uint32_t value;
    } lies[] = {{"offset behind the end", 10, 1000},
                {"offset that leaves too little", 10, 55},
                {"header shorter than a header", r, 39},
                {"no header", r, 0},
                {"header longer than the file", r, 0xFFFFFFFF},
                {"header that takes the image", r, 57},
                {"width", r + 4, 3},
                {"widest", r + 4, 0x7FFFFFFF},
                {"height", r + 8, 3},
                {"highest", r + 8, 0x7FFFFFFF},
                {"depth", r + 12, 1 | 48 << 16},
                {"deepest", r + 12, 1 | 0xFFF0u << 16},
                {"image size below the rows", r + 20, 15},
                {"image size above the file", r + 20, 17},
                {"largest image size", r + 20, 0xFFFFFFFF},
                {"colours", r + 32, 0x40000000},
                {"most colours", r + 32, 0xFFFFFFFF}};
    for (const auto& lie : lies) {
        Bytes bytes = honest;
        PutAt(bytes, lie.at, lie.value);
        // An offset of 0 lets a longer header move the image; the others stay where the offset points.
        if (lie.at == r) PutAt(bytes, 10, 0);
        EXPECT_EQ(Read(bytes), nullptr) << lie.what;
    }
    Bytes both = honest;
    PutAt(both, r + 4, 0x7FFFFFFF);
    PutAt(both, r + 8, 0x7FFFFFFF);
    EXPECT_EQ(Read(both), nullptr);
    PutAt(both, r + 12, 1 | 0xFFF0u << 16);
    EXPECT_EQ(Read(both), nullptr);

    // One-bit rows of seven pixels count as no bytes when they are made; a tall one must not ask for its rows so.
    Record thin{.width = 7, .height = 0x7FFFFFFF, .depth = 1, .imageSize = 1, .table = Bytes(8), .image = {0}};
    EXPECT_EQ(Read(Bare(thin)), nullptr);
    // A run-length image that could not name its pixels with all its bytes.
    Record empty{.width = 30000, .height = 30000, .depth = 8, .compression = 1, .imageSize = 2, .colors = 1};
    empty.table = {0, 0, 0, 0};
    empty.image = {255, 1};
    EXPECT_EQ(Read(Bare(empty)), nullptr);
}

TEST(DibRead, NegativeSizesOfAnyExtent) {
    for (const std::uint32_t width : {0xFFFFFFFFu, 0x80000000u, 0xFFFFFFF9u, 5u})
        for (const std::uint32_t height : {0xFFFFFFFFu, 0x80000000u, 0xFFFFFFDBu})
            for (const std::uint32_t depth : {1u, 24u, 0xFFFFu}) {
                const DibPtr dib = Read(Bare({.width = width, .height = height, .depth = depth, .table = Bytes(8)}));
                ASSERT_NE(dib, nullptr);
                EXPECT_EQ(dib->biSizeImage, 0u);
                const DibPtr converted(Make24BitDib(dib.get()));
                EXPECT_EQ(converted != nullptr, depth != 0xFFFFu);
            }
}

TEST(DibRead, CreatedSizesAreAccepted) {
    // Rows of 33 one-bit pixels are recorded with four bytes and walked with eight.
    Record r{.width = 33, .height = 2, .depth = 1, .imageSize = 8, .table = Bytes(8), .image = Bytes(8, 0xFF)};
    const DibPtr dib = Read(Bare(r));
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(DibRow(dib.get(), 0)[7], 0xFF);
    EXPECT_EQ(DibRow(dib.get(), 1)[7], 0);
}

TEST(DibRead, OpensFilesAndFallsBackToTheModule) {
    const std::string path = testing::TempDir() + "kestrel_dib_read.bmp";
    const Bytes file = File(Bare(Small24()), 54);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(file.data()), std::ssize(file));
    ExpectSmall24(DibPtr(DibOpenFile(path.c_str())).get());
    std::filesystem::resize_file(path, file.size() - 1);
    EXPECT_EQ(DibOpenFile(path.c_str()), nullptr);
    std::filesystem::remove(path);
    EXPECT_EQ(DibOpenFile(path.c_str()), nullptr);
    EXPECT_EQ(DibOpenFile(testing::TempDir().c_str()), nullptr);
    EXPECT_EQ(DibOpenFile(nullptr), nullptr);

    Record r{.width = 4, .height = 1, .depth = 8, .compression = 1, .imageSize = 4, .colors = 1};
    r.table = {0, 0, 0, 0};
    r.image = {4, 9, 0, 1};
    ASSERT_TRUE(DibModule::Main().Add("IDB_RUNS", Bare(r)));
    EXPECT_FALSE(DibModule::Main().Add("IDB_RUNS", Bare(r)));
    DibPtr found(DibOpenFile("IDB_RUNS"));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->biCompression, 1u);  // as it lies in the module
    found.reset();                        // which keeps it

    Dib* opened = DibOpenFromModule("IDB_RUNS", &DibModule::Main());
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(opened->biCompression, 0u);
    EXPECT_EQ(DibRow(opened, 0)[3], 9);
    EXPECT_EQ(DibOpenFromModule("IDB_RUNS", &DibModule::Main()), opened);
    EXPECT_EQ(DibRow(opened, 0)[3], 9);  // not expanded a second time
    EXPECT_EQ(DibOpenFromModule("IDB_NONE", &DibModule::Main()), nullptr);
    EXPECT_EQ(DibOpenFromModule("IDB_RUNS", nullptr), nullptr);
}

TEST(DibRead, ModulesTakeWholeRecordsOnly) {
    DibModule module;
    const Bytes whole = Bare(Small24());
    for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_FALSE(module.Add("a", {whole.data(), size})) << size;
    for (const std::size_t at : {0u, 4u, 8u, 20u, 32u}) {
        Bytes lying = whole;
        PutAt(lying, at, 0x7FFFFFFF);
        EXPECT_FALSE(module.Add("a", lying)) << at;
    }
    // A kind of image that nobody knows makes no room for rows that it does not bring.
    Record tall{
        .width = 33, .height = 0x2000000, .depth = 0x401, .compression = 0x6600, .imageSize = 8, .image = Bytes(8)};
    EXPECT_FALSE(module.Add("a", Bare(tall)));
    EXPECT_TRUE(module.Add("a", whole));
    ExpectSmall24(DibOpenFromModule("a", &module));
}

}  // namespace
}  // namespace kestrel
