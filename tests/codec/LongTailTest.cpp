// TIFF, PSD, raw files and what GraphicsMagick reads. TIFF and DNG files are made byte by byte.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/PolyImagePro.h"
#include "tests/codec/Samples.h"
#include "tests/codec/TiffSamples.h"

namespace kestrel {
namespace {

using namespace samples::tiff;
using samples::Bytes;
using samples::Pixels;

TEST(TiffLoading, FormsOfPixels) {
    std::vector<std::uint32_t> wide(12), narrow(12);  // reds, greens, blues of a palette of four
    wide[1] = 65535, wide[5] = 0x8080, wide[9] = 0x0180;
    narrow[1] = 255, narrow[5] = 128, narrow[9] = 1;
    const auto with = [](auto tags, unsigned tag, std::vector<std::uint32_t> values) {
        tags[tag] = std::move(values);
        return tags;
    };
    const struct {
        const char* about;
        Tiff file;
        std::vector<int> pixels;
    } cases[] = {
        {"black is 0, 1 bit", {Tags(3, 1, 1, 1, 1), {{0xA0}}}, {255, 255, 255, 0, 0, 0, 255, 255, 255}},
        {"white is 0, 4 bits", {Tags(2, 1, 4, 0, 1), {{0x0A}}}, {255, 255, 255, 85, 85, 85}},
        {"grey, 16 bits", {Tags(2, 1, 16, 1, 1), {{0x80, 0x00, 0x81, 0x00}}}, {0, 0, 0, 1, 1, 1}},
        {"RGB", {Tags(1, 1, 8, 2, 3), {{1, 2, 3}}}, {3, 2, 1}},
        {"RGB, 16 bits", {Tags(1, 1, 16, 2, 3), {{0xFF, 0xFF, 0x81, 0x80, 0x7F, 0x80}}}, {128, 128, 255}},
        {"palette", {with(Tags(2, 1, 2, 3, 1), kColors, wide), {{0x40}}}, {1, 128, 255, 0, 0, 0}},
        {"palette of 8 bits", {with(Tags(2, 1, 2, 3, 1), kColors, narrow), {{0x40}}}, {1, 128, 255, 0, 0, 0}},
        {"ink", {Tags(1, 1, 8, 5, 4), {{55, 155, 205, 51}}}, {40, 80, 160}},
        {"alpha", {with(Tags(1, 1, 8, 2, 4), kExtra, {2}), {{1, 2, 3, 200}}}, {3, 2, 1, 55}},
        {"multiplied with alpha",
         {with(Tags(2, 1, 8, 2, 4), kExtra, {1}), {{50, 100, 20, 100, 0, 0, 0, 0}}},
         {51, 255, 128, 155, 0, 0, 0, 255}},
        {"a sample that means nothing", {with(Tags(1, 1, 8, 2, 4), kExtra, {0}), {{1, 2, 3, 200}}}, {3, 2, 1}},
        {"planes", {with(Tags(2, 1, 8, 2, 3), kPlanar, {2}), {{1, 2}, {3, 4}, {5, 6}}}, {5, 3, 1, 6, 4, 2}},
        {"strips", {with(Tags(1, 3, 8, 1, 1), kRows, {2}), {{1, 2}, {3}}}, {1, 1, 1, 2, 2, 2, 3, 3, 3}},
        {"turned", {with(Tags(2, 1, 8, 1, 1), kOrientation, {6}), {{1, 2}}}, {1, 1, 1, 2, 2, 2}},
    };
    for (const auto& c : cases) {
        const LoadResult result = ImageLoader::Load(Encode(c.file));
        EXPECT_EQ(result.format, ImageFormat::Tiff) << c.about;
        EXPECT_EQ(Pixels(result), c.pixels) << c.about << ' ' << result.error.text;
        EXPECT_EQ(result.condition, Condition::Whole) << c.about;
    }
    EXPECT_EQ(ImageLoader::Load(Encode(cases[13].file)).image->biHeight, 2);
    // Two by two tiles of 16 over 17 x 18 pixels, grey and as planes.
    for (const bool planes : {false, true}) {
        Tiff file{Tags(17, 18, 8, planes ? 2 : 1, planes ? 3 : 1), {}, true};
        file.tags.erase(kRows);
        file.tags[kTileWidth] = file.tags[kTileLength] = {16};
        file.tags[kPlanar] = {planes ? 2u : 1u};
        for (int plane = 0; plane < (planes ? 3 : 1); ++plane)
            for (int tile = 0; tile < 4; ++tile) {
                Bytes& block = file.blocks.emplace_back(256);
                for (int i = 0; i < 256; ++i)
                    block[static_cast<std::size_t>(i)] =
                        static_cast<std::uint8_t>((tile % 2 * 16 + i % 16) * 7 + (tile / 2 * 16 + i / 16) * 3 + plane);
            }
        const LoadResult result = ImageLoader::Load(Encode(file));
        ASSERT_TRUE(result) << result.error.text;
        for (int y = 0; y < 18; ++y)
            for (int x = 0; x < 17; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(samples::At(result.image.get(), x, y)[c], (x * 7 + y * 3 + (planes ? 2 - c : 0)) % 256);
    }
}

TEST(TiffLoading, PagesByNumber) {
    const auto page = [](std::uint32_t width, std::uint8_t gray) {
        return Tiff{Tags(width, 1, 8, 1, 1), {Bytes(width, gray)}};
    };
    const Bytes bytes = Encode(std::vector{page(1, 10), page(2, 20), page(3, 30)});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Pixels(ImageLoader::Load(bytes, {.page = i})),
                  std::vector(static_cast<std::size_t>(3 * (i + 1)), 10 * (i + 1)));
    EXPECT_EQ(ImageLoader::Load(bytes, {.sizeOnly = true}).pages, 3);
    for (const int none : {-1, 3, 65536})
        EXPECT_EQ(ImageLoader::Load(bytes, {.page = none}).error.fault, CodecFault::NoPage);
    EXPECT_EQ(ImageLoader::Load(bytes, {.page = 3}).error.text, "there is no page 3: the file has pages 0 to 2");
    Bytes png;
    ASSERT_FALSE(ImageLoader::Save(png, samples::Gradient(2, 2).get(), nullptr, {.format = ImageFormat::Png}));
    EXPECT_EQ(ImageLoader::Load(png, {.page = 1}).error.fault, CodecFault::NoPage);
}

TEST(TiffLoading, HostileFiles) {
    Tiff file{Tags(4, 4, 8, 2, 3), {Bytes(48, 9)}};
    file.tags[kRows] = {1};
    file.blocks.assign(4, Bytes(12, 9));
    const Bytes whole = Encode(file);
    for (std::size_t size = 0; size < whole.size(); ++size) ImageLoader::Load(std::span(whole).first(size));
    std::mt19937 random(5);
    for (int i = 0; i < 3000; ++i) {
        Bytes broken = whole;
        for (int k = 0; k < 3; ++k) broken[random() % broken.size()] = static_cast<std::uint8_t>(random());
        const LoadResult result = ImageLoader::Load(broken, {.pixelLimit = 100000});
        EXPECT_NE(bool(result.error), result.image != nullptr);
    }
    file.tags[339] = {3, 3, 3};  // floating point
    EXPECT_EQ(ImageLoader::Load(Encode(file)).error.fault, CodecFault::NotSupported);
}

TEST(LongTail, RoundTrips) {
    const DibPtr image = samples::Noise(24, 21, 9, 1);
    for (int x = 3; x < 15; ++x) std::memcpy(DibRow(image.get(), 4) + 3 * x, DibRow(image.get(), 4), 3);  // a run
    const DibPtr mask = samples::Noise(8, 21, 9, 2);
    ImageMetadata metadata;
    metadata.profile = samples::Profile(300, "RGB ");
    metadata.xmp = {'<', 'x', '>'};
    metadata.exif = samples::Exif(1, false, false);
    metadata.density = {Density::Unit::PerInch, 300, 150};
    for (const FormatInfo& format : KnownFormats()) {
        if (!format.writes || format.format == ImageFormat::Jpeg || format.format == ImageFormat::PhotoCd) continue;
        Bytes bytes;
        const SaveOptions save{.format = format.format, .lossless = true, .metadata = &metadata};
        const CodecError error = ImageLoader::Save(bytes, image.get(), format.holdsAlpha ? mask.get() : nullptr, save);
        ASSERT_FALSE(error) << format.name << ": " << error.text;
        EXPECT_EQ(FormatOfContent(bytes), format.format) << format.name;
        const LoadResult back = ImageLoader::Load(bytes);
        ASSERT_TRUE(back) << format.name << ": " << back.error.text;
        EXPECT_EQ(back.condition, Condition::Whole) << format.name;
        EXPECT_TRUE(samples::SamePixels(back.image.get(), image.get())) << format.name;
        EXPECT_EQ(back.mask && samples::SamePixels(back.mask.get(), mask.get()), format.holdsAlpha) << format.name;
        const bool some = !BlocksLeftOut(metadata, format.format).empty();
        EXPECT_EQ(back.metadata.profile, some ? Bytes() : metadata.profile) << format.name;
        EXPECT_EQ(back.metadata.xmp, some ? Bytes() : metadata.xmp) << format.name;
        if (format.format == ImageFormat::Tiff || format.format == ImageFormat::Psd ||
            format.format == ImageFormat::Jpeg2000) {
            EXPECT_EQ(back.metadata.density.x, 300) << format.name;
            EXPECT_EQ(back.metadata.density.y, 150) << format.name;
        }
        const LoadResult size = ImageLoader::Load(bytes, {.sizeOnly = true});
        EXPECT_FALSE(size.image || size.error) << format.name;
        EXPECT_EQ(size.fullWidth, 21) << format.name;
        EXPECT_EQ(size.fullHeight, 9) << format.name;
        EXPECT_EQ(ImageLoader::Load(bytes, {.pixelLimit = 188}).error.fault, CodecFault::PixelLimit) << format.name;
        for (std::size_t cut = 0; cut < bytes.size(); cut += 7) {
            const LoadResult part = ImageLoader::Load(std::span(bytes).first(cut));
            EXPECT_NE(bool(part.error), part.image != nullptr) << format.name << ' ' << cut;
        }
    }
    Bytes photo;
    ASSERT_FALSE(
        ImageLoader::Save(photo, samples::Gradient(768, 512).get(), nullptr, {.format = ImageFormat::PhotoCd}));
    const LoadResult back = ImageLoader::Load(photo);
    ASSERT_TRUE(back) << back.error.text;
    EXPECT_EQ(back.format, ImageFormat::PhotoCd);
    ASSERT_EQ(back.image->biWidth * 1000 + back.image->biHeight, 768512);
    EXPECT_LT(samples::LargestDifference(back.image.get(), samples::Gradient(768, 512).get()), 30);
}

/// A raw file of a camera that nobody built: a 2 x 2 pattern of red, green, green, blue in 16 bits, all of one level.
Bytes Dng(std::uint32_t width, std::uint32_t height, int level) {
    Tiff file{Tags(width, height, 16, 32803, 1), {}};
    Bytes& pixels = file.blocks.emplace_back();
    for (std::uint32_t i = 0; i < width * height; ++i)
        pixels.push_back(static_cast<std::uint8_t>(level)), pixels.push_back(static_cast<std::uint8_t>(level >> 8));
    file.tags[254] = {0};
    file.tags[33421] = {2, 2};
    file.tags[33422] = {0, 1, 1, 2};
    file.tags[50706] = {1, 1, 0, 0};
    file.tags[50717] = {65535};
    return Encode(file);
}

TEST(RawLoading, DevelopsAndHalves) {
    const Bytes bytes = Dng(64, 48, 30000);
    const LoadResult result = ImageLoader::Load(bytes);
    ASSERT_TRUE(result) << result.error.text;
    EXPECT_EQ(result.format, ImageFormat::Raw);
    EXPECT_EQ(result.image->biWidth, 64);
    EXPECT_EQ(result.image->biHeight, 48);
    LoadOptions half{.preferredWidth = 32, .preferredHeight = 24};
    const LoadResult smaller = ImageLoader::Load(bytes, half);
    ASSERT_TRUE(smaller) << smaller.error.text;
    EXPECT_EQ(smaller.image->biWidth, 32);
    EXPECT_EQ(smaller.fullWidth, 64);
    LoadOptions dark;
    dark.raw = {.automaticBrightness = false, .brightness = 0.25, .multipliers = {1, 1, 1, 1}};
    LoadOptions bright = dark;
    bright.raw.brightness = 1;
    EXPECT_LT(samples::At(ImageLoader::Load(bytes, dark).image.get(), 30, 20)[1],
              samples::At(ImageLoader::Load(bytes, bright).image.get(), 30, 20)[1]);
    EXPECT_FALSE(ImageLoader::Load(std::span(bytes).first(200)));
}

TEST(Loader, ObjectForABox) {
    const DibPtr image = samples::Gradient(200, 120);
    const DibPtr mask = samples::Noise(8, 200, 120, 4);
    ImageLoader writer(true);
    writer.SetImage(image.get());
    writer.SetMask(mask.get());
    const Bytes exif = samples::Exif(1, false, false);
    writer.PutExifData(exif.data(), exif.size());
    writer.SetJpgQuality(95);
    Bytes jpeg, png;
    ASSERT_TRUE(writer.Save(jpeg, 1)) << writer.Error().text;
    ASSERT_TRUE(writer.Save(png, 10)) << writer.Error().text;
    EXPECT_FALSE(writer.Save(png, 99));
    EXPECT_EQ(writer.HadError(), 1);
    EXPECT_EQ(ImageLoader::GetType(jpeg.data(), 3), 1);
    EXPECT_EQ(ImageLoader::GetType(png.data(), 16), 10);

    Dib* kept;
    {
        ImageLoader reader(png, false);
        EXPECT_EQ(reader.HadError(), 0);
        EXPECT_EQ(reader.GetType(), 10);
        EXPECT_TRUE(samples::SamePixels(reader.MaskDIB(), mask.get()));
        EXPECT_EQ(reader.Metadata().exif, exif);
        kept = reader.ImageDIB();
        DibFree(reader.MaskDIB());
        reader.KeepDibMemory();
    }
    EXPECT_TRUE(samples::SamePixels(kept, image.get()));
    DibFree(kept);

    for (const auto& [width, height, part] :
         {std::tuple{101, 60, 1}, {100, 60, 2}, {40, 30, 4}, {26, 15, 4}, {25, 15, 8}, {1, 1, 8}}) {
        ImageLoader reduced(jpeg, true);
        reduced.PreferedLoadingSize(width, height);
        EXPECT_EQ(reduced.ImageDIB()->biWidth, 200 / part) << "no side falls below what is asked for";
        EXPECT_EQ(reduced.ImageDIB()->biHeight, 120 / part);
        EXPECT_EQ(reduced.Width(), 200);
    }
    ImageLoader whole(jpeg, false);
    whole.PreferedLoadingSize(40, 30);
    EXPECT_EQ(whole.ImageDIB()->biWidth, 200);
    EXPECT_EQ(ImageLoader("/no/such.jpg", 0, true, false).HadError(), 1);
    EXPECT_TRUE(ImageLoader::IsImage("a.NEF"));
    EXPECT_FALSE(ImageLoader::IsImage("a.txt"));
}

TEST(Loader, SecondLoader) {
    const std::string path = testing::TempDir() + "second_" + std::to_string(getpid());
    const DibPtr mask = samples::Noise(8, 200, 120, 4);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        const bool alpha = format == ImageFormat::Png;
        ASSERT_FALSE(ImageLoader::Save(path, samples::Gradient(200, 120).get(), alpha ? mask.get() : nullptr,
                                       {.format = format}));
        PolyImagePro::Session* session = PolyImagePro::_cNewSession();
        Bytes dib, array;
        EXPECT_FALSE(PolyImagePro::_cGetDIB(session, &dib, 0));
        EXPECT_FALSE(PolyImagePro::_cLoadImage(session, "/no/such", 0, 0, 0));
        ASSERT_TRUE(PolyImagePro::_cLoadImage(session, path.c_str(), 0, 0, 0));
        int width = 0, height = 0, code = -1;
        ASSERT_TRUE(PolyImagePro::_cGetImageInfo(session, &width, &height, nullptr, nullptr, nullptr, nullptr, &code,
                                                 nullptr, nullptr));
        EXPECT_EQ(width * 1000 + height, 200120);
        EXPECT_EQ(code, alpha ? 0x0B : 0x04);
        ASSERT_TRUE(PolyImagePro::_cOpResizeEx(session, 80, 80, 6, 1));
        ASSERT_TRUE(PolyImagePro::_cGetDIB(session, &dib, 0));
        const Dib* image = reinterpret_cast<const Dib*>(dib.data());
        EXPECT_EQ(image->biWidth * 1000 + image->biHeight, 80048);
        EXPECT_EQ(dib.size(), 40u + 240 * 48);
        EXPECT_LE(samples::LargestDifference(image, samples::Gradient(80, 48).get()), 8);
        EXPECT_EQ(PolyImagePro::_cGetAlphaMask(session, &array), alpha);
        EXPECT_EQ(array.size(), alpha ? 80u * 48 : 0u);
        PolyImagePro::_cDestroySession(session);
    }
    std::filesystem::remove(path);
}

}  // namespace
}  // namespace kestrel
