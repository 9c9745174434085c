#include "kestrel/box/PicBoxFormat.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kestrel/storage/QvError.h"
#include "tests/box/BoxBytes.h"
#include "tests/storage/MemoryStream.h"

namespace kestrel {
namespace {

using test::Compressed;
using test::MemoryStream;
using test::Number;
using test::Record;
using test::Tail;
using namespace std::string_literals;

TEST(PicBoxFormat, HeadersOfEveryForm) {
    const std::string noise(100, 'n'), jpeg = "\xFF\xD8\xFF\xE0JFIF";
    const std::string embedded = "JPG\0\10\1\0\0\0\5\0\0\0"s;
    const struct {
        const char* what;
        std::string bytes;
        const char* name;
        bool keepNative;
        int kind;
        const char* type;
        bool native, embedded;
        std::uint64_t size;
        unsigned length;
        std::int64_t position;
    } cases[] = {
        {"icon", "\1JPG\0\10\0\0\0\0"s + noise, "i", false, 1, "JPG", false, false, 0, 14, 10},
        {"embedded", "\1" + embedded + noise, "e", false, 1, "JPG", false, true, 5, 14, 14},
        {"picture only", "\2PNG\0\10\1\0\0\0\5\0\0\0"s + noise, "p", true, 2, "PNG", false, true, 5, 14, 14},
        {"mask only", "\3jpg\0\1\0\0\0\0"s + noise, "m", false, 3, "JPG", false, false, 0, 14, 10},
        {"four letters", "\1JPEG\1\0\0\0\0"s + noise, "m", false, 1, "JPEG", false, false, 0, 14, 10},
        {"placeholder", "\1TYPE\1\0\0\0\0"s + noise, "m", false, 1, "", false, false, 0, 14, 10},
        {"55 bytes", "\1" + embedded + std::string(41, 't'), "e", false, 2, "JPG", false, true, 5, 14, 14},
        {"56 bytes", "\1" + embedded + std::string(42, 't'), "e", false, 1, "JPG", false, true, 5, 14, 14},
        {"version 0", "\1JPG\0\0"s + noise, "v", false, 1, "JPG", false, false, 0, 14, 6},
        {"no type, native box", "\2\0\0\0\0"s + noise, "n", true, 1, "", true, true, 105, 5, 5},
        {"no type, other box", "\2\0\0\0\0\1\0\0\0\0"s + noise, "n", false, 2, "", false, false, 0, 14, 10},
        {"bare file", jpeg, "a.JPeG", false, 2, "JPEG", true, true, 8, 0, 0},
        {"bare file of no known name", jpeg, "a.txt", false, 2, "", true, true, 8, 0, 0},
        {"kind 4", "\4JPG\0"s + noise, "k.png", false, 2, "PNG", true, true, 105, 0, 0},
        {"kind 0", "\0JPG\0"s + noise, "k", false, 2, "", true, true, 105, 0, 0},
        {"empty", "", "k", false, 2, "", true, true, 0, 0, 0},
    };
    for (const auto& c : cases) {
        MemoryStream stream(c.bytes);
        const PicHeader header = ReadPicHeader(stream, c.name, c.keepNative);
        EXPECT_EQ(static_cast<int>(header.kind), c.kind) << c.what;
        EXPECT_EQ(header.type, c.type) << c.what;
        EXPECT_EQ(header.native, c.native) << c.what;
        EXPECT_EQ(header.embedded, c.embedded) << c.what;
        EXPECT_EQ(header.size, c.size) << c.what;
        EXPECT_EQ(header.length, c.length) << c.what;
        EXPECT_EQ(stream.Tell(), c.position) << c.what;
    }
}

TEST(PicBoxFormat, HeadersOfOlderStorages) {
    const std::string plain = "\1\0\0\0\0"s + std::string(60, 't');
    const std::string embedded = "\1\1\0\0\0\24\0\0\0"s + std::string(60, 't');  // 69 bytes, 20 of them embedded
    const struct {
        OlderPlace place;
        int kind;
        unsigned length;
        int embeddedKind;
    } cases[] = {{OlderPlace::OnlyPic, 2, 5, 2},
                 {OlderPlace::PicMask, 1, 9, 1},
                 {OlderPlace::OnlyMask, 3, 9, 3},
                 {OlderPlace::OldPicMask, 1, 9, 2}};
    for (const auto& c : cases) {
        MemoryStream first(plain), second(embedded);
        const PicHeader header = ReadOlderPicHeader(first, c.place);
        EXPECT_EQ(static_cast<int>(header.kind), c.kind);
        EXPECT_EQ(header.length, c.length);
        EXPECT_FALSE(header.embedded || header.native);
        const PicHeader with = ReadOlderPicHeader(second, c.place);
        EXPECT_EQ(static_cast<int>(with.kind), c.embeddedKind);
        EXPECT_EQ(with.length, 9u);
        EXPECT_EQ(with.size, 20u);
    }
}

TEST(PicBoxFormat, WritesWhatItReads) {
    MemoryStream stream;
    EXPECT_TRUE(WritePicShortHeader(stream, PicKindOf(true, true), "JPG"));
    EXPECT_TRUE(WritePicLongPart(stream, 8, false, 77));
    EXPECT_EQ(stream.bytes, "\1JPG\0\10\0\0\0\0"s);
    MemoryStream second;
    EXPECT_TRUE(WritePicShortHeader(second, PicKindOf(false, true), "TIFF"));
    EXPECT_TRUE(WritePicLongPart(second, 1, true, 0x01020304));
    EXPECT_EQ(second.bytes, "\3TIFF\1\1\0\0\0\4\3\2\1"s);
    second.room = second.bytes.size() + 3;
    EXPECT_FALSE(WritePicShortHeader(second, PicKindOf(true, false), "JPG"));

    MemoryStream tail(Tail(Record(7, 3, 24), Record(7, 3, 8)));
    const PicTail read = ReadPicTail(tail, PicKind::PictureAndMask, false);
    ASSERT_FALSE(read.failed);
    MemoryStream again;
    WritePicTail(again, read.x, read.y, read.image.get(), read.mask.get());
    EXPECT_EQ(again.bytes, tail.bytes);
}

TEST(PicBoxFormat, TailsByKind) {
    const std::string image = Record(22, 22, 24), mask = Record(22, 22, 8);
    EXPECT_EQ(mask.size(), 1592u);
    const struct {
        PicKind kind;
        bool embedded, image, mask;
    } cases[] = {{PicKind::PictureAndMask, false, true, true},
                 {PicKind::PictureOnly, false, true, false},
                 {PicKind::MaskOnly, false, false, true},
                 {PicKind::PictureAndMask, true, false, true},
                 {PicKind::PictureOnly, true, false, false}};
    for (const auto& c : cases) {
        const std::string bytes = Tail(c.image ? image : "", c.mask ? mask : "");
        MemoryStream stream("before" + bytes);
        stream.at = 6;
        const PicTail tail = ReadPicTail(stream, c.kind, c.embedded);
        EXPECT_FALSE(tail.failed);
        EXPECT_EQ(tail.x, -14);
        EXPECT_EQ(tail.y, -97);
        ASSERT_EQ(tail.image != nullptr, c.image);
        ASSERT_EQ(tail.mask != nullptr, c.mask);
        if (c.image) {
            EXPECT_EQ(std::memcmp(tail.image.get(), image.data(), image.size()), 0);
        }
        if (c.mask) {
            EXPECT_EQ(std::memcmp(tail.mask.get(), mask.data(), mask.size()), 0);
        }
        for (std::size_t length = 0; length + 8 < bytes.size(); ++length) {
            MemoryStream cut(bytes.substr(0, length));
            const bool absent = c.embedded && length == 0;  // it need not be there
            EXPECT_EQ(ReadPicTail(cut, c.kind, c.embedded).failed, !absent) << length;
        }
    }
}

TEST(PicBoxFormat, RecordsThatLieAreRefused) {
    const std::string good = Record(22, 22, 24);
    const auto failed = [](const std::string& image, std::uint32_t size) {
        MemoryStream stream(Compressed(Number(0) + Number(0) + Number(size) + image));
        return ReadPicTail(stream, PicKind::PictureOnly, false).failed;
    };
    EXPECT_FALSE(failed(good, static_cast<std::uint32_t>(good.size())));
    for (const std::uint32_t size : {0u, 39u, 40u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_TRUE(failed(good, size)) << size;
    const struct {
        std::size_t at;
        std::uint32_t value;
    } lies[] = {
        {0, 41},         {0, 0},  {4, 0},          {4, 23},         {4, 0x7FFFFFFF},    {4, 0x80000000},    {8, 0},
        {8, 23},         {16, 1}, {8, 0x7FFFFFFF}, {8, 0xFFFFFFFF}, {12, 1 | 40 << 16}, {12, 1 | 32 << 16}, {32, 1},
        {32, 0xFFFFFFFF}};
    for (const auto& lie : lies) {
        std::string record = good;
        record.replace(lie.at, 4, Number(lie.value));
        EXPECT_TRUE(failed(record, static_cast<std::uint32_t>(record.size()))) << lie.at << " " << lie.value;
    }
    MemoryStream expanding(Compressed(Number(0) + Number(0) + Number(0xFFFFFFF0) + std::string(1000000, 0)));
    EXPECT_TRUE(ReadPicTail(expanding, PicKind::PictureOnly, false).failed);
}

TEST(PicBoxFormat, InfoStreams) {
    PicInfoRecord record{};
    for (std::size_t i = 0; i < record.size(); ++i) record[i] = static_cast<std::uint8_t>(i + 100);
    MemoryStream stream;
    EXPECT_TRUE(WritePicInfo(stream, "harbour", record));
    std::string want = "QVAX" + Number(8) + "harbour\0"s + Number(36) + "V1000";
    for (int i = 5; i < 36; ++i) want += static_cast<char>(i + 100);
    EXPECT_EQ(stream.bytes, want);
    stream.at = 0;
    PicInfoRecord read{};
    EXPECT_EQ(ReadPicInfo(stream, read), "harbour");
    EXPECT_EQ(std::memcmp(read.data(), want.data() + 20, 36), 0);
    for (std::size_t length = 0; length < want.size(); ++length) {
        MemoryStream cut(want.substr(0, length));
        EXPECT_EQ(ReadPicInfo(cut, read), "") << length;
    }
    for (const std::string& other : {"QVAY" + want.substr(4), "QVAX" + Number(0xFFFFFFFF) + want.substr(8)}) {
        MemoryStream lying(other);
        EXPECT_EQ(ReadPicInfo(lying, read), "");
    }
}

TEST(PicBoxFormat, NamesAndTypes) {
    EXPECT_EQ(CleanPicName("a b\"*/:;<>?\\|\x1F\x7F\xE9~"), "a b_____________~");
    EXPECT_EQ(CleanPicName("harbour.TIF", "JPG"), "harbour.JPG");
    EXPECT_EQ(CleanPicName("harbour.jpg.txt", "JPG"), "harbour.jpg.txt.JPG");
    EXPECT_EQ(CleanPicName("film.avi", "AVI"), "film.AVI");
    EXPECT_EQ(CleanPicName("harbour", "PNG"), "harbour.PNG");
    for (const char* extension : {"JPG", "jp2", "pcd"})
        EXPECT_EQ(PicKindOfFile(extension), PicKind::PictureOnly) << extension;
    EXPECT_EQ(PicKindOfFile("PNG"), PicKind::PictureAndMask);
    EXPECT_EQ(PicKindOf(false, false), PicKind::None);
    std::string names, extensions;
    for (int type = 0; type <= 18; ++type) {
        names += PicTypeName(type) + " "s;
        extensions += PicSaveExtension(type);
    }
    EXPECT_EQ(names, " jpg tif aap psd acc ppx bmp acc gif png tmx gif jp2 ras ppm pcd raw  ");
    EXPECT_EQ(extensions, ".JPG.JPG.TIF.AAP.PSD.JPG.PPX.BMP.JPG.GIF.PNG.JPG.JPG.JPEG.RAS.PNM.PCD.JPG.JPG");
}

TEST(PicBoxFormat, Sniffing) {
    std::size_t seen = 0;
    const auto sniff = [&](std::span<const std::uint8_t> bytes) {
        seen = bytes.size();
        return 10;
    };
    MemoryStream jpeg("xx\xFF\xD8\xFF rest");
    jpeg.at = 2;
    EXPECT_EQ(SniffPicType(jpeg, sniff), 1);
    EXPECT_EQ(jpeg.at, 2u);
    MemoryStream other("\xFF\xD8" + std::string(0x9000, 'x'));
    EXPECT_EQ(SniffPicType(other, sniff), 10);
    EXPECT_EQ(seen, 0x8000u);
    EXPECT_EQ(other.at, 0u);
}

}  // namespace
}  // namespace kestrel
