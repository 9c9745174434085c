// Formats of several frames or of more than eight bits, and which formats are read at all. Files that are only read
// are seeds of the fuzz targets: 16 x 12 pixels from (200, 40, 30) at the top to (20, 90, 220) at the bottom, the alpha
// from 255 to 0.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>

#include "kestrel/codec/ImageLoader.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

using samples::Bytes;

Bytes Seed(const std::string& name) {
    std::ifstream file(KESTREL_SEEDS "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(Frames, GradientInEveryFormat) {
    const struct {
        const char* name;
        ImageFormat format;
        bool alpha;
        int tolerance;
    } cases[] = {{"alpha.avif", ImageFormat::Avif, true, 12},   {"deep.avif", ImageFormat::Avif, false, 12},
                 {"alpha.heic", ImageFormat::Heic, true, 12},   {"deep.heic", ImageFormat::Heic, false, 3},
                 {"lossless.webp", ImageFormat::WebP, true, 0}, {"alpha.webp", ImageFormat::WebP, true, 16},
                 {"lossy.webp", ImageFormat::WebP, false, 16},  {"anim.webp", ImageFormat::WebP, true, 16},
                 {"alpha.jp2", ImageFormat::Jpeg2000, true, 0}, {"bare.j2k", ImageFormat::Jpeg2000, false, 0}};
    for (const auto& c : cases) {
        const Bytes bytes = Seed(c.name);
        const LoadResult result = ImageLoader::Load(bytes);
        ASSERT_TRUE(result) << c.name << ": " << result.error.text;
        EXPECT_EQ(result.format, c.format) << c.name;
        EXPECT_EQ(result.condition, Condition::Whole) << c.name;
        ASSERT_EQ(result.image->biWidth * 100 + result.image->biHeight, 1612) << c.name;
        for (int y = 0; y < 11; ++y) {  // in the last line nothing is seen, and some encoders drop its colours
            const std::uint8_t* pixel = samples::At(result.image.get(), 7, y);
            const double part = y / 11.0;
            EXPECT_NEAR(pixel[2], 200 - 180 * part, c.tolerance + 1) << c.name << ' ' << y;
            EXPECT_NEAR(pixel[1], 40 + 50 * part, c.tolerance + 1) << c.name << ' ' << y;
            EXPECT_NEAR(pixel[0], 30 + 190 * part, c.tolerance + 1) << c.name << ' ' << y;
            if (c.alpha && c.name != std::string("anim.webp")) {
                EXPECT_NEAR(samples::At(result.mask.get(), 7, y)[0], 255 * part, c.tolerance + 1) << c.name << ' ' << y;
            }
        }
        EXPECT_EQ(result.mask && MaskHidesAnything(result.mask.get()), c.alpha && c.name != std::string("anim.webp"))
            << c.name;
        const LoadResult size = ImageLoader::Load(bytes, {.sizeOnly = true});
        EXPECT_EQ(size.fullWidth * 100 + size.fullHeight, 1612) << c.name;
        EXPECT_FALSE(size.image || size.error) << c.name;
        EXPECT_EQ(ImageLoader::Load(bytes, {.pixelLimit = 191}).error.fault, CodecFault::PixelLimit) << c.name;
        const bool trusted = c.format == ImageFormat::WebP;
        EXPECT_EQ(ImageLoader::Load(bytes, {.trustedOnly = true}).error.fault,
                  trusted ? CodecFault::None : CodecFault::Untrusted)
            << c.name;
        for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + bytes.size() / 200) {
            const LoadResult part = ImageLoader::Load(std::span(bytes).first(cut));
            EXPECT_NE(bool(part.error), part.image != nullptr) << c.name << ' ' << cut;
            EXPECT_FALSE(part.error && part.error.text.empty()) << c.name << ' ' << cut;
        }
    }
}

/// A GIF file of 3 x 1 pixels: black, red, green, blue; each frame lies at a column and has the indices given. Every
/// index is a code of its own behind one that clears the table.
Bytes Gif(const std::vector<std::pair<int, std::vector<int>>>& frames) {
    Bytes bytes = {'G', 'I', 'F', '8', '9', 'a', 3, 0, 1, 0, 0x81, 0, 0, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255};
    for (const auto& [left, indices] : frames) {
        bytes.insert(bytes.end(), {0x2C, static_cast<std::uint8_t>(left), 0, 0, 0,
                                   static_cast<std::uint8_t>(indices.size()), 0, 1, 0, 0, 2});
        unsigned bits = 0;
        int count = 0;
        Bytes codes;
        const auto put = [&](int code) {
            bits |= static_cast<unsigned>(code) << count;
            for (count += 3; count >= 8; count -= 8, bits >>= 8) codes.push_back(static_cast<std::uint8_t>(bits));
        };
        for (const int index : indices) put(4), put(index);
        put(5);
        codes.push_back(static_cast<std::uint8_t>(bits));
        bytes.push_back(static_cast<std::uint8_t>(codes.size()));
        bytes.insert(bytes.end(), codes.begin(), codes.end());
        bytes.push_back(0);
    }
    bytes.push_back(0x3B);
    return bytes;
}

std::string Colors(const LoadResult& result) {
    std::string colors;
    for (int x = 0; result && x < result.image->biWidth; ++x) {
        const std::uint8_t* pixel = samples::At(result.image.get(), x, 0);
        colors += pixel[2] ? 'r' : pixel[1] ? 'g' : pixel[0] ? 'b' : '.';
    }
    return colors;
}

TEST(Frames, GifFramesAsTheyAreSeen) {
    const Bytes bytes = Gif({{0, {1, 2, 3}}, {1, {3}}, {2, {1}}});
    const char* const seen[] = {"rgb", "rbb", "rbr"};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Colors(ImageLoader::Load(bytes, {.page = i})), seen[i]) << i;
    EXPECT_EQ(ImageLoader::Load(bytes, {.page = 3}).error.fault, CodecFault::NoPage);
    const LoadResult size = ImageLoader::Load(bytes, {.sizeOnly = true});
    EXPECT_EQ(size.pages, 3);
    EXPECT_EQ(ImageLoader::Load(bytes, {.pixelLimit = 8, .page = 2}).error.fault, CodecFault::PixelLimit);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut)
        for (int page = 0; page < 3; ++page) ImageLoader::Load(std::span(bytes).first(cut), {.page = page});
}

TEST(Frames, WebPFramesAsTheyAreSeen) {
    const Bytes bytes = Seed("anim.webp");
    EXPECT_EQ(ImageLoader::Load(bytes, {.sizeOnly = true}).pages, 2);
    const LoadResult second = ImageLoader::Load(bytes, {.page = 1});
    ASSERT_TRUE(second) << second.error.text;
    EXPECT_NEAR(samples::At(second.image.get(), 7, 0)[2], 255 - 200, 12);
    EXPECT_EQ(ImageLoader::Load(bytes, {.page = 2}).error.fault, CodecFault::NoPage);
}

TEST(Frames, WebPKeepsWhatItIsAskedTo) {
    const DibPtr image = samples::Noise(24, 40, 30, 3), mask = samples::Noise(8, 40, 30, 4);
    ImageMetadata metadata;
    metadata.exif = samples::Exif(6, true, false);  // a picture that somebody else will have to turn
    const auto difference = [&](SaveOptions options, const Dib* alpha) {
        options.format = ImageFormat::WebP;
        options.metadata = &metadata;
        Bytes bytes;
        EXPECT_FALSE(ImageLoader::Save(bytes, image.get(), alpha, options));
        const LoadResult back = ImageLoader::Load(bytes);
        EXPECT_EQ(back.orientation, 6);
        EXPECT_EQ(back.metadata.exif, samples::Exif(1, true, false));
        EXPECT_EQ(back.image->biWidth, 30);
        EXPECT_EQ(back.mask != nullptr, alpha != nullptr);
        int largest = 0;  // of the picture turned to the right
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                for (int c = 0; c < 3; ++c)
                    largest = std::max(largest, std::abs(samples::At(image.get(), x, y)[c] -
                                                         samples::At(back.image.get(), 29 - y, x)[c]));
                if (alpha) {
                    EXPECT_EQ(samples::At(mask.get(), x, y)[0], samples::At(back.mask.get(), 29 - y, x)[0]);
                }
            }
        return largest;
    };
    EXPECT_EQ(difference({.lossless = true}, nullptr), 0);
    EXPECT_EQ(difference({.lossless = true}, mask.get()), 0);
    EXPECT_GT(difference({.jpegQuality = 20}, mask.get()), 0);
    Bytes bytes;
    EXPECT_EQ(ImageLoader::Save(bytes, samples::Gradient(16384, 1).get(), nullptr, {.format = ImageFormat::WebP}).fault,
              CodecFault::CannotHold);
}

TEST(Frames, Jpeg2000Reduces) {
    Bytes bytes;
    ASSERT_FALSE(
        ImageLoader::Save(bytes, samples::Gradient(200, 120).get(), nullptr, {.format = ImageFormat::Jpeg2000}));
    for (const auto& [width, height, part] : {std::tuple{101, 60, 1}, {100, 60, 2}, {25, 15, 8}, {1, 1, 8}}) {
        const LoadResult reduced = ImageLoader::Load(bytes, {.preferredWidth = width, .preferredHeight = height});
        ASSERT_TRUE(reduced) << reduced.error.text;
        EXPECT_EQ(reduced.image->biWidth, 200 / part);
        EXPECT_EQ(reduced.image->biHeight, 120 / part);
        EXPECT_EQ(reduced.fullWidth, 200);
        EXPECT_LE(samples::LargestDifference(reduced.image.get(), samples::Gradient(200 / part, 120 / part).get()), 10);
    }
}

}  // namespace
}  // namespace kestrel
