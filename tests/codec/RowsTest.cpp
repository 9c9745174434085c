// Files read and written row by row, against the same files as wholes.
#include <gtest/gtest.h>

#include "kestrel/codec/RowEncoder.h"
#include "tests/codec/Rows.h"
#include "tests/codec/TiffSamples.h"

namespace kestrel {
namespace {
using samples::Bytes;
using samples::ExpectTheWhole;
using samples::File;

void SmoothPixel(int x, int y, JSAMPLE* pixel) {
    for (int c = 0; c < 4; ++c) pixel[c] = static_cast<JSAMPLE>(2 * x + c * y);
}

Bytes MakeJpeg(int orientation, bool progressive = false, bool ink = false) {
    samples::Jpeg file{.width = 43, .height = 29, .progressive = progressive, .pixel = nullptr};
    file.exif = samples::Exif(orientation, false, true);
    if (ink) file.components = 4, file.input = file.stored = JCS_CMYK;
    file.pixel = [ink](int x, int y, JSAMPLE* pixel) {
        JSAMPLE all[4];
        SmoothPixel(x, y, all);
        std::copy_n(all, ink ? 4 : 3, pixel);
    };
    return Encode(file);
}

Bytes MakePng(int orientation, bool alpha, bool interlaced = false) {
    samples::Png file{.width = 31, .height = 17, .colorType = alpha ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB};
    const DibPtr noise = samples::Noise(alpha ? 32 : 24, 31, 17, 3);
    for (int y = 0; y < 17; ++y)
        file.lines.emplace_back(DibRow(noise.get(), y), DibRow(noise.get(), y) + 31 * (alpha ? 4 : 3));
    file.interlaced = interlaced;
    file.exif = samples::Exif(orientation, false, false);
    return Encode(file);
}

TEST(RowDecoder, ReadsTheRowsOfTheWhole) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        ExpectTheWhole(MakeJpeg(orientation), orientation <= 2);
        ExpectTheWhole(MakePng(orientation, true), orientation <= 2);
    }
    ExpectTheWhole(MakeJpeg(1, true), true);
    ExpectTheWhole(MakeJpeg(2, false, true), true);
    ExpectTheWhole(MakePng(1, false), true);
    ExpectTheWhole(MakePng(1, true, true), false);
    ExpectTheWhole({'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'}, false);
}

samples::tiff::Tagged TiffForm(std::uint32_t bits, std::uint32_t photometric, std::uint32_t samples) {
    using namespace samples::tiff;
    Tagged tags = Tags(45, 37, bits, photometric, samples);
    if (samples > 1) tags[kExtra].assign(samples - (photometric == 5 ? 4 : 3), 2);
    if (photometric == 5 || tags[kExtra].empty()) tags.erase(kExtra);
    if (photometric == 3)
        for (std::uint32_t i = 0; i < 3u << bits; ++i) tags[kColors].push_back(i * 12289 % 65536);
    return tags;
}

constexpr samples::tiff::Layout kTiffLayouts[] = {{0, 37, false, false}, {0, 7, false, false},  {0, 7, false, true},
                                                  {0, 37, false, true},  {0, 7, true, false},   {0, 37, true, true},
                                                  {16, 16, false, true}, {32, 16, true, false}, {64, 48, false, false}};

TEST(RowDecoder, ReadsEveryLayoutOfTiff) {
    using namespace samples::tiff;
    const struct {
        std::uint32_t bits, photometric, samples;
    } forms[] = {{1, 0, 1},  {4, 1, 1}, {8, 1, 1},  {16, 1, 1}, {2, 3, 1},  {8, 3, 1}, {8, 2, 3},
                 {16, 2, 3}, {8, 2, 4}, {16, 2, 4}, {8, 5, 4},  {16, 5, 4}, {8, 6, 3}};
    for (const auto& [bits, photometric, samples] : forms) {
        Tagged tags = TiffForm(bits, photometric, samples);
        if (photometric == 6) tags[530] = {1, 1};  // no subsampling; converted by the library
        const LoadResult plain = ImageLoader::Load(Encode(Lay(tags, kTiffLayouts[0])));
        ASSERT_TRUE(plain) << plain.error.text;
        EXPECT_EQ(plain.mask != nullptr, photometric == 2 && samples == 4);
        for (const Layout& layout : kTiffLayouts) {
            if (photometric == 6 && layout.planes && layout.width > 0) continue;  // which the library refuses
            SCOPED_TRACE(::testing::Message()
                         << bits << " bits, " << photometric << ", " << layout.width << " x " << layout.height
                         << (layout.planes ? " planes" : "") << (layout.packed ? " packed" : ""));
            const Bytes bytes = Encode(Lay(tags, layout));
            const LoadResult whole = ImageLoader::Load(bytes);
            EXPECT_EQ(whole.condition, Condition::Whole);
            ASSERT_TRUE(samples::SamePixels(whole.image.get(), plain.image.get()));
            EXPECT_TRUE(!plain.mask || samples::SamePixels(whole.mask.get(), plain.mask.get()));
            ExpectTheWhole(bytes, true);
        }
    }
    for (std::uint32_t orientation = 1; orientation <= 8; ++orientation)
        for (const std::uint32_t photometric : {2u, 6u}) {
            Tagged tags = TiffForm(8, photometric, 3);
            if (photometric == 6) tags[530] = {1, 1};
            const LoadResult upright = ImageLoader::Load(Encode(Lay(tags, kTiffLayouts[1])));
            tags[kOrientation] = {orientation};
            const Bytes bytes = Encode(Lay(tags, kTiffLayouts[1]));
            ExpectTheWhole(bytes, orientation <= 2);
            // The first pixel of the file, from the top left corner.
            const int x = orientation == 2 || orientation == 3 ? 44 : orientation == 6 || orientation == 7 ? 36 : 0;
            const int y = orientation == 3 || orientation == 4 ? 36 : orientation == 7 || orientation == 8 ? 44 : 0;
            EXPECT_EQ(std::memcmp(samples::At(ImageLoader::Load(bytes).image.get(), x, y),
                                  samples::At(upright.image.get(), 0, 0), 3),
                      0)
                << orientation;
        }
    const Bytes pages =
        Encode(std::vector{Lay(TiffForm(8, 1, 1), kTiffLayouts[1]), Lay(TiffForm(8, 2, 4), kTiffLayouts[6])});
    for (const int page : {0, 1, 2}) ExpectTheWhole(pages, page < 2, {.page = page});
    EXPECT_TRUE(ImageLoader::Load(pages, {.page = 1}).hasAlpha);
}

TEST(RowDecoder, ReadsAsMuchOfADamagedFile) {
    using namespace samples::tiff;
    std::vector<Bytes> whole = {MakeJpeg(1), MakeJpeg(2, true), MakePng(1, true), MakePng(2, false)};
    for (const ImageFormat format : {ImageFormat::Bmp, ImageFormat::Psd}) {
        const DibPtr image = samples::Noise(24, 31, 17, 3), mask = samples::Noise(8, 31, 17, 4);
        ASSERT_FALSE(ImageLoader::Save(whole.emplace_back(), image.get(),
                                       FormatHoldsAlpha(format) ? mask.get() : nullptr, {.format = format}));
    }
    for (const Layout& layout : kTiffLayouts) {
        Tiff file = Lay(TiffForm(8, 2, 4), layout);
        whole.push_back(Encode(file));
        if (file.blocks.size() < 6) continue;
        file.blocks.resize(file.blocks.size() - 1);
        whole.push_back(Encode(file));
        EXPECT_EQ(ImageLoader::Load(whole.back()).condition, Condition::Damaged);
    }
    for (const Bytes& bytes : whole)
        for (std::size_t part = 3; part < 40; ++part) {
            Bytes cut = bytes;
            cut.resize(bytes.size() * part / 40);
            SCOPED_TRACE(cut.size());
            ExpectTheWhole(cut);
            Bytes turned = bytes;
            turned[bytes.size() * part / 40] ^= 0x10;
            ExpectTheWhole(turned);
        }
}

TEST(RowEncoder, WritesTheBytesOfTheWhole) {
    ImageMetadata metadata;
    metadata.exif = samples::Exif(1, true, false);
    metadata.xmp = {'<', 'x', '/', '>'};
    metadata.density = {Density::Unit::PerInch, 300, 300};
    const DibPtr image = samples::Noise(24, 37, 41, 1), mask = samples::Noise(8, 37, 41, 2);
    for (const ImageFormat format : WritableFormats()) {
        if (!RowEncoder::Writes(format)) continue;
        for (const bool alpha : {false, true}) {
            if (alpha && !FormatHoldsAlpha(format)) continue;
            SCOPED_TRACE(std::string(FormatName(format)) + (alpha ? " with alpha" : ""));
            const SaveOptions options{.format = format, .metadata = &metadata};
            Bytes whole;
            ASSERT_FALSE(ImageLoader::Save(whole, image.get(), alpha ? mask.get() : nullptr, options));
            const File file(std::tmpfile());
            RowEncoder encoder(file.get(), 37, 41, alpha, options);
            for (int y = 40; y >= 0; --y) ASSERT_TRUE(encoder.Write(DibRow(image.get(), y), DibRow(mask.get(), y)));
            ASSERT_FALSE(encoder.Finish());
            Bytes written(static_cast<std::size_t>(std::ftell(file.get())));
            std::rewind(file.get());
            ASSERT_EQ(std::fread(written.data(), 1, written.size(), file.get()), written.size());
            EXPECT_TRUE(written == whole);
        }
    }
    for (const ImageFormat format : {ImageFormat::Bmp, ImageFormat::Jpeg, ImageFormat::Png, ImageFormat::Tiff})
        EXPECT_TRUE(RowEncoder::Writes(format));
}

TEST(RowEncoder, TellsOfAFullDisk) {
    const DibPtr image = samples::Noise(24, 900, 300, 1);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png, ImageFormat::Tiff}) {
        const File full(std::fopen("/dev/full", "wb"));
        RowEncoder encoder(full.get(), 900, 300, false, {.format = format});
        for (int y = 299; y >= 0 && encoder.Write(DibRow(image.get(), y), nullptr);) --y;
        EXPECT_NE(encoder.Finish().text.find("No space left"), std::string::npos) << FormatName(format);
    }
}

}  // namespace
}  // namespace kestrel
