// Files of every form that the decoder reads, made byte by byte.
#include <gtest/gtest.h>

#include <cmath>

#include "kestrel/codec/ImageLoader.h"
#include "tests/codec/Rows.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

using samples::Bytes;

struct Bmp {
    std::uint32_t header = 40;
    int width = 1, height = 1;
    unsigned bits = 24, compression = 0;
    Bytes data{};
    Bytes palette{};
    std::uint32_t colorsUsed = 0;
    std::vector<std::uint32_t> masks{};  // red, green, blue, alpha: in a long header or after a short one
    bool gap = false;                    // something between palette and pixels
    unsigned planes = 1;
};

Bytes Encode(const Bmp& file) {
    Bytes bytes;
    const auto put = [&](std::int64_t value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(i < 8 ? value >> 8 * i : 0));
    };
    const bool core = file.header == 12;
    put('B' | 'M' << 8, 2);
    put(0, 12);  // sizes are not believed anyway; the offset comes below
    put(file.header, 4);
    put(file.width, core ? 2 : 4), put(file.height, core ? 2 : 4);
    put(file.planes, 2), put(file.bits, 2);
    if (!core && file.header > 16) {
        put(file.compression, 4), put(static_cast<int>(file.data.size()), 4), put(3000, 4), put(4000, 4);
        put(file.colorsUsed, 4), put(0, 4);
    }
    for (const std::uint32_t mask : file.masks) put(mask, 4);
    if (bytes.size() < 14 + file.header) bytes.resize(14 + file.header);
    bytes.insert(bytes.end(), file.palette.begin(), file.palette.end());
    if (file.gap) put(-1, 7);
    bytes[10] = static_cast<std::uint8_t>(bytes.size()), bytes[11] = static_cast<std::uint8_t>(bytes.size() >> 8);
    bytes.insert(bytes.end(), file.data.begin(), file.data.end());
    return bytes;
}

/// The picture's lines from the top as text: for each pixel the name of its colour, '-' where it is hidden.
std::string Seen(const LoadResult& result) {
    static constexpr std::pair<char, std::array<int, 3>> kNames[] = {
        {'r', {0, 0, 255}}, {'g', {0, 255, 0}}, {'b', {255, 0, 0}}, {'w', {255, 255, 255}}, {'k', {0, 0, 0}}};
    if (!result) return result.error.text;
    std::string text;
    for (int y = 0; y < result.image->biHeight; ++y) {
        if (y > 0) text += '/';
        for (int x = 0; x < result.image->biWidth; ++x) {
            const std::uint8_t* p = samples::At(result.image.get(), x, y);
            char name = '?';
            for (const auto& [known, color] : kNames)
                if (p[0] == color[0] && p[1] == color[1] && p[2] == color[2]) name = known;
            if (result.mask && samples::At(result.mask.get(), x, y)[0] == 255) name = '-';
            text += name;
        }
    }
    return text;
}

const Bytes kRed = {0, 0, 255}, kGreen = {0, 255, 0}, kBlue = {255, 0, 0}, kWhite = {255, 255, 255};

/// Black, red, green, blue, white.
Bytes Palette(std::size_t entrySize, std::size_t count = 5) {
    Bytes bytes(3);
    bytes.resize(entrySize);
    for (const Bytes& color : {kRed, kGreen, kBlue, kWhite}) {
        bytes.insert(bytes.end(), color.begin(), color.end());
        bytes.resize((bytes.size() + entrySize - 1) / entrySize * entrySize, 7);
    }
    bytes.resize(entrySize * count, 99);
    return bytes;
}

TEST(Bmp, Forms) {
    const struct {
        const char* about;
        Bmp file;
        const char* seen;
    } cases[] = {
        {"1 bit",
         {.width = 9, .height = 2, .bits = 1, .data = {0x80, 0x80, 0, 0, 0x41, 0, 0, 0}, .palette = Palette(4, 2)},
         "krkkkkkrk/rkkkkkkkr"},
        {"2 bits", {.width = 5, .bits = 2, .data = {0x1B, 0x40, 0, 0}, .palette = Palette(4, 4)}, "krgbr"},
        {"4 bits",
         {.width = 5, .bits = 4, .data = {0x01, 0x23, 0x40, 0}, .palette = Palette(4, 5), .colorsUsed = 5},
         "krgbw"},
        {"8 bits, an index without a colour",
         {.width = 4, .bits = 8, .data = {4, 1, 200, 2}, .palette = Palette(4), .colorsUsed = 5},
         "wrkg"},
        {"a palette of 300",
         {.width = 2, .bits = 8, .data = {1, 2, 0, 0}, .palette = Palette(4, 300), .colorsUsed = 300},
         "rg"},
        {"a gap",
         {.width = 2, .bits = 8, .data = {1, 2, 0, 0}, .palette = Palette(4), .colorsUsed = 5, .gap = true},
         "rg"},
        {"a palette that lacks entries", {.width = 2, .bits = 8, .data = {4, 2, 0, 0}, .palette = Palette(4)}, "wg"},
        {"OS/2 1", {.header = 12, .width = 2, .bits = 8, .data = {1, 4, 0, 0}, .palette = Palette(3)}, "rw"},
        {"OS/2 2, short", {.header = 16, .width = 2, .bits = 8, .data = {1, 4, 0, 0}, .palette = Palette(4)}, "rw"},
        {"OS/2 2",
         {.header = 64, .width = 2, .bits = 8, .data = {1, 4, 0, 0}, .palette = Palette(4), .colorsUsed = 5},
         "rw"},
        {"top down",
         {.width = 1, .height = -2, .bits = 8, .data = {1, 0, 0, 0, 2, 0, 0, 0}, .palette = Palette(4)},
         "r/g"},
        {"24 bits with a palette", {.width = 1, .data = {0, 0, 255, 0}, .palette = Palette(4), .colorsUsed = 5}, "r"},
        {"24 bits, no padding at the end", {.width = 1, .height = 2, .data = {0, 0, 255, 0, 255, 0, 0}}, "b/r"},
        {"5-5-5", {.width = 2, .bits = 16, .data = {0x00, 0x7C, 0xE0, 0x03}}, "rg"},
        {"5-6-5",
         {.width = 2, .bits = 16, .compression = 3, .data = {0x00, 0xF8, 0xE0, 0x07}, .masks = {0xF800, 0x7E0, 0x1F}},
         "rg"},
        {"1-2-1",
         {.width = 4, .bits = 16, .compression = 3, .data = {8, 0, 6, 0, 1, 0, 0, 0}, .masks = {8, 6, 1}},
         "rgbk"},
        {"4-4-4-4",
         {.header = 56,
          .width = 2,
          .bits = 16,
          .compression = 3,
          .data = {0x00, 0xFF, 0xF0, 0x00},
          .masks = {0xF00, 0xF0, 0xF, 0xF000}},
         "r-"},
        {"32 bits, the fourth byte means nothing",
         {.width = 2, .bits = 32, .data = {255, 0, 0, 0, 0, 255, 0, 9}},
         "bg"},
        {"11-11-10",
         {.width = 3,
          .bits = 32,
          .compression = 3,
          .data = {0, 0, 0xE0, 0xFF, 0, 0xFC, 0x1F, 0, 0xFF, 3, 0, 0},
          .masks = {0xFFE00000, 0x1FFC00, 0x3FF}},
         "rgb"},
        {"four masks after the header",
         {.width = 2,
          .bits = 32,
          .compression = 6,
          .data = {0, 0, 255, 255, 0, 0, 255, 0},
          .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000}},
         "r-"},
        {"version 4",
         {.header = 108,
          .width = 2,
          .bits = 32,
          .compression = 3,
          .data = {255, 0, 0, 255, 255, 0, 0, 0},
          .masks = {0xFF, 0xFF00, 0xFF0000, 0xFF000000}},
         "r-"},
        {"version 5, alpha in plain pixels",
         {.header = 124,
          .width = 2,
          .bits = 32,
          .data = {255, 0, 0, 255, 255, 0, 0, 0},
          .masks = {0, 0, 0, 0xFF000000}},
         "b-"},
        {"version 5, alpha that nobody wrote",
         {.header = 124, .width = 2, .bits = 32, .data = {255, 0, 0, 0, 0, 255, 0, 0}, .masks = {0, 0, 0, 0xFF000000}},
         "bg"},
        {"RLE8: run, literals of odd number, end of line, end",
         {.width = 5,
          .height = 2,
          .bits = 8,
          .compression = 1,
          .data = {2, 1, 0, 3, 2, 3, 4, 0, 0, 0, 5, 4, 0, 1},
          .palette = Palette(4),
          .colorsUsed = 5},
         "wwwww/rrgbw"},
        {"RLE8: short line, move, end before the last line",
         {.width = 4,
          .height = 4,
          .bits = 8,
          .compression = 1,
          .data = {1, 1, 0, 0, 0, 2, 2, 1, 1, 2, 0, 1},
          .palette = Palette(4),
          .colorsUsed = 5},
         "----/--g-/----/r---"},
        {"RLE8: a run beyond the line, no end",
         {.width = 2, .height = 1, .bits = 8, .compression = 1, .data = {9, 1}, .palette = Palette(4), .colorsUsed = 5},
         "rr"},
        {"RLE8, top down",
         {.width = 1,
          .height = -2,
          .bits = 8,
          .compression = 1,
          .data = {1, 1, 0, 0, 1, 2, 0, 1},
          .palette = Palette(4)},
         "r/g"},
        {"RLE4: alternating run, odd literals",
         {.width = 6,
          .height = 1,
          .bits = 4,
          .compression = 2,
          .data = {3, 0x12, 0, 3, 0x34, 0x10, 0, 1},
          .palette = Palette(4),
          .colorsUsed = 5},
         "rgrbwr"},
        {"RLE24",
         {.header = 64,
          .width = 5,
          .height = 1,
          .bits = 24,
          .compression = 4,
          .data = {1, 0, 0, 255, 0, 3, 255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 0, 1}},
         "rbgr-"},
    };
    for (const auto& c : cases) {
        const LoadResult result = ImageLoader::Load(Encode(c.file));
        EXPECT_EQ(Seen(result), c.seen) << c.about;
        EXPECT_EQ(result.condition, Condition::Whole) << c.about;
        EXPECT_TRUE(result.warnings.empty()) << c.about;
        EXPECT_EQ(result.mask != nullptr, std::string(c.seen).find('-') != std::string::npos) << c.about;
        EXPECT_EQ(result.metadata.density.x, c.file.header > 16 ? 3000 : 0) << c.about;
        samples::ExpectTheWhole(Encode(c.file));
    }
    Bytes array = Encode(cases[3].file);
    array.insert(array.begin(), {'B', 'A', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    array[14 + 10] += 14;
    EXPECT_EQ(Seen(ImageLoader::Load(array)), "wrkg");
    const Bytes whole = Encode({.width = 1, .data = {0, 0, 255, 0}});
    EXPECT_EQ(Seen(ImageLoader::Load(std::span(whole).subspan(14))), "r");
}

TEST(Bmp, EveryValueOfAFieldIsScaledAndRounded) {
    for (unsigned bits = 1; bits <= 16; ++bits)
        for (const unsigned shift : {0u, 16u - bits, 13u}) {
            const std::uint32_t largest = (1u << bits) - 1;
            Bmp file{.width = 1 << bits, .bits = 32, .compression = 3, .masks = {0, largest << shift, 0}};
            for (std::uint32_t v = 0; v <= largest; ++v)
                for (unsigned i = 0; i < 4; ++i)
                    file.data.push_back(static_cast<std::uint8_t>((v << shift | ~(largest << shift)) >> 8 * i));
            const LoadResult result = ImageLoader::Load(Encode(file));
            ASSERT_TRUE(result) << result.error.text;
            for (std::uint32_t v = 0; v <= largest; ++v) {
                const std::uint8_t* pixel = DibRow(result.image.get(), 0) + 3 * v;
                ASSERT_EQ(pixel[1], std::floor(v * 255.0 / largest + 0.5)) << bits << ' ' << v;
                ASSERT_EQ(pixel[0] | pixel[2], 0);
            }
        }
}

TEST(Bmp, EmbeddedFilesAndProfile) {
    const DibPtr image = samples::Gradient(9, 7);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        Bmp file{.bits = 0, .compression = format == ImageFormat::Jpeg ? 4u : 5u};
        ASSERT_FALSE(ImageLoader::Save(file.data, image.get(), nullptr, {.format = format}));
        const LoadResult plain = ImageLoader::Load(file.data);
        const LoadResult result = ImageLoader::Load(Encode(file));
        ASSERT_TRUE(result) << result.error.text;
        EXPECT_TRUE(samples::SamePixels(result.image.get(), plain.image.get()));
        EXPECT_EQ(result.format, ImageFormat::Bmp);
        file.data[1] = 'x';
        EXPECT_EQ(ImageLoader::Load(Encode(file)).error.fault, CodecFault::Broken);
    }
    Bmp file{.header = 124, .data = {0, 0, 255, 0}};
    Bytes bytes = Encode(file);
    const Bytes profile = samples::Profile(140, "RGB ");
    const char* const embedded = "DEBM";
    std::copy(embedded, embedded + 4, bytes.begin() + 14 + 56);
    bytes[14 + 112] = static_cast<std::uint8_t>(bytes.size() - 14);
    bytes[14 + 116] = 140;
    bytes.insert(bytes.end(), profile.begin(), profile.end());
    EXPECT_EQ(ImageLoader::Load(bytes).metadata.profile, profile);
    bytes.pop_back();
    EXPECT_TRUE(ImageLoader::Load(bytes).metadata.profile.empty());
}

TEST(Bmp, WhatIsNotReadIsNamed) {
    const struct {
        Bmp file;
        const char* word;
    } cases[] = {
        {{.header = 64, .bits = 1, .compression = 3}, "Huffman 1D"},
        {{.bits = 64}, "64 bits per pixel"},
        {{.bits = 5}, "5 bits per pixel"},
        {{.planes = 3}, "planes"},
        {{.compression = 11}, "CMYK"},
        {{.header = 41 + 36}, "header of 77 bytes"},
        {{.compression = 9}, "compression 9"},
        {{.bits = 4, .compression = 1}, "compression 1 at 4 bits"},
    };
    for (const auto& c : cases) {
        const LoadResult result = ImageLoader::Load(Encode(c.file));
        EXPECT_EQ(result.error.fault, CodecFault::NotSupported) << c.word;
        EXPECT_NE(result.error.text.find(c.word), std::string::npos) << result.error.text;
    }
    for (const Bmp& file : {Bmp{.width = 0}, Bmp{.width = -1}, Bmp{.height = 0}, Bmp{.height = INT32_MIN},
                            Bmp{.bits = 16, .compression = 3, .masks = {0, 0, 0xF0000}}})
        EXPECT_EQ(ImageLoader::Load(Encode(file)).error.fault, CodecFault::Broken);
}

TEST(Bmp, WhatIsLeftOfACutFile) {
    const Bytes plain = Encode({.width = 1, .height = 3, .data = {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0}});
    const Bytes runs = Encode({.width = 2,
                               .height = 3,
                               .bits = 8,
                               .compression = 1,
                               .data = {2, 1, 0, 0, 2, 2, 0, 0, 2, 3, 0, 1},
                               .palette = Palette(4),
                               .colorsUsed = 5});
    for (std::size_t cut = 1; cut < 13; ++cut) {
        const LoadResult rows = ImageLoader::Load(std::span(plain).first(plain.size() - cut));
        const char* const left[] = {"b/g/r", "k/g/r", "k/k/r"};
        if (cut < 10) {
            EXPECT_EQ(Seen(rows), left[(cut + 2) / 4]) << cut;
            samples::ExpectTheWhole({plain.begin(), plain.end() - static_cast<std::ptrdiff_t>(cut)}, cut < 2);
        }
        EXPECT_EQ(rows.condition, cut < 2    ? Condition::Whole
                                  : cut < 10 ? Condition::Damaged
                                             : Condition::Nothing)
            << cut;
        const LoadResult lines = ImageLoader::Load(std::span(runs).first(runs.size() - cut));
        const char* const some[] = {"bb/gg/rr", "--/gg/rr", "--/--/rr"};
        if (cut < 11) {
            EXPECT_EQ(Seen(lines), some[cut < 3 ? 0 : cut < 7 ? 1 : 2]) << cut;
        }
        EXPECT_EQ(lines.condition, cut < 3    ? Condition::Whole
                                   : cut < 11 ? Condition::Damaged
                                              : Condition::Nothing)
            << cut;
    }
    for (const Bytes& whole : {plain, runs})
        for (std::size_t size = 0; size < whole.size() - 12; ++size)
            EXPECT_EQ(ImageLoader::Load(std::span(whole).first(size)).condition, Condition::Nothing) << size;
}

}  // namespace
}  // namespace kestrel
