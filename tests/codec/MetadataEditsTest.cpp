// What changes in metadata on the way from one file to another, and what must not.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "kestrel/codec/ColorConversion.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/IptcRecords.h"
#include "kestrel/codec/TagDirectories.h"
#include "kestrel/codec/XmpPacket.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

using samples::Bytes;

constexpr std::size_t kMain = 8, kCamera = 100, kPlace = 200, kThumbnail = 300, kEnd = 400;

/// EXIF data with every directory at a place of its own, values behind each of them, and the thumbnail's bytes last.
Bytes Exif(bool bigEndian) {
    Bytes bytes(kEnd);
    const auto put = [&](std::size_t& at, std::size_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes[at++] = static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i));
    };
    const auto entry = [&](std::size_t& at, unsigned tag, unsigned type, std::size_t count, std::size_t value) {
        put(at, tag, 2), put(at, type, 2), put(at, count, 4);
        const std::size_t end = at + 4;
        put(at, value, type == 3 ? 2 : 4);
        at = end;
    };
    std::size_t at = 0;
    bytes[at++] = bytes[1] = bigEndian ? 'M' : 'I';
    at = 2;
    put(at, 42, 2), put(at, kMain, 4);
    put(at, 5, 2);
    entry(at, 0x010F, 2, 6, 90);  // the maker
    entry(at, 0x0112, 3, 1, 6);
    entry(at, 0x0100, 3, 1, 4000);
    entry(at, 0x8825, 4, 1, kPlace);
    entry(at, 0x8769, 4, 1, kCamera);
    put(at, kThumbnail, 4);
    std::copy_n("Maker", 6, bytes.begin() + 90);
    at = kCamera;
    put(at, 4, 2);
    entry(at, 0x927C, 7, 10, 170);
    entry(at, 0xA001, 3, 1, 65535);
    entry(at, 0xA002, 3, 1, 4000);
    entry(at, 0xA003, 4, 1, 3000);
    put(at, 0, 4);
    std::copy_n("makersnote", 10, bytes.begin() + 170);
    at = kPlace;
    put(at, 2, 2);
    entry(at, 1, 2, 2, 0);
    entry(at, 2, 5, 3, 250);
    put(at, 0, 4);
    std::fill_n(bytes.begin() + 250, 24, std::uint8_t{'L'});
    at = kThumbnail;
    put(at, 2, 2);
    entry(at, 0x0201, 4, 1, 350);
    entry(at, 0x0202, 4, 1, 50);
    put(at, 0, 4);
    std::fill_n(bytes.begin() + 350, 50, std::uint8_t{'T'});
    return bytes;
}

struct Seen {
    TagReader reader;
    TagDirectory main, camera, place;

    explicit Seen(const Bytes& exif)
        : reader(ByteReader(exif)),
          main(reader.Read(reader.First())),
          camera(reader.Below(main, 0x8769)),
          place(reader.Below(main, 0x8825)) {}
    std::uint64_t Number(const TagDirectory& directory, unsigned tag) { return reader.Number(directory.Find(tag)); }
    std::string Text(const TagDirectory& directory, unsigned tag) {
        const TagEntry* entry = directory.Find(tag);
        const Bytes bytes = entry ? reader.Bytes(*entry) : Bytes();
        return {bytes.begin(), bytes.end()};
    }
};

bool Contains(const Bytes& bytes, const std::string& text) {
    return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

TEST(ExifEdits, SizesAreSetAndTheThumbnailGoes) {
    for (const bool bigEndian : {false, true}) {
        Bytes exif = Exif(bigEndian);
        const Bytes before = exif;
        UpdateExif(exif, 70000, 2);
        Seen seen(exif);
        EXPECT_EQ(seen.Number(seen.camera, 0xA002), 70000u) << "a short that became a long";
        EXPECT_EQ(seen.Number(seen.camera, 0xA003), 2u);
        EXPECT_EQ(seen.Number(seen.main, 0x0100), 70000u);
        EXPECT_EQ(seen.main.next, 0u);
        EXPECT_EQ(exif.size(), kEnd - 50);
        EXPECT_FALSE(Contains(exif, "TT"));
        EXPECT_EQ(seen.Text(seen.camera, 0x927C), "makersnote");
        EXPECT_EQ(seen.camera.Find(0x927C)->value, 170u) << "maker's notes keep their place";
        EXPECT_EQ(seen.place.entries.size(), 2u);
        EXPECT_EQ(seen.Number(seen.main, 0x0112), 6u);
        SetExifToSrgb(exif);
        EXPECT_EQ(Seen(exif).Number(seen.camera, 0xA001), 1u);
        // What the thumbnail shares with others stays.
        Bytes shared = before;
        shared[bigEndian ? kThumbnail + 13 : kThumbnail + 10] = 170;
        shared[bigEndian ? kThumbnail + 12 : kThumbnail + 11] = 0;
        UpdateExif(shared, 1, 1);
        EXPECT_TRUE(Contains(shared, "makersnote"));
    }
}

TEST(ExifEdits, StripsMayShareTheirBytes) {
    constexpr std::uint32_t kStrips = 400'000, kValues = 44;  // each strip reaches to the end: 10^12 bytes one by one
    Bytes exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 14, 0, 0, 0, 2, 0};
    const auto put = [&](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) exif.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    put(0x0111, 2), put(4, 2), put(kStrips, 4), put(kValues, 4);
    put(0x0117, 2), put(4, 2), put(kStrips, 4), put(kValues + 4 * kStrips, 4), put(0, 4);
    ASSERT_EQ(exif.size(), kValues);
    for (std::uint32_t i = 0; i < kStrips; ++i) put(kValues + i, 4);
    for (std::uint32_t i = 0; i < kStrips; ++i) put(UINT32_MAX, 4);
    UpdateExif(exif, 1, 1);
    EXPECT_EQ(exif, Bytes({'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(ExifEdits, ThePlaceGoesWithoutATrace) {
    for (const bool bigEndian : {false, true}) {
        Bytes exif = Exif(bigEndian);
        StripExifPlace(exif);
        Seen seen(exif);
        EXPECT_FALSE(Contains(exif, "L"));
        EXPECT_EQ(seen.main.entries.size(), 4u);
        EXPECT_EQ(seen.main.next, kThumbnail);
        EXPECT_EQ(seen.Number(seen.camera, 0xA002), 4000u);
        EXPECT_EQ(seen.Text(seen.main, 0x010F), std::string("Maker\0", 6));
        EXPECT_EQ(exif.size(), kEnd);
    }
}

TEST(ExifEdits, HostileDataDoNoHarm) {
    std::mt19937 random(3);
    for (int i = 0; i < 20000; ++i) {
        Bytes exif = Exif(i % 2 == 0);
        for (int k = 0; k < 4; ++k) exif[random() % exif.size()] = static_cast<std::uint8_t>(random());
        if (i % 3 == 0) exif.resize(random() % exif.size());
        UpdateExif(exif, 9, 9);
        StripExifPlace(exif);
        SetExifToSrgb(exif);
        ExifDensity(exif);
        ASSERT_LE(exif.size(), kEnd);
    }
}

TEST(ExifEdits, TiffFilesHoldTheSameFields) {
    for (const bool bigEndian : {false, true}) {
        ImageMetadata metadata;
        metadata.exif = Exif(bigEndian);
        metadata.iptc = {0x1C, 2, 5, 0, 1, 'T', 9};
        metadata.profile = samples::Profile(300, "RGB ");
        Bytes file;
        const DibPtr image = samples::Noise(24, 30, 20, 1);
        ASSERT_FALSE(
            ImageLoader::Save(file, image.get(), nullptr, {.format = ImageFormat::Tiff, .metadata = &metadata}));
        EXPECT_EQ(file[0], bigEndian ? 'M' : 'I') << "notes of the maker have no other byte order";
        EXPECT_FALSE(Contains(file, "TTTT"));
        const LoadResult back = ImageLoader::Load(file);
        ASSERT_TRUE(samples::SamePixels(back.image.get(), image.get()));
        EXPECT_EQ(back.metadata.iptc, metadata.iptc);
        EXPECT_EQ(back.metadata.profile, metadata.profile);
        Seen seen(back.metadata.exif);
        EXPECT_EQ(seen.Number(seen.camera, 0xA002), 30u);
        EXPECT_EQ(seen.Text(seen.camera, 0x927C), "makersnote");
        EXPECT_EQ(seen.Text(seen.place, 1), std::string(2, '\0'));
        EXPECT_EQ(seen.Text(seen.place, 2), std::string(24, 'L'));
        EXPECT_EQ(seen.Text(seen.main, 0x010F), std::string("Maker\0", 6));
        EXPECT_FALSE(seen.main.Find(0x0100)) << "the file's own tags are no EXIF data";
        std::mt19937 random(8);
        for (int i = 0; i < 2000; ++i) {
            Bytes broken = file;
            for (int k = 0; k < 4; ++k)
                broken[broken.size() - 1 - random() % 400] = static_cast<std::uint8_t>(random());
            ImageLoader::Load(broken, {.pixelLimit = 100000});
        }
    }
}

std::string Xmp(const std::string& attributes, const std::string& elements) {
    return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:Description xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" "
           "xmlns:e='http://ns.adobe.com/exif/1.0/' xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\"" +
           attributes + ">" + elements + "</rdf:Description></x:xmpmeta>";
}

std::string Edited(void (*edit)(Bytes&), const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    edit(bytes);
    return {bytes.begin(), bytes.end()};
}

TEST(XmpEdits, PropertiesAreCutOut) {
    const struct {
        void (*edit)(Bytes&);
        std::string before, after;
    } cases[] = {
        {UpdateXmp, Xmp(" tiff:Orientation=\"6\" tiff:Make = 'a>b'", "<e:PixelXDimension>9</e:PixelXDimension>x"),
         Xmp(" tiff:Make = 'a>b'", "x")},
        {UpdateXmp, Xmp("", "say tiff:Orientation=\"6\" <a b=\"tiff:Orientation='1'\"/>"),
         Xmp("", "say tiff:Orientation=\"6\" <a b=\"tiff:Orientation='1'\"/>")},
        {UpdateXmp, Xmp("", "<tiff:Orientation>6</tiff:Other>"), Xmp("", "<tiff:Orientation>6</tiff:Other>")},
        {StripXmpPlace,
         Xmp(" e:GPSLatitude='1' e:ISO='2' photoshop:City=\"x\" photoshop:CityOf=\"y\"",
             "<e:GPSLongitude/><e:GPSTimeStamp a='>'>t</e:GPSTimeStamp >"),
         Xmp(" e:ISO='2' photoshop:CityOf=\"y\"", "")},
        {StripXmpPlace, Xmp("", "<e:GPSLongitude>1"), ""},
        {StripXmpPlace, std::string("<\0x\0", 4), ""},
        {StripXmpPlace, "", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(Edited(c.edit, c.before), c.after);
    const std::string whole = Xmp(" e:GPSLatitude='1'", "<e:GPSLongitude>2</e:GPSLongitude>");
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        const std::string left = Edited(StripXmpPlace, whole.substr(0, cut));
        EXPECT_EQ(left.find("'1'"), std::string::npos) << cut;
        EXPECT_EQ(left.find(">2"), std::string::npos) << cut;
    }
}

/// A profile of the given primaries and a plain power of `gamma` / 256, as the format's description lays it out. The
/// white is D50, so that the columns are what the numbers (1, 0, 0), (0, 1, 0) and (0, 0, 1) mean there.
Bytes MatrixProfile(const double (&columns)[3][3], int gamma) {
    Bytes bytes(128);
    const auto put = [&](std::uint64_t value, int size) {
        for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    const auto text = [&](const char* four) { bytes.insert(bytes.end(), four, four + 4); };
    const char* const names[] = {"rXYZ", "gXYZ", "bXYZ", "rTRC", "gTRC", "bTRC", "wtpt"};
    put(7, 4);
    for (std::uint32_t i = 0; i < 7; ++i) text(names[i]), put(216 + 20 * i, 4), put(i / 3 == 1 ? 14 : 20, 4);
    const double white[] = {0.9642, 1, 0.8249};
    for (std::size_t i = 0; i < 7; ++i) {
        if (i / 3 == 1) {
            text("curv"), put(0, 4), put(1, 4), put(static_cast<std::uint32_t>(gamma), 2), put(0, 6);
            continue;
        }
        text("XYZ "), put(0, 4);
        for (std::size_t k = 0; k < 3; ++k)
            put(static_cast<std::uint32_t>((i == 6 ? white[k] : columns[i][k]) * 65536 + 0.5), 4);
    }
    const auto set = [&](std::size_t at, const char* four) {
        std::copy_n(four, 4, bytes.begin() + static_cast<std::ptrdiff_t>(at));
    };
    bytes[3] = static_cast<std::uint8_t>(bytes.size()), bytes[2] = static_cast<std::uint8_t>(bytes.size() >> 8);
    bytes[8] = 2, bytes[9] = 0x10;
    set(12, "mntr"), set(16, "RGB "), set(20, "XYZ "), set(36, "acsp");
    bytes[70] = 0xF6, bytes[71] = 0xD6, bytes[73] = 1, bytes[78] = 0xD3, bytes[79] = 0x2D;  // the white of the header
    return bytes;
}

TEST(ColorConversion, NumbersMeanTheSameColors) {
    // Wide primaries at a gamma of 563 / 256, which is 2.2 nearly; and the way from D50 to linear sRGB.
    constexpr double kWide[3][3] = {
        {0.60974, 0.31111, 0.01947}, {0.20528, 0.62567, 0.06087}, {0.14919, 0.06322, 0.74457}};
    constexpr double kToSrgb[3][3] = {
        {3.1338561, -1.6168667, -0.4906146}, {-0.9787684, 1.9161415, 0.0334540}, {0.0719453, -0.2289914, 1.4052427}};
    const DibPtr image = samples::Noise(24, 50, 40, 12), before = samples::Noise(24, 50, 40, 12);
    ImageMetadata metadata;
    metadata.profile = MatrixProfile(kWide, 563);
    metadata.exif = Exif(false);
    const CodecError error = ConvertToSrgb(image.get(), metadata);
    ASSERT_FALSE(error) << error.text;
    EXPECT_TRUE(metadata.profile.empty());
    EXPECT_EQ(Seen(metadata.exif).Number(Seen(metadata.exif).camera, 0xA001), 1u);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 50; ++x) {
            double linear[3], xyz[3] = {};
            for (int c = 0; c < 3; ++c)
                linear[c] = std::pow(samples::At(before.get(), x, y)[2 - c] / 255.0, 563 / 256.0);
            for (int k = 0; k < 3; ++k)
                for (int c = 0; c < 3; ++c) xyz[k] += kWide[c][k] * linear[c];
            for (int c = 0; c < 3; ++c) {
                double value = 0;
                for (int k = 0; k < 3; ++k) value += kToSrgb[c][k] * xyz[k];
                value = std::clamp(value, 0.0, 1.0);
                value = value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
                ASSERT_NEAR(samples::At(image.get(), x, y)[2 - c], 255 * value, 2.5) << x << ' ' << y << ' ' << c;
            }
        }
    metadata.profile = samples::Profile(300, "RGB ");
    EXPECT_EQ(ConvertToSrgb(image.get(), metadata).fault, CodecFault::Broken);
    metadata.profile.clear();
    EXPECT_FALSE(ConvertToSrgb(image.get(), metadata));
}

TEST(IptcEdits, OnlyPlacesGo) {
    Bytes iptc;
    const auto add = [&](int set, const std::string& text) {
        iptc.insert(iptc.end(), {0x1C, 2, static_cast<std::uint8_t>(set), 0, static_cast<std::uint8_t>(text.size())});
        iptc.insert(iptc.end(), text.begin(), text.end());
    };
    add(5, "title"), add(90, "city"), add(120, "words"), add(101, "land");
    iptc.insert(iptc.end(), {0x1C, 2, 92, 0x80, 4, 0, 0, 0, 2, 'x', 'y'});  // a long form of the length
    add(80, "by");
    const Bytes whole = iptc;
    StripIptcPlace(iptc);
    const std::string text(iptc.begin(), iptc.end());
    EXPECT_EQ(text, std::string("\x1C\2\5\0\5title\x1C\2\x78\0\5words\x1C\2\x50\0\2by", 27));
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
        StripIptcPlace(part);
        EXPECT_FALSE(Contains(part, "city"));
        EXPECT_LE(part.size(), cut);
    }
}

}  // namespace
}  // namespace kestrel
