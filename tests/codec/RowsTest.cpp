// Files read and written row by row, against the same files as wholes.
#include <gtest/gtest.h>

#include <memory>

#include "kestrel/codec/RowDecoder.h"
#include "kestrel/codec/RowEncoder.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {
using samples::Bytes;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

File Open(Bytes& bytes) { return File(fmemopen(bytes.data(), bytes.size(), "rb")); }

/// Reads all rows into blocks that began with other bytes.
LoadResult ByRows(RowDecoder& decoder) {
    LoadResult read;
    read.image = samples::Noise(24, decoder.Width(), decoder.Height(), 9);
    if (decoder.HasAlpha()) read.mask = samples::Noise(8, decoder.Width(), decoder.Height(), 9);
    bool any = true;
    for (int y = decoder.Height() - 1; y >= 0 && any; --y)
        any = decoder.Read(DibRow(read.image.get(), y), read.mask ? DibRow(read.mask.get(), y) : nullptr);
    const LoadResult& about = decoder.Finish();
    read.condition = about.condition;
    read.warnings = about.warnings;
    read.error = about.error;
    if (!any) read.image.reset();
    return read;
}

void ExpectTheWhole(Bytes bytes, bool byRows) {
    const LoadResult whole = ImageLoader::Load(bytes);
    const File file = Open(bytes);
    RowDecoder decoder(file.get());
    EXPECT_EQ(decoder.ReadsRows(), byRows);
    if (decoder.ReadsRows())
        for (const bool again : {false, true}) {
            ASSERT_TRUE(!again || decoder.Restart());
            const LoadResult read = ByRows(decoder);
            EXPECT_EQ(read.error.text, whole.error.text);
            EXPECT_EQ(read.condition, whole.condition);
            EXPECT_EQ(read.warnings, whole.warnings);
            EXPECT_EQ(decoder.About().orientation, whole.orientation);
            EXPECT_EQ(decoder.About().metadata.exif, whole.metadata.exif);
            ASSERT_EQ(read.image != nullptr, whole.image != nullptr);
            if (!read.image) continue;
            EXPECT_TRUE(samples::SamePixels(read.image.get(), whole.image.get()));
            EXPECT_EQ(read.mask != nullptr, whole.mask != nullptr);
            EXPECT_TRUE(!read.mask || samples::SamePixels(read.mask.get(), whole.mask.get()));
        }
    const LoadResult loaded = decoder.LoadWhole();
    EXPECT_EQ(loaded.error.text, whole.error.text);
    EXPECT_TRUE(!whole.image || samples::SamePixels(loaded.image.get(), whole.image.get()));
}

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

TEST(RowDecoder, ReadsAsMuchOfADamagedFile) {
    const Bytes whole[] = {MakeJpeg(1), MakeJpeg(2, true), MakePng(1, true), MakePng(2, false)};
    for (const Bytes& bytes : whole)
        for (std::size_t part = 3; part < 40; ++part) {
            Bytes cut = bytes;
            cut.resize(bytes.size() * part / 40);
            SCOPED_TRACE(cut.size());
            const File file = Open(cut);
            ExpectTheWhole(cut, RowDecoder(file.get()).ReadsRows());
            Bytes turned = bytes;
            turned[bytes.size() * part / 40] ^= 0x10;
            const File other = Open(turned);
            ExpectTheWhole(turned, RowDecoder(other.get()).ReadsRows());
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
    EXPECT_TRUE(RowEncoder::Writes(ImageFormat::Jpeg) && RowEncoder::Writes(ImageFormat::Png));
}

TEST(RowEncoder, TellsOfAFullDisk) {
    const DibPtr image = samples::Noise(24, 900, 300, 1);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        const File full(std::fopen("/dev/full", "wb"));
        RowEncoder encoder(full.get(), 900, 300, false, {.format = format});
        for (int y = 299; y >= 0 && encoder.Write(DibRow(image.get(), y), nullptr);) --y;
        EXPECT_NE(encoder.Finish().text.find("No space left"), std::string::npos) << FormatName(format);
    }
}

}  // namespace
}  // namespace kestrel
