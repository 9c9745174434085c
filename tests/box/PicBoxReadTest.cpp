#include <cstring>

#include "kestrel/box/JPegHeader.h"
#include "kestrel/box/PicBox.h"
#include "tests/box/BoxBytes.h"
#include "tests/box/Boxes.h"

namespace kestrel {
namespace {

using namespace std::string_literals;
using namespace test;

struct PicBoxRead : Boxes {
    /// What comes out of a box: sizes of image and mask, the position, and the image's first pixel (blue).
    static std::string Seen(qvPicBox& box, const char* name, const char* extension = "") {
        DibPtr image, mask;
        std::int32_t x = 0, y = 0;
        if (!box.GetPic(name, extension, image, &mask, x, y)) {
            EXPECT_FALSE(image || mask) << name;
            return "none";
        }
        const auto size = [](const DibPtr& dib) {
            return dib ? std::to_string(dib->biWidth) + "x" + std::to_string(dib->biHeight) : "-"s;
        };
        return size(image) + " " + size(mask) + " at " + std::to_string(x) + "," + std::to_string(y) +
               (image ? " blue " + std::to_string(DibRow(image.get(), 0)[0]) : "");
    }
};

/// A JPEG file whose pixels have this blue, all alike; one that survives the coding.
std::string Jpeg(int blue, int width = 8) {
    return Encoded(Plain(width, 8, blue, blue, blue).get(), nullptr, ImageFormat::Jpeg);
}

std::string Embedded(int kind, const std::string& image, const std::string& tail) {
    return static_cast<char>(kind) + "JPG\0\10\1\0\0\0"s + Number(static_cast<std::uint32_t>(image.size())) + image +
           tail;
}

TEST_F(PicBoxRead, EveryFormInEveryKindOfBox) {
    const std::string image = Record(7, 3, 24), mask = Record(8, 8, 8), head = "\1\0\0\0\0"s;
    const std::string jpeg = Jpeg(60);
    const std::string long9 = "\1\1\0\0\0"s + Number(static_cast<std::uint32_t>(jpeg.size()));
    const struct {
        const char* folder;
        const char* stored;
        std::string bytes;
        const char* name;
        const char* seen;
    } cases[] = {
        {"Pictures", "native.TIF", Encoded(Plain(9, 4, 1, 2, 3).get(), nullptr, ImageFormat::Tiff), "native",
         "9x4 - at 0,0 blue 1"},
        {"Pictures", "jpeg.JPG", Jpeg(80), "jpeg", "8x8 - at 0,0 blue 80"},
        {"Pictures", "icon", "\1JPG\0\10\0\0\0\0"s + Tail(image, mask), "icon", "7x3 8x8 at -14,-97 blue 0"},
        {"Pictures", "mask", "\3JPG\0\10\0\0\0\0"s + Tail("", mask), "mask", "- 8x8 at -14,-97"},
        {"Pictures", "both", Embedded(1, jpeg, Tail("", mask)), "both", "8x8 8x8 at -14,-97 blue 60"},
        {"Pictures", "bare tail", Embedded(1, jpeg, Tail("", "")), "bare tail", "8x8 - at -14,-97 blue 60"},
        {"Pictures", "no tail", Embedded(2, jpeg, ""), "no tail", "8x8 - at 0,0 blue 60"},
        {"Pictures", "harbour", Jpeg(100), "harbour", "8x8 - at 0,0 blue 100"},
        {"Pictures/OnlyPic", "o", head + Tail(image, ""), "o", "7x3 - at -14,-97 blue 0"},
        {"Pictures/OnlyPic", "oe", long9 + jpeg + Tail("", ""), "oe", "8x8 - at -14,-97 blue 60"},
        {"Pictures/PicMask", "p", head + Tail(image, mask), "p", "7x3 8x8 at -14,-97 blue 0"},
        {"Pictures/PicMask", "pe", long9 + jpeg + Tail("", ""), "pe", "8x8 - at -14,-97 blue 60"},
        {"Pictures/OnlyMask", "m", head + Tail("", mask), "m", "- 8x8 at -14,-97"},
        {"Pic_Mask", "a", head + Tail(image, mask), "a", "7x3 8x8 at -14,-97 blue 0"},
        {"PicMask", "b", long9 + jpeg + Tail("", mask), "b", "8x8 8x8 at -14,-97 blue 60"},
        {"", "root.TIF", Encoded(Plain(5, 4, 9, 2, 3).get(), nullptr, ImageFormat::Tiff), "root",
         "5x4 - at 0,0 blue 9"},
    };
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, "forms" + std::to_string(static_cast<int>(on)));
        { const qvPicBox makesStorages(*root, kChange); }
        for (const auto& c : cases) Put(*root, c.folder, c.stored, c.bytes);
        qvPicBox box(*root, kStorageRead);
        for (const auto& c : cases) {
            EXPECT_EQ(Seen(box, c.name, "TIF"), c.seen) << static_cast<int>(on) << " " << c.name << "\n" << logged;
            EXPECT_FALSE(box.HasFailed()) << c.name;
        }
        EXPECT_EQ(Seen(box, "nothing", "TIF"), "none");
        EXPECT_FALSE(box.HasFailed());
    }
}

TEST_F(PicBoxRead, TheLookupTakesTheFirstOfItsPlaces) {
    const QvStoragePtr root = Root(BoxOn::Memory);
    { const qvPicBox makesStorages(*root, kChange); }
    const auto icon = [](unsigned width) { return "\2JPG\0\10\0\0\0\0"s + Tail(Record(width, 1, 24), ""); };
    const auto older = [](unsigned width) { return "\1\0\0\0\0"s + Tail(Record(width, 1, 24), Record(1, 1, 8)); };
    const struct {
        const char* folder;
        const char* stored;
        std::string bytes;
    } places[] = {{"Pictures", "n.PNG", Encoded(Plain(1, 1, 0, 0, 0).get(), nullptr, ImageFormat::Png)},
                  {"Pictures", "n.JPG", Encoded(Plain(2, 1, 0, 0, 0).get(), nullptr, ImageFormat::Jpeg)},
                  {"Pictures", "n", icon(3)},
                  {"Pictures/OnlyPic", "n", older(4)},
                  {"Pictures/PicMask", "n", older(5)},
                  {"Pictures/OnlyMask", "n", "\1\0\0\0\0"s + Tail("", Record(6, 1, 8))},
                  {"Pic_Mask", "n", older(7)},
                  {"PicMask", "n", older(8)},
                  {"", "n.PNG", Encoded(Plain(9, 1, 0, 0, 0).get(), nullptr, ImageFormat::Png)}};
    for (const auto& place : places) Put(*root, place.folder, place.stored, place.bytes);
    const char* const wanted[] = {"1x1 -", "2x1 -",   "3x1 -",   "4x1 - ", "5x1 1x1",
                                  "- 6x1", "7x1 1x1", "8x1 1x1", "9x1 -"};
    for (std::size_t i = 0; i < std::size(places); ++i) {
        {
            qvPicBox box(*root, kStorageRead);
            EXPECT_EQ(Seen(box, "n", "PNG").rfind(wanted[i], 0), 0u) << i << Seen(box, "n", "PNG");
        }
        const QvStoragePtr inner = *places[i].folder ? root->OpenStorage(places[i].folder, kChange) : nullptr;
        ASSERT_TRUE((inner ? *inner : *root).DeleteElement(places[i].stored));
    }
}

TEST_F(PicBoxRead, StoredNamesAreLenientInNativeBoxesOnly) {
    for (const BoxOn on : {BoxOn::Tree, BoxOn::NativeTree}) {
        const QvStoragePtr root = Root(on);
        Put(*root, "Pictures", "Harbour7.inf", "no picture");
        Put(*root, "Pictures", "Harbour7.jpg", Jpeg(60));
        Put(*root, "Pictures", "M\xC3\xB6we", Jpeg(80));
        Put(*root, "Pictures", "a_b.JPG", Jpeg(100));
        qvPicBox box(*root, kStorageRead);
        const char* const lenient = on == BoxOn::NativeTree ? "8x8 - at 0,0 blue 60" : "none";
        EXPECT_EQ(Seen(box, "harbour-12"), lenient);
        EXPECT_EQ(Seen(box, "HARBOUR7", "JPG"), lenient);
        EXPECT_EQ(Seen(box, "M\xC3\xB6we"), "8x8 - at 0,0 blue 80");
        EXPECT_EQ(Seen(box, "a/b"), "8x8 - at 0,0 blue 100");
        for (const char* const path : {"../box_qv/Pictures/a_b", "", ".", "..", "/etc/passwd"})
            EXPECT_EQ(Seen(box, path), "none") << path;
    }
}

TEST_F(PicBoxRead, PreferredSizesAndBothLoaders) {
    const QvStoragePtr root = Root(BoxOn::Tree);
    Put(*root, "Pictures", "wide.JPG", Encoded(Plain(1600, 1200, 60, 60, 60).get(), nullptr, ImageFormat::Jpeg));
    Put(*root, "Pictures", "own",
        Embedded(2, Encoded(Plain(1600, 1200, 60, 60, 60).get(), nullptr, ImageFormat::Jpeg), ""));
    qvPicBox box(*root, kStorageRead);
    const struct {
        const char* name;
        int width, height;
        bool second;
        int seen;
    } cases[] = {{"wide", -1, -1, false, 1600}, {"wide", -1, -1, true, 1600}, {"wide", 400, 300, false, 400},
                 {"wide", 400, 300, true, 400}, {"wide", 50, 60, true, 200},  {"wide", 2000, 20, true, 1600},
                 {"own", 400, 300, true, 400},  {"own", -1, 300, false, 1600}};
    for (const auto& c : cases) {
        DibPtr image;
        std::int32_t x, y;
        ASSERT_TRUE(box.GetQuick(c.name, nullptr, image, nullptr, c.width, c.height, x, y, c.second));
        EXPECT_EQ(image->biWidth, c.seen) << c.name << " " << c.width << " " << c.second;
        EXPECT_EQ(box.LastImageType(), 1);
    }
}

TEST_F(PicBoxRead, NoCutOrLieDoesHarm) {
    const std::string jpeg = Jpeg(60);
    const std::string forms[] = {"\1JPG\0\10\0\0\0\0"s + Tail(Record(7, 3, 24), Record(7, 3, 8)),
                                 Embedded(1, jpeg, Tail("", Record(8, 8, 8))),
                                 "\1\0\0\0\0"s + Tail(Record(7, 3, 24), Record(7, 3, 8)), jpeg};
    const char* const places[] = {"Pictures", "Pictures", "Pictures/PicMask", "Pictures"};
    const QvStoragePtr root = Root(BoxOn::Memory);
    { const qvPicBox makesStorages(*root, kChange); }
    const auto read = [&](std::size_t form, const std::string& bytes) {
        Put(*root, places[form], "x", bytes);
        std::string seen;
        {
            qvPicBox box(*root, kStorageRead);
            logged.clear();
            seen = Seen(box, "x");
            std::uint64_t size = 0;
            std::string extension;
            box.GetImageFileInfo("x", false, false, size, nullptr);
            EXPECT_LE(size, bytes.size());
            box.GetJPegHeader("x");
            box.AnalyzeFile("x", extension);
        }
        EXPECT_EQ(seen == "none", logged.find("PicBox::GetPic(): Fehler") != std::string::npos) << seen << logged;
        const QvStoragePtr inner = root->OpenStorage(places[form], kChange);
        EXPECT_TRUE(inner->DeleteElement("x"));
        return seen;
    };
    for (std::size_t form = 0; form < std::size(forms); ++form) {
        const std::string& whole = forms[form];
        const std::string seen = read(form, whole);
        EXPECT_NE(seen, "none");
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const std::string cut = read(form, whole.substr(0, length));
            const bool onlyEndOfZlib = length + 6 > whole.size();  // the checksum is not looked for
            if (form == 0 || form == 2) {
                EXPECT_TRUE(cut == "none" || onlyEndOfZlib) << form << " " << length;
            }
        }
        for (std::size_t at = 0; at < std::min<std::size_t>(whole.size(), 20); ++at)
            for (const std::uint32_t lie : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
                std::string lying = whole;
                lying.replace(at, 4, Number(lie));
                read(form, lying);
            }
    }
    read(0, "\1JPG\0\10\0\0\0\0"s + Compressed(Number(0) + Number(0) + Number(0xFFFFFFF0) + std::string(1 << 20, 0)));
}

TEST_F(PicBoxRead, WhatABoxTells) {
    const QvStoragePtr root = Root(BoxOn::Memory);
    { const qvPicBox makesStorages(*root, kChange); }
    const std::string jpeg = Jpeg(60);
    Put(*root, "Pictures", "both", Embedded(1, jpeg, Tail("", Record(8, 8, 8))));
    Put(*root, "Pictures", "tif", "\1TIF\0"s + Embedded(1, jpeg, Tail("", Record(8, 8, 8))).substr(5));
    Put(*root, "Pictures", "one.JPG", jpeg);
    Put(*root, "Pictures", "icon", "\1JPG\0\10\0\0\0\0"s + Tail(Record(7, 3, 24), Record(7, 3, 8)));
    Put(*root, "Pictures", "nothing", "\1JPG\0\0"s);
    Put(*root, "Pictures", "lies", "\2JPG\0\10\1\0\0\0"s + Number(1000000) + jpeg);
    Put(*root, "Pictures", "both.inf", "QVAX" + Number(8) + "harbour\0"s + Number(36) + std::string(36, 'r'));
    qvPicBox box(*root, kStorageRead);
    const struct {
        const char* name;
        int type;
        const char* extension;
        bool bytes, mask;
    } cases[] = {{"both", 10, "png", true, true}, {"tif", 2, "tif", true, true},    {"one", 1, "JPG", true, false},
                 {"icon", 0, "", false, false},   {"nothing", 0, "", false, false}, {"lies", 1, "jpg", false, false},
                 {"absent", 0, "", false, false}};
    for (const auto& c : cases) {
        std::string extension;
        EXPECT_EQ(box.AnalyzeFile(c.name, extension), c.type) << c.name;
        EXPECT_EQ(extension, c.extension) << c.name;
        std::string bytes(jpeg.size() + 5, 'x');
        std::uint64_t size = bytes.size();
        EXPECT_EQ(box.GetImageFileInfo(c.name, true, false, size, bytes.data()), c.bytes) << c.name;
        if (c.bytes) {
            EXPECT_EQ(bytes, jpeg + "xxxxx");
            EXPECT_EQ(size, jpeg.size());
            size = 3;
            EXPECT_TRUE(box.GetImageFileInfo(c.name, true, false, size, bytes.replace(0, 5, "abcde").data()));
            EXPECT_EQ(bytes.substr(0, 5), jpeg.substr(0, 3) + "de");
            EXPECT_EQ(size, jpeg.size());
        }
        EXPECT_EQ(box.GetImageFileInfo(c.name, false, true, size, nullptr), c.mask) << c.name;
        EXPECT_EQ(box.HasFailed(), c.name == "lies"s || c.name == "absent"s) << c.name;  // the lie stays on record
    }
    EXPECT_NE(logged.find("::AnalyzeFile failed - source \"absent\" not found"), std::string::npos);
    PicInfoRecord record{};
    EXPECT_EQ(box.GetImageInfo("both", record), "harbour");
    EXPECT_EQ(record[35], 'r');
    EXPECT_EQ(box.GetImageInfo("one", record), "");
    for (const char* const name : {"both", "one", "icon"}) EXPECT_TRUE(box.Exists(name)) << name;
    EXPECT_FALSE(box.Exists("absent"));
}

TEST_F(PicBoxRead, EnumerationGoesThroughTheStages) {
    const QvStoragePtr root = Root(BoxOn::Memory);
    { const qvPicBox makesStorages(*root, kChange); }
    Put(*root, "Pictures", "first", "x");
    Put(*root, "Pictures/PicMask", "second", "x");
    Put(*root, "Pictures/OnlyMask", "third", "x");
    Put(*root, "Pic_Mask", "not told", "x");
    qvPicBox box(*root, kStorageRead);
    std::string names;
    QvString name;
    unsigned long flags = 0;
    for (bool more = box.FirstElement(name, flags); more; more = box.NextElement(name, flags))
        if (flags == kElementStream) names += std::string(name) + ";";
    EXPECT_EQ(names, "first;second;third;");
    EXPECT_FALSE(box.NextElement(name, flags));
}

TEST_F(PicBoxRead, ExternalBoxesAreFoldersOfFiles) {
    const QvStoragePtr root = Root(BoxOn::Folder, "folder");
    Put(*root, "", "a.tif", Encoded(Plain(9, 4, 1, 2, 3).get(), nullptr, ImageFormat::Tiff));
    qvPicBox box(*root, kStorageRead);
    EXPECT_FALSE(box.HasFailed());
    EXPECT_EQ(Seen(box, "a.tif"), "9x4 - at 0,0 blue 1");
    EXPECT_EQ(Seen(box, "a", "tif"), "9x4 - at 0,0 blue 1");
    EXPECT_TRUE(box.Exists("a", "tif"));
    EXPECT_FALSE(box.Exists("a"));
    EXPECT_EQ(Seen(box, "../folder/a.tif"), "none");
    QvString name;
    unsigned long flags = 0;
    EXPECT_TRUE(box.FirstElement(name, flags));
    EXPECT_EQ(std::string(name), "a.tif");
    EXPECT_FALSE(box.NextElement(name, flags));
}

TEST(JPegHeader, SegmentsUpToTheScan) {
    const std::string begin = "\xFF\xD8\xFF\xE0\0\4ab"s, table = "\xC4\1\2"s + std::string(256, 't'),
                      scan = "\xFF\xDA\0\4scan"s;
    const auto header = [](const std::string& bytes) {
        const auto found = ReadJPegHeader({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
        return std::string(found.begin(), found.end());
    };
    EXPECT_EQ(header(begin + "\xFF" + table + scan), begin + "\xFF" + table);
    const std::string seven = begin + std::string(8, '\xFF') + table;
    EXPECT_EQ(header(seven + scan), seven);
    EXPECT_EQ(header(begin + std::string(9, '\xFF') + table + scan), "");
    EXPECT_EQ(header("\xFF\xD9" + begin.substr(2) + scan), "");
    EXPECT_EQ(header(begin + "\xFF\xC4\0\1"s + scan), "");
    for (std::size_t length = 0; length < begin.size() + 2; ++length)
        EXPECT_EQ(header((begin + scan).substr(0, length)), "");
}

}  // namespace
}  // namespace kestrel
