#include <cstring>

#include "kestrel/box/PicBox.h"
#include "kestrel/storage/QvError.h"
#include "tests/box/BoxBytes.h"
#include "tests/box/Boxes.h"

namespace kestrel {
namespace {

using namespace std::string_literals;
using namespace test;

using PicBoxWrite = Boxes;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

FilePtr FileOf(const std::string& bytes) {
    FilePtr file(std::tmpfile());
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    return file;
}

bool ReadBack(qvPicBox& box, const char* name, DibPtr& image, DibPtr& mask, std::int32_t& x, std::int32_t& y) {
    return box.GetPic(name, "PNG", image, &mask, x, y);
}

TEST_F(PicBoxWrite, WhatIsAddedComesBack) {
    const struct {
        int width, height;
        bool mask, embedded, native;
        int saveType;
        const char* stored;
        const char* begin;  // the first bytes of the stream
        bool exact;
    } cases[] = {
        {7, 3, true, false, false, 1, "p", "\1JPG\0\10\0\0\0\0", true},
        {7, 3, false, false, false, 1, "p", "\2JPG\0\10\0\0\0\0", true},
        {1, 1, true, true, false, 1, "p", "\1JPG\0\10\1\0\0\0", false},
        {33, 5, true, true, false, 1, "p", "\1JPG\0\10\1\0\0\0", false},
        {7, 3, false, true, false, 1, "p.JPG", "\xFF\xD8\xFF", false},
        {7, 3, true, true, true, 10, "p.PNG", "\x89PNG", true},
        {7, 3, false, true, true, 2, "p.TIF", "II*", true},
        {7, 3, false, true, true, 17, "p.JPG", "\xFF\xD8\xFF", false},  // raw files are not written
    };
    for (const BoxOn on : kEveryBox)
        for (const auto& c : cases) {
            const QvStoragePtr root = Root(on, "b" + std::to_string(&c - cases) + std::to_string(static_cast<int>(on)));
            const DibPtr image = Plain(c.width, c.height, 60, 60, 60);
            const DibPtr mask = c.mask ? SomeMask(c.width, c.height) : nullptr;
            std::uint64_t size = 0;
            {
                qvPicBox box(*root, kChange);
                box.SetSaveType(c.saveType);
                size = box.AddFile("p", image.get(), mask.get(), -3, 9, c.embedded, c.native, false);
                DibPtr gotImage, gotMask;
                std::int32_t x = 1, y = 1;
                const char* const extension = c.saveType == 2 ? "TIF" : "PNG";
                ASSERT_TRUE(box.GetPic("p", extension, gotImage, &gotMask, x, y)) << c.stored << logged;
                EXPECT_EQ(gotImage->biWidth, c.width);
                EXPECT_EQ(DibRow(gotImage.get(), 0)[0], 60);
                if (c.exact) {
                    EXPECT_TRUE(SamePixels(gotImage.get(), image.get())) << c.stored;
                }
                EXPECT_TRUE(SamePixels(gotMask.get(), mask.get())) << c.stored;
                const bool ownForm = c.stored == "p"s;
                EXPECT_EQ(x, ownForm ? -3 : 0);
                EXPECT_EQ(y, ownForm ? 9 : 0);
            }
            const std::string bytes = Get(*root, "Pictures", c.stored);
            EXPECT_EQ(bytes.size(), size);
            const std::size_t shown = c.begin[0] < 3 && c.begin[0] > 0 ? 10 : std::strlen(c.begin);
            EXPECT_EQ(bytes.substr(0, shown), std::string(c.begin, shown)) << c.stored;
        }
}

TEST_F(PicBoxWrite, RecordsWithBitMasksKeepThem) {
    const QvStoragePtr root = Root(BoxOn::Memory);
    qvPicBox box(*root, kChange);
    for (const std::uint32_t counted : {0u, 3u}) {
        const DibPtr image(DibCreateEx(16, 2, 3, 12));
        image->biCompression = kDibBitFields;
        image->biClrUsed = counted;
        const std::uint32_t masks[] = {0xF800, 0x07E0, 0x001F};
        std::memcpy(image.get() + 1, masks, sizeof masks);
        for (int row = 0; row < 3; ++row) std::memset(DibRow(image.get(), row), 7 + row, 4);
        ASSERT_GT(box.AddFile("p", image.get(), nullptr, 0, 0, false, false, true), 0u);
        DibPtr back, mask;
        std::int32_t x, y;
        ASSERT_TRUE(ReadBack(box, "p", back, mask, x, y)) << logged;
        EXPECT_EQ(back->biCompression, kDibBitFields);
        EXPECT_EQ(std::memcmp(back.get() + 1, masks, sizeof masks), 0);
        EXPECT_TRUE(SamePixels(back.get(), image.get())) << "the last row is behind the masks";
    }
}

TEST_F(PicBoxWrite, FilesGoInAsTheyAre) {
    const std::string jpeg = Encoded(Plain(8, 8, 60, 60, 60).get(), nullptr, ImageFormat::Jpeg);
    const std::string png = Encoded(Plain(8, 8, 60, 60, 60).get(), SomeMask(8, 8).get(), ImageFormat::Png);
    const std::string zeros = Compressed(std::string(8, 0));
    const auto size = [](const std::string& bytes) { return Number(static_cast<std::uint32_t>(bytes.size())); };
    const struct {
        BoxOn on;
        const std::string& bytes;
        const char* extension;
        bool newFormat;
        const char* folder;
        const char* stored;
        std::string want;
    } cases[] = {
        {BoxOn::Memory, jpeg, "jpg", true, "Pictures", "a_b", "\2JPG\0\1\1\0\0\0"s + size(jpeg) + jpeg},
        {BoxOn::Memory, png, "PNG", true, "Pictures", "a_b", "\1PNG\0\1\1\0\0\0"s + size(png) + png},
        {BoxOn::Memory, png, "ras", true, "Pictures", "a_b", "\1TYPE\1\1\0\0\0"s + size(png) + png},
        {BoxOn::NativeTree, png, "png", true, "Pictures", "a_b.PNG", png},
        {BoxOn::Memory, jpeg, "JPG", false, "Pictures/OnlyPic", "a_b", "\1\1\0\0\0"s + size(jpeg) + jpeg + zeros},
        {BoxOn::Tree, png, "PNG", false, "Pictures/PicMask", "a_b", "\1\1\0\0\0"s + size(png) + png + zeros},
    };
    for (const auto& c : cases) {
        const QvStoragePtr root = Root(c.on, std::to_string(&c - cases));
        {
            qvPicBox box(*root, kChange);
            std::vector<std::uint8_t> copy;
            std::uint64_t length = 0;
            int pumped = 0;
            box.SetPump([&] { ++pumped; });
            ASSERT_TRUE(box.AddFile("a/b", c.extension, FileOf(c.bytes).get(), c.newFormat, &copy, &length)) << logged;
            EXPECT_EQ(std::string(copy.begin(), copy.end()), c.bytes);
            EXPECT_EQ(length, c.bytes.size());
            EXPECT_GT(pumped, 0);
            DibPtr image;
            std::int32_t x = 1, y = 1;
            EXPECT_TRUE(box.GetPic("a/b", c.extension, image, nullptr, x, y)) << c.stored << logged;
            EXPECT_EQ(logged.find("PicBox AddFile: copying " + std::to_string(length) + " bytes file...\n"), 0u);
            EXPECT_NE(logged.find("PicBox AddFile: copying done.\n"), std::string::npos);
            logged.clear();
        }
        EXPECT_EQ(Get(*root, c.folder, c.stored), c.want) << c.stored;
    }
}

TEST_F(PicBoxWrite, LargeFilesGoThroughInPieces) {
    const QvStoragePtr root = Root(BoxOn::NativeTree);
    std::string bytes((std::size_t{1} << 25) + 5, 0);
    for (std::size_t i = 0; i < bytes.size(); i += 4096) bytes[i] = static_cast<char>(i >> 12);
    qvPicBox box(*root, kChange);
    int pumped = 0;
    box.SetPump([&] { ++pumped; });
    std::vector<std::uint8_t> copy;
    ASSERT_TRUE(box.AddFile("large", "AVI", FileOf(bytes).get(), true, &copy));
    EXPECT_EQ(pumped, 3);
    EXPECT_TRUE(copy.empty());
    EXPECT_TRUE(Get(*root, "Pictures", "large.AVI") == bytes);
}

TEST_F(PicBoxWrite, AFailureLeavesWhatWasThere) {
    const DibPtr good = Plain(4, 4, 60, 60, 60), tooWide = Plain(70000, 1, 0, 0, 0), noMask = Plain(4, 4, 0, 0, 0);
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, std::to_string(static_cast<int>(on)));
        qvPicBox box(*root, kChange);
        ASSERT_GT(box.AddFile("p", good.get(), nullptr, 0, 0, true, true, false), 0u);
        EXPECT_EQ(box.AddFile("p", nullptr, nullptr, 0, 0, true, true, true), 0u);
        EXPECT_FALSE(box.HasFailed());
        logged.clear();
        EXPECT_EQ(box.AddFile("p", tooWide.get(), nullptr, 0, 0, true, false, true), 0u);
        EXPECT_EQ(logged, "PicBox AddFile Error on p\n");
        EXPECT_TRUE(box.HasFailed());
        EXPECT_EQ(box.AddFile("p", good.get(), noMask.get(), 0, 0, false, false, true), 0u);
        EXPECT_FALSE(box.AddFile("p", "PNG", FileOf("").get(), true, nullptr, nullptr, true));
        for (const char* const name : {"", "PicMask", "onlypic", ".."})
            EXPECT_EQ(box.AddFile(name, good.get(), nullptr, 0, 0, false, false, false), 0u) << name;
        DibPtr image, mask;
        std::int32_t x, y;
        ASSERT_TRUE(ReadBack(box, "p", image, mask, x, y));
        EXPECT_EQ(image->biWidth, 4);
        // A picture in another form takes the old one's place once it is there.
        ASSERT_GT(box.AddFile("p", Plain(9, 2, 0, 0, 0).get(), nullptr, 0, 0, false, false, true), 0u);
        ASSERT_TRUE(ReadBack(box, "p", image, mask, x, y));
        EXPECT_EQ(image->biWidth, 9);
        ASSERT_GT(box.AddFile("p", Plain(5, 2, 0, 0, 0).get(), nullptr, 0, 0, false, false, true), 0u);
        ASSERT_TRUE(ReadBack(box, "p", image, mask, x, y));
        EXPECT_EQ(image->biWidth, 5);
        EXPECT_TRUE(box.Delete("p"));
        EXPECT_FALSE(box.Exists("p"));
    }
    const QvStoragePtr root = Root(BoxOn::Folder, "folder");
    qvPicBox external(*root, kChange);
    try {
        external.AddFile("p", good.get(), nullptr, 0, 0, true, true, false);
        FAIL();
    } catch (const CGalleryError& error) {
        EXPECT_STREQ(error.what(), "CGalleryError-Exception: PicBox File may be not opened");
        EXPECT_EQ(static_cast<unsigned>(error.Code()), 0x88870004u);
    }
}

TEST_F(PicBoxWrite, DeletingTakesTheFirstPlace) {
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, std::to_string(static_cast<int>(on)));
        { const qvPicBox makesStorages(*root, kChange); }
        const struct {
            const char* folder;
            const char* stored;
        } places[] = {{"Pictures", "n.PNG"},     {"Pictures", "n.JPG"},     {"Pictures", "N.gif"},
                      {"Pictures", "n"},         {"Pictures/PicMask", "n"}, {"Pictures/OnlyPic", "n"},
                      {"Pictures/OnlyMask", "n"}};
        for (const auto& place : places) Put(*root, place.folder, place.stored, "x");
        Put(*root, "Pictures", "n.inf", "x");
        Put(*root, "Pictures/PicMask", "other", "x");
        std::string order;
        for (std::size_t left = std::size(places); left > 0; --left) {
            {
                qvPicBox box(*root, kChange);
                EXPECT_TRUE(box.Exists("n", "PNG"));
                EXPECT_TRUE(box.Delete("n", "PNG")) << logged;
            }
            EXPECT_EQ(Get(*root, "Pictures", "n.inf"), "(none)");
            for (std::size_t i = 0; i < std::size(places); ++i)
                if (order.find(static_cast<char>('0' + i)) == std::string::npos &&
                    Get(*root, places[i].folder, places[i].stored) == "(none)")
                    order += static_cast<char>('0' + i);
        }
        // Without native files the extension does not count, and the first of "n.*" goes.
        EXPECT_EQ(order, on == BoxOn::NativeTree ? "0123456" : "1203456");
        qvPicBox box(*root, kChange);
        EXPECT_FALSE(box.Exists("n", "PNG"));
        EXPECT_FALSE(box.Delete("n", "PNG"));
        EXPECT_FALSE(box.Delete("PicMask"));
        EXPECT_TRUE(box.Exists("other"));
    }
}

TEST_F(PicBoxWrite, WhatBelongsToAPictureGoesWithIt) {
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, std::to_string(static_cast<int>(on)));
        qvPicBox box(*root, kChange);
        ASSERT_GT(box.AddFile("p", Plain(4, 4, 0, 0, 0).get(), nullptr, 0, 0, false, false, false), 0u);
        EXPECT_EQ(box.GetChain("p"), "");
        EXPECT_TRUE(box.SetChain("p", ""));
        EXPECT_TRUE(box.SetChain("p", "long chain\n"));
        EXPECT_TRUE(box.SetChain("p", "chain\n"));
        EXPECT_EQ(box.GetChain("p"), "chain\n");
        PicInfoRecord record{};
        record.fill('r');
        EXPECT_TRUE(box.SetImageInfo("p", record));
        record = {};
        EXPECT_EQ(box.GetImageInfo("p", record), "p");
        EXPECT_EQ(std::string(record.begin(), record.begin() + 6), "V1000r");
        EXPECT_TRUE(box.Delete("p"));
        EXPECT_EQ(box.GetChain("p"), "");
        EXPECT_EQ(box.GetImageInfo("p", record), "");
    }
}

}  // namespace
}  // namespace kestrel
