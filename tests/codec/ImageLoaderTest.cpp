#include "kestrel/codec/ImageLoader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <zlib.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using samples::Bytes;

Bytes Saved(const Dib* image, const Dib* mask, const SaveOptions& options) {
    Bytes bytes;
    EXPECT_FALSE(ImageLoader::Save(bytes, image, mask, options));
    return bytes;
}

Bytes Cut(const Bytes& bytes, std::size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

Bytes Pixel(const LoadResult& result, int x, int y) {
    const std::uint8_t* at = samples::At(result.image.get(), x, y);
    Bytes pixel = {at[0], at[1], at[2]};
    if (result.mask) pixel.push_back(samples::At(result.mask.get(), x, y)[0]);
    return pixel;
}

// Round trips --------------------------------------------------------------------------------------------------------

TEST(ImageLoader, LosslessRoundTrips) {
    for (int width = 1; width < 20; ++width)
        for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Bmp}) {
            const DibPtr image = samples::Noise(24, width, 5, static_cast<unsigned>(width));
            const LoadResult back = ImageLoader::Load(Saved(image.get(), nullptr, {.format = format}));
            ASSERT_TRUE(back) << back.error.text;
            EXPECT_EQ(back.format, format);
            EXPECT_EQ(back.mask, nullptr);
            EXPECT_TRUE(back.warnings.empty());
            EXPECT_TRUE(samples::SamePixels(back.image.get(), image.get()));
        }
}

TEST(ImageLoader, PngKeepsTheMaskAndTheColoursUnderIt) {
    const DibPtr image = samples::Noise(24, 13, 6, 1);
    const DibPtr mask = samples::Noise(8, 13, 6, 2);
    DibRow(mask.get(), 3)[4] = 255;
    const LoadResult back = ImageLoader::Load(Saved(image.get(), mask.get(), {.format = ImageFormat::Png}));
    ASSERT_TRUE(back) << back.error.text;
    EXPECT_TRUE(samples::SamePixels(back.image.get(), image.get()));
    EXPECT_TRUE(samples::SamePixels(back.mask.get(), mask.get()));
}

TEST(ImageLoader, PngOfManyPiecesAtEveryLevel) {
    // Lines and pieces of the stream end at different places; noise makes blocks of stored bytes in the stream.
    const DibPtr pictures[] = {samples::Noise(24, 1021, 777, 5), samples::Gradient(1021, 777)};
    const DibPtr mask = samples::Noise(8, 1021, 777, 6);
    for (const DibPtr& image : pictures) {
        std::size_t before = SIZE_MAX;
        for (const int level : {0, 1, 4, 6, 9}) {
            const SaveOptions png{.format = ImageFormat::Png, .pngCompression = level};
            const Bytes file = Saved(image.get(), mask.get(), png);
            const LoadResult back = ImageLoader::Load(file);
            ASSERT_TRUE(back) << back.error.text;
            EXPECT_EQ(back.warnings, std::vector<std::string>()) << level;
            EXPECT_TRUE(samples::SamePixels(back.image.get(), image.get())) << level;
            EXPECT_TRUE(samples::SamePixels(back.mask.get(), mask.get())) << level;
            EXPECT_LE(file.size(), before + before / 1000) << level;
            before = file.size();
        }
    }
    // A fifth filter or a wrong choice among them shows in the size only.
    EXPECT_LT(Saved(pictures[1].get(), nullptr, {.format = ImageFormat::Png}).size(), 40'000u);
}

TEST(ImageLoader, AMaskThatHidesNothingIsNotWritten) {
    const DibPtr image = samples::Noise(24, 5, 5, 1);
    const DibPtr mask(DibCreate(8, 5, 5));
    EXPECT_EQ(ImageLoader::Load(Saved(image.get(), mask.get(), {.format = ImageFormat::Png})).mask, nullptr);
    EXPECT_FALSE(Saved(image.get(), mask.get(), {.format = ImageFormat::Jpeg}).empty());
    DibRow(mask.get(), 0)[4] = 1;  // the last column of the last line
    EXPECT_NE(ImageLoader::Load(Saved(image.get(), mask.get(), {.format = ImageFormat::Png})).mask, nullptr);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Bmp}) {
        Bytes bytes = {7};
        EXPECT_TRUE(ImageLoader::Save(bytes, image.get(), mask.get(), {.format = format}));
        EXPECT_EQ(bytes, Bytes{7});
        EXPECT_FALSE(FormatHoldsAlpha(format));
    }
}

TEST(ImageLoader, JpegStaysClose) {
    const DibPtr image = samples::Gradient(61, 47);
    const Bytes fine = Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg});
    const Bytes coarse = Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg, .jpegQuality = 30});
    const LoadResult back = ImageLoader::Load(fine);
    ASSERT_TRUE(back) << back.error.text;
    EXPECT_LE(samples::LargestDifference(back.image.get(), image.get()), 6);
    EXPECT_LT(coarse.size(), fine.size());
}

/// Sampling factors of the first component: byte 11 behind the frame's marker.
int Sampling(const Bytes& jpeg) {
    for (std::size_t i = 2; i + 11 < jpeg.size(); ++i)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC0) return jpeg[i + 11];
    return -1;
}

TEST(ImageLoader, ColourIsWholeFromQuality90On) {
    const DibPtr image = samples::Gradient(16, 16);
    const auto sampling = [&](int quality) {
        return Sampling(Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg, .jpegQuality = quality}));
    };
    EXPECT_EQ(sampling(89), 0x22);
    EXPECT_EQ(sampling(90), 0x11);
    EXPECT_EQ(sampling(1000), 0x11);
    EXPECT_EQ(sampling(-5), 0x22);
    EXPECT_EQ(Sampling(Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg})), 0x11);
    const std::pair<const char*, int> names[] = {{"444", 0x11}, {"422", 0x21},   {"420", 0x22},
                                                 {"411", 0x41}, {"4:2:0", 0x22}, {"auto", 0x11}};
    for (const auto& [name, factors] : names) {
        const auto chroma = ChromaSamplingOfName(name);
        ASSERT_TRUE(chroma) << name;
        EXPECT_EQ(Sampling(Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg, .chroma = *chroma})), factors);
    }
    EXPECT_FALSE(ChromaSamplingOfName("443"));
}

TEST(ImageLoader, BmpBytesByHand) {
    const DibPtr image(DibCreate(24, 1, 2));
    std::memset(DibRow(image.get(), 0), 9, 4);  // the padding too, which must not get out
    std::memset(DibRow(image.get(), 1), 8, 4);
    const Bytes want = {'B', 'M', 62, 0, 0, 0, 0, 0,  0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 1, 0, 0,
                        0,   2,   0,  0, 0, 1, 0, 24, 0, 0, 0,  0, 0, 8, 0,  0, 0, 0, 0, 0, 0,
                        0,   0,   0,  0, 0, 0, 0, 0,  0, 0, 0,  0, 9, 9, 9,  0, 8, 8, 8, 0};
    EXPECT_EQ(Saved(image.get(), nullptr, {.format = ImageFormat::Bmp}), want);
}

// PNG forms ----------------------------------------------------------------------------------------------------------

TEST(PngLoading, SixteenBits) {
    samples::Png file{.width = 2, .height = 1, .bits = 16, .colorType = PNG_COLOR_TYPE_RGB_ALPHA};
    // Scaled and rounded: 0x0080 is 0.498 of a unit, 0x0081 is 0.502.
    file.lines = {{0xFF, 0xFF, 0x00, 0x80, 0x00, 0x81, 0x80, 0x80, 0x12, 0x12, 0x7F, 0xFF, 0, 0, 0, 0}};
    const LoadResult result = ImageLoader::Load(samples::Encode(file));
    ASSERT_TRUE(result) << result.error.text;
    EXPECT_EQ(Pixel(result, 0, 0), (Bytes{1, 0, 255, 127}));
    EXPECT_EQ(Pixel(result, 1, 0), (Bytes{0, 127, 18, 255}));
}

TEST(PngLoading, PalettesOfEveryDepth) {
    const std::vector<png_color> colors = {{1, 2, 3}, {10, 20, 30}, {100, 150, 200}};
    for (const int bits : {1, 2, 4, 8}) {
        samples::Png file{.width = 2, .height = 1, .bits = bits, .colorType = PNG_COLOR_TYPE_PALETTE};
        file.palette = {colors.begin(), colors.begin() + (bits == 1 ? 2 : 3)};
        file.lines = {bits == 8 ? Bytes{1, 0} : Bytes{static_cast<std::uint8_t>(1 << (8 - bits))}};
        const LoadResult opaque = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(opaque) << opaque.error.text;
        EXPECT_EQ(Pixel(opaque, 0, 0), (Bytes{30, 20, 10}));
        EXPECT_EQ(Pixel(opaque, 1, 0), (Bytes{3, 2, 1}));
        file.alpha = {64};  // of the first colour; the others are opaque
        const LoadResult hidden = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(hidden) << hidden.error.text;
        EXPECT_EQ(Pixel(hidden, 0, 0), (Bytes{30, 20, 10, 0}));
        EXPECT_EQ(Pixel(hidden, 1, 0), (Bytes{3, 2, 1, 191}));
    }
}

TEST(PngLoading, GreyOfEveryDepth) {
    const struct {
        int bits;
        Bytes line;
        std::uint8_t first, second;
    } cases[] = {{1, {0x80}, 255, 0},
                 {2, {0x60}, 85, 170},
                 {4, {0x3C}, 51, 204},
                 {8, {7, 200}, 7, 200},
                 {16, {0x40, 0x40, 0xFF, 0xFF}, 64, 255}};
    for (const auto& c : cases) {
        samples::Png file{.width = 2, .height = 1, .bits = c.bits, .colorType = PNG_COLOR_TYPE_GRAY, .lines = {c.line}};
        const LoadResult result = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(result) << result.error.text;
        EXPECT_EQ(Pixel(result, 0, 0), Bytes(3, c.first)) << c.bits;
        EXPECT_EQ(Pixel(result, 1, 0), Bytes(3, c.second)) << c.bits;
        file.hasKey = true;
        file.key.gray = c.bits == 16 ? 0x4040 : c.bits == 8 ? 7 : c.bits == 4 ? 3 : 1;
        const LoadResult keyed = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(keyed.mask);
        EXPECT_EQ(samples::At(keyed.mask.get(), 0, 0)[0], 255);
        EXPECT_EQ(samples::At(keyed.mask.get(), 1, 0)[0], 0);
        EXPECT_EQ(samples::At(keyed.image.get(), 0, 0)[0], c.first);  // the colour under alpha 0 is kept
    }
}

TEST(PngLoading, GreyWithAlphaAndTransparentColour) {
    samples::Png grey{.width = 1, .height = 1, .colorType = PNG_COLOR_TYPE_GRAY_ALPHA, .lines = {{90, 200}}};
    EXPECT_EQ(Pixel(ImageLoader::Load(samples::Encode(grey)), 0, 0), (Bytes{90, 90, 90, 55}));
    samples::Png keyed{.width = 2, .height = 1, .lines = {{1, 2, 3, 1, 2, 4}}, .hasKey = true};
    keyed.key.red = 1, keyed.key.green = 2, keyed.key.blue = 3;
    const LoadResult result = ImageLoader::Load(samples::Encode(keyed));
    EXPECT_EQ(Pixel(result, 0, 0), (Bytes{3, 2, 1, 255}));
    EXPECT_EQ(Pixel(result, 1, 0), (Bytes{4, 2, 1, 0}));
}

TEST(PngLoading, InterlacedIsTheSamePicture) {
    for (const bool alpha : {false, true})
        for (int width = 1; width <= 17; ++width) {
            samples::Png file{.width = width, .height = 18 - width};
            file.colorType = alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
            std::mt19937 random(4);
            file.lines.assign(static_cast<std::size_t>(file.height), Bytes(static_cast<std::size_t>(4 * width)));
            for (Bytes& line : file.lines)
                for (auto& byte : line) byte = static_cast<std::uint8_t>(random());
            const LoadResult plain = ImageLoader::Load(samples::Encode(file));
            file.interlaced = true;
            const LoadResult woven = ImageLoader::Load(samples::Encode(file));
            ASSERT_TRUE(plain && woven);
            EXPECT_TRUE(samples::SamePixels(plain.image.get(), woven.image.get())) << width;
            if (alpha) {
                EXPECT_TRUE(samples::SamePixels(plain.mask.get(), woven.mask.get())) << width;
            }
        }
}

// JPEG forms ---------------------------------------------------------------------------------------------------------

TEST(JpegLoading, Grey) {
    samples::Jpeg file{.width = 9, .height = 9, .components = 1, .input = JCS_GRAYSCALE, .stored = JCS_GRAYSCALE};
    file.pixel = [](int, int, JSAMPLE* p) { p[0] = 77; };
    const LoadResult result = ImageLoader::Load(samples::Encode(file));
    ASSERT_TRUE(result) << result.error.text;
    EXPECT_EQ(Pixel(result, 4, 8), Bytes(3, 77));
}

TEST(JpegLoading, InkWithAndWithoutTheAdobeMarker) {
    const struct {
        J_COLOR_SPACE stored;
        bool adobe;
    } cases[] = {{JCS_CMYK, true}, {JCS_CMYK, false}, {JCS_YCCK, true}};
    for (const auto& c : cases) {
        samples::Jpeg file{.width = 8, .height = 8, .components = 4, .input = JCS_CMYK, .stored = c.stored};
        file.adobe = c.adobe;
        // Light of red 198/255, green 97/255, blue 52/255 under black that lets 204/255 through.
        file.pixel = [&](int, int, JSAMPLE* p) {
            const JSAMPLE light[4] = {198, 97, 52, 204};
            for (int i = 0; i < 4; ++i) p[i] = c.adobe ? light[i] : static_cast<JSAMPLE>(255 - light[i]);
        };
        const LoadResult result = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(result) << result.error.text;
        const Bytes pixel = Pixel(result, 3, 3);
        const int apart = c.stored == JCS_CMYK ? 0 : 2;  // one flat color stays as it is unless it is converted
        EXPECT_NEAR(pixel[0], 42, apart);                // 41.6
        EXPECT_NEAR(pixel[1], 78, apart);                // 77.6
        EXPECT_NEAR(pixel[2], 158, apart);               // 158.4
    }
}

TEST(JpegLoading, ProgressiveIsTheSamePicture) {
    samples::Jpeg file{.width = 40, .height = 30, .quality = 80};
    file.pixel = [](int x, int y, JSAMPLE* p) {
        for (int c = 0; c < 3; ++c) p[c] = static_cast<JSAMPLE>(4 * x + 2 * y + 10 * c);
    };
    const LoadResult plain = ImageLoader::Load(samples::Encode(file));
    file.progressive = true;
    const LoadResult progressive = ImageLoader::Load(samples::Encode(file));
    ASSERT_TRUE(plain && progressive);
    EXPECT_TRUE(samples::SamePixels(plain.image.get(), progressive.image.get()));
}

TEST(JpegLoading, PartialDataGiveAWarningAndTheirRows) {
    const DibPtr image = samples::Gradient(64, 256);
    const Bytes whole = Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg});
    const LoadResult full = ImageLoader::Load(whole);
    const LoadResult half = ImageLoader::Load(Cut(whole, whole.size() * 3 / 4));
    ASSERT_TRUE(half) << half.error.text;
    ASSERT_FALSE(half.warnings.empty());
    EXPECT_EQ(half.condition, Condition::Damaged);
    EXPECT_NE(half.warnings[0].find("ends early; "), std::string::npos);
    for (int y = 0; y < 64; ++y)
        EXPECT_EQ(0, std::memcmp(samples::At(half.image.get(), 0, y), samples::At(full.image.get(), 0, y), 192)) << y;
}

TEST(JpegLoading, EveryTruncation) {
    for (const auto& [progressive, arithmetic] : {std::pair{false, false}, {true, false}, {false, true}}) {
        samples::Jpeg file{
            .width = 24, .height = 20, .quality = 60, .progressive = progressive, .arithmetic = arithmetic};
        file.exif = samples::Exif(6, true, true);
        file.pixel = [](int x, int y, JSAMPLE* p) {
            p[0] = static_cast<JSAMPLE>(9 * x);
            p[1] = static_cast<JSAMPLE>(11 * y);
            p[2] = static_cast<JSAMPLE>(x * y);
        };
        const Bytes whole = samples::Encode(file);
        ASSERT_TRUE(ImageLoader::Load(whole).warnings.empty());
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const LoadResult result = ImageLoader::Load(Cut(whole, size));
            EXPECT_NE(bool(result.error), result.image != nullptr) << size;
            if (result) {
                EXPECT_FALSE(result.warnings.empty()) << size;
                EXPECT_EQ(result.image->biWidth, 20);
            }
        }
        EXPECT_EQ(ImageLoader::Load(Cut(whole, whole.size() - 2)).condition,
                  arithmetic ? Condition::Damaged : Condition::Whole)
            << "arithmetic decoding does not tell where the pixels end";
        EXPECT_EQ(ImageLoader::Load(Cut(whole, whole.size() - 6)).condition, Condition::Damaged);
        EXPECT_FALSE(ImageLoader::Load(Cut(whole, 100)));
    }
}

TEST(JpegLoading, DamagedBytesNeverHurt) {
    const DibPtr image = samples::Gradient(24, 24);
    const Bytes whole = Saved(image.get(), nullptr, {.format = ImageFormat::Jpeg});
    std::mt19937 random(8);
    for (int i = 0; i < 2000; ++i) {
        Bytes broken = whole;
        for (int k = 0; k < 3; ++k) broken[random() % broken.size()] = static_cast<std::uint8_t>(random());
        const LoadResult result = ImageLoader::Load(broken, {.pixelLimit = 100000});
        EXPECT_NE(bool(result.error), result.image != nullptr);
    }
}

// What cannot be loaded ----------------------------------------------------------------------------------------------

TEST(PngLoading, WhatIsLeftOfACutFile) {
    const DibPtr image = samples::Noise(24, 60, 500, 3);
    const DibPtr mask = samples::Noise(8, 60, 500, 3);
    for (const Dib* alpha : {static_cast<const Dib*>(nullptr), static_cast<const Dib*>(mask.get())}) {
        const Bytes whole = Saved(image.get(), alpha, {.format = ImageFormat::Png});
        const std::size_t end = whole.size() - 12;  // the end chunk, behind the pixels and their checksum
        std::set<Condition> seen;
        for (std::size_t size = 0; size < whole.size(); size += size < 80 || size + 1000 > end ? 1 : 997) {
            const LoadResult result = ImageLoader::Load(Cut(whole, size));
            seen.insert(result.condition);
            EXPECT_EQ(result.condition == Condition::Nothing, !result) << size;
            EXPECT_EQ(bool(result.error), !result) << size;
            if (!result) continue;
            EXPECT_FALSE(result.warnings.empty()) << size;
            // Lines are whole down to one of them, and nothing is below it.
            int y = 0;
            while (y < 500 &&
                   std::memcmp(samples::At(result.image.get(), 0, y), samples::At(image.get(), 0, y), 180) == 0)
                ++y;
            EXPECT_EQ(y == 500, result.condition == Condition::Whole) << size;
            for (; y < 500; ++y)
                for (int x = 0; x < 60; ++x) {
                    ASSERT_EQ(samples::At(result.image.get(), x, y)[1], 0);
                    if (alpha) {
                        ASSERT_EQ(samples::At(result.mask.get(), x, y)[0], 255);
                    }
                }
        }
        EXPECT_EQ(seen.size(), 3u);
        Bytes flipped = whole;
        flipped[end - 1] ^= 1;
        EXPECT_EQ(ImageLoader::Load(flipped).condition, Condition::Damaged);
    }
}

/// The file with a chunk before its pixels, or after its end; `claim` more bytes than the body has.
Bytes WithChunk(const Bytes& png, std::string_view name, std::string_view body, std::size_t claim = 0,
                bool atEnd = false) {
    const std::size_t length = body.size() + claim;
    Bytes chunk;
    for (int shift = 24; shift >= 0; shift -= 8) chunk.push_back(static_cast<std::uint8_t>(length >> shift));
    chunk.insert(chunk.end(), name.begin(), name.end());
    chunk.insert(chunk.end(), body.begin(), body.end());
    const auto sum = crc32(0, chunk.data() + 4, static_cast<unsigned>(chunk.size() - 4));
    for (int shift = 24; shift >= 0; shift -= 8) chunk.push_back(static_cast<std::uint8_t>(sum >> shift));
    Bytes file = png;
    file.insert(atEnd ? file.end() : file.begin() + 33, chunk.begin(), chunk.end());
    return file;
}

TEST(PngLoading, ChunksBesideThePixelsDoNoHarm) {
    const DibPtr image = samples::Noise(24, 6, 5, 3);
    const Bytes plain = Saved(image.get(), nullptr, {.format = ImageFormat::Png});
    for (const char* name : {"iCCP", "sBIT", "gAMA", "cHRM", "tIME", "tEXt", "zTXt", "iTXt", "pHYs", "eXIf", "sPLT",
                             "hIST", "bKGD", "sRGB", "oFFs", "sCAL", "abCd"})
        for (const std::string& body : {std::string(), std::string("x"), std::string(300, '\xFF'), std::string(9, 0)})
            for (const bool atEnd : {false, true}) {
                Bytes file = WithChunk(WithChunk(plain, name, body, 0, atEnd), name, body, 0, atEnd);
                const LoadResult result = ImageLoader::Load(file);
                EXPECT_EQ(result.condition, Condition::Whole) << name;
                EXPECT_TRUE(samples::SamePixels(result.image.get(), image.get())) << name;
                file[file.size() - (atEnd ? 1 : plain.size() - 33 + 1)] ^= 1;  // the second one's checksum
                EXPECT_EQ(ImageLoader::Load(file).condition, Condition::Whole) << name;
            }
    // A chunk that claims everything takes the pixels with it, but no memory.
    EXPECT_EQ(ImageLoader::Load(WithChunk(plain, "zTXt", "x", 0x7FFFFF00)).condition, Condition::Nothing);
    EXPECT_EQ(ImageLoader::Load(WithChunk(plain, "eXIf", "x", 0x7FFFFF00, true)).condition, Condition::Whole);
}

TEST(PngLoading, IptcDataAreATextOfDigits) {
    const Bytes plain = Saved(samples::Noise(24, 6, 5, 3).get(), nullptr, {.format = ImageFormat::Png});
    const Bytes iptc = {0x1C, 2, 5, 0, 1, 'T'};
    const std::pair<std::string, Bytes> texts[] = {
        {"\niptc\n 6\n1C0205\n000154\n", iptc},
        {"\niptc\n18\n3842494d040400000000\n00061c0205000154", iptc},
        {"\niptc\n18\n3842494d040400000000\n00071c0205000154", {}},  // longer than its resources
        {"\niptc\n6\n", {}},
        {"\niptc\n1c0205000154", {}},  // lines are missing
        {"1c0205000154", {}},
        {"", {}},
    };
    for (const auto& [text, found] : texts) {
        const std::string body = std::string("Raw profile type iptc") + '\0' + text;
        EXPECT_EQ(ImageLoader::Load(WithChunk(plain, "tEXt", body)).metadata.iptc, found) << text;
    }
}

TEST(ImageLoader, PixelLimit) {
    const DibPtr image = samples::Gradient(10, 10);
    for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Jpeg, ImageFormat::Bmp}) {
        const Bytes bytes = Saved(image.get(), nullptr, {.format = format});
        EXPECT_TRUE(ImageLoader::Load(bytes, {.pixelLimit = 100}));
        const LoadResult refused = ImageLoader::Load(bytes, {.pixelLimit = 99});
        EXPECT_FALSE(refused);
        EXPECT_EQ(refused.error.text, "the picture has 10 x 10 pixels, the limit is 99");
    }
    // A header that promises more than anybody has memory for.
    Bytes huge = Saved(image.get(), nullptr, {.format = ImageFormat::Png});
    const Bytes big = {0x7F, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF};
    std::copy(big.begin(), big.end(), huge.begin() + 16);
    EXPECT_FALSE(ImageLoader::Load(huge, {.pixelLimit = UINT64_MAX}));
}

TEST(ImageLoader, WhatIsNoPicture) {
    EXPECT_EQ(ImageLoader::Load(Bytes{}).error.text, "the file is empty");
    EXPECT_EQ(ImageLoader::Load(Bytes{'h', 'e', 'l', 'l', 'o'}).error.text, "the file is no picture of a known format");
    EXPECT_EQ(ImageLoader::Load("/no/such/file.png").error.text, "No such file or directory");
    EXPECT_EQ(ImageLoader::Load(testing::TempDir()).error.text, "Is a directory");
    EXPECT_FALSE(ImageLoader::Load(Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}));
    EXPECT_FALSE(ImageLoader::Load(Bytes{0xFF, 0xD8, 0xFF}));
    EXPECT_FALSE(ImageLoader::Load(Bytes{'B', 'M'}));
}

TEST(ImageLoader, WhatCannotBeSaved) {
    Bytes bytes;
    const DibPtr image = samples::Gradient(4, 4);
    const SaveOptions png{.format = ImageFormat::Png};
    EXPECT_TRUE(ImageLoader::Save(bytes, nullptr, nullptr, png));
    EXPECT_TRUE(ImageLoader::Save(bytes, DibPtr(DibCreate(8, 4, 4)).get(), nullptr, png));
    EXPECT_TRUE(ImageLoader::Save(bytes, DibPtr(DibCreate(24, 0, 4)).get(), nullptr, png));
    EXPECT_TRUE(ImageLoader::Save(bytes, image.get(), DibPtr(DibCreate(8, 4, 5)).get(), png));
    EXPECT_TRUE(ImageLoader::Save(bytes, image.get(), nullptr, {}));
    EXPECT_TRUE(
        ImageLoader::Save(bytes, DibPtr(DibCreate(24, 70000, 1)).get(), nullptr, {.format = ImageFormat::Jpeg}));
    EXPECT_TRUE(bytes.empty());
}

// Files --------------------------------------------------------------------------------------------------------------

struct ImageFiles : testing::Test {
    ImageFiles() : folder(fs::path(testing::TempDir()) / ("kestrel_images_" + std::to_string(getpid()))) {
        fs::create_directories(folder);
    }
    ~ImageFiles() override { fs::remove_all(folder); }
    fs::path folder;
};

TEST_F(ImageFiles, ExtensionOnSaveContentOnLoad) {
    const DibPtr image = samples::Gradient(8, 8);
    const std::string png = folder / "a.PNG";
    ASSERT_FALSE(ImageLoader::Save(png, image.get(), nullptr));
    const std::string lying = folder / "a.jpg";
    fs::rename(png, lying);
    const LoadResult result = ImageLoader::Load(lying);
    EXPECT_EQ(result.format, ImageFormat::Png);
    EXPECT_TRUE(samples::SamePixels(result.image.get(), image.get()));

    ASSERT_FALSE(ImageLoader::Save(lying, image.get(), nullptr));  // over itself, now as its name says
    EXPECT_EQ(ImageLoader::Load(lying).format, ImageFormat::Jpeg);
    const std::string forced = folder / "noext";
    EXPECT_TRUE(ImageLoader::Save(forced, image.get(), nullptr));
    EXPECT_FALSE(ImageLoader::Save(forced, image.get(), nullptr, {.format = ImageFormat::Bmp}));
    EXPECT_EQ(ImageLoader::Load(forced).format, ImageFormat::Bmp);
}

TEST_F(ImageFiles, FailuresLeaveNothingBehind) {
    const DibPtr image = samples::Gradient(8, 8);
    const DibPtr wide(DibCreate(24, 70000, 1));
    EXPECT_TRUE(ImageLoader::Save((folder / "wide.jpg").string(), wide.get(), nullptr));
    EXPECT_TRUE(ImageLoader::Save((folder / "none" / "a.png").string(), image.get(), nullptr));
    EXPECT_TRUE(ImageLoader::Save("/dev/full", image.get(), nullptr, {.format = ImageFormat::Png}));
    std::FILE* full = std::fopen("/dev/full", "wb");  // its buffer takes the small picture
    EXPECT_TRUE(ImageLoader::Save(full, image.get(), nullptr, {.format = ImageFormat::Png}));
    std::fclose(full);
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(ImageFiles, ReadsAPipe) {
    const DibPtr image = samples::Gradient(30, 20);
    const Bytes bytes = Saved(image.get(), nullptr, {.format = ImageFormat::Png});
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), std::ssize(bytes));
    close(ends[1]);
    const LoadResult result = ImageLoader::Load("/dev/fd/" + std::to_string(ends[0]), {.inputLimit = bytes.size()});
    close(ends[0]);
    ASSERT_TRUE(result) << result.error.text;
    EXPECT_TRUE(samples::SamePixels(result.image.get(), image.get()));
}

TEST(ImageFormat, Names) {
    for (const auto& [format, names] : {std::pair{ImageFormat::Bmp, "bmp dib"},
                                        {ImageFormat::Gif, "gif"},
                                        {ImageFormat::Jpeg, "JPG .jpeg jpe jfif"},
                                        {ImageFormat::PhotoCd, "pcd"},
                                        {ImageFormat::Png, "png"},
                                        {ImageFormat::Pnm, "pnm ppm pgm pbm"},
                                        {ImageFormat::Psd, "psd psb"},
                                        {ImageFormat::Raw, "nef cr2 dng arw"},
                                        {ImageFormat::SunRaster, "ras sun"},
                                        {ImageFormat::Tiff, "tiff tif"}}) {
        std::istringstream words(names);
        for (std::string word; words >> word;) EXPECT_EQ(FormatOfName(word), format) << word;
    }
    EXPECT_EQ(FormatOfName("pngx"), ImageFormat::Unknown);
    EXPECT_EQ(FormatOfName(""), ImageFormat::Unknown);
    EXPECT_EQ(FormatOfPath("a.b/c.bmp"), ImageFormat::Bmp);
    EXPECT_EQ(FormatOfPath("a.png/c"), ImageFormat::Unknown);
    EXPECT_EQ(FormatOfPath("png"), ImageFormat::Unknown);
    EXPECT_STREQ(FormatName(ImageFormat::Jpeg), "jpeg");
    EXPECT_STREQ(FormatName(ImageFormat::Unknown), "unknown");
}

TEST(Flatten, MixesAndRounds) {
    const DibPtr image(DibCreate(24, 4, 1));
    const DibPtr mask(DibCreate(8, 4, 1));
    const std::uint8_t hidden[4] = {0, 255, 128, 1};
    std::memcpy(DibRow(mask.get(), 0), hidden, 4);
    std::memset(DibRow(image.get(), 0), 100, 12);
    Flatten(image.get(), mask.get(), 255, 0, 101);
    const Bytes want = {100, 100, 100, 101, 0, 255, 101, 50, 178, 100, 100, 101};
    EXPECT_EQ(Bytes(DibRow(image.get(), 0), DibRow(image.get(), 0) + 12), want);
    Flatten(image.get(), nullptr, 0, 0, 0);
    Flatten(image.get(), DibPtr(DibCreate(8, 4, 2)).get(), 0, 0, 0);
    EXPECT_EQ(Bytes(DibRow(image.get(), 0), DibRow(image.get(), 0) + 12), want);
}

}  // namespace
}  // namespace kestrel
