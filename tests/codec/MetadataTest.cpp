#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ImageLoader.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

using samples::Bytes;

/// The picture saved with the metadata and loaded again.
LoadResult Through(ImageFormat format, const ImageMetadata& metadata) {
    Bytes bytes;
    EXPECT_FALSE(
        ImageLoader::Save(bytes, samples::Gradient(5, 4).get(), nullptr, {.format = format, .metadata = &metadata}));
    return ImageLoader::Load(bytes);
}

TEST(Metadata, BlocksTravelAsTheyAre) {
    ImageMetadata all;
    all.exif = samples::Exif(1, true, false);
    all.exif.insert(all.exif.end(), {1, 2, 3});
    all.profile = samples::Profile(150'000, "RGB ");  // three markers of a JPEG file
    all.xmp = {'<', 'x', '>', 0xC3, 0xA4};
    all.iptc = {0x1C, 2, 5, 0, 1, 'T', 9};
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        const LoadResult back = Through(format, all);
        EXPECT_EQ(back.condition, Condition::Whole);
        EXPECT_TRUE(back.warnings.empty());
        EXPECT_EQ(back.metadata.exif, all.exif);
        EXPECT_EQ(back.metadata.profile, all.profile);
        EXPECT_EQ(back.metadata.xmp, all.xmp);
        EXPECT_EQ(back.metadata.iptc, all.iptc);
    }
    Bytes file;
    ASSERT_FALSE(ImageLoader::Save(file, samples::Gradient(5, 4).get(), nullptr,
                                   {.format = ImageFormat::Jpeg, .metadata = &all}));
    const auto iptc = std::search(file.begin(), file.end(), all.iptc.begin(), all.iptc.end());
    ASSERT_NE(iptc, file.end());
    EXPECT_EQ(iptc[7], 0) << "a resource of odd size is padded";
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::Jpeg), "");
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::Png), "");
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::WebP), "IPTC data");
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::Bmp), "EXIF data, colour profile, IPTC data, XMP data");
    all.exif.resize(65528);
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::Jpeg), "EXIF data");
    EXPECT_TRUE(Through(ImageFormat::Jpeg, all).metadata.exif.empty());
    all.exif.pop_back();
    EXPECT_EQ(BlocksLeftOut(all, ImageFormat::Jpeg), "");
    EXPECT_EQ(Through(ImageFormat::Jpeg, all).metadata.exif, all.exif);
}

TEST(Metadata, DensityKeepsItsValueInEachFormat) {
    using Unit = Density::Unit;
    const struct {
        Density in, jpeg, png;
    } cases[] = {
        {{Unit::PerInch, 300, 72}, {Unit::PerInch, 300, 72}, {Unit::PerMeter, 11811, 2835}},
        {{Unit::PerMeter, 11811, 2835}, {Unit::PerInch, 300, 72}, {Unit::PerMeter, 11811, 2835}},
        {{Unit::PerMeter, 11800, 100}, {Unit::PerCentimeter, 118, 1}, {Unit::PerMeter, 11800, 100}},
        {{Unit::PerCentimeter, 118, 50}, {Unit::PerCentimeter, 118, 50}, {Unit::PerMeter, 11800, 5000}},
        {{Unit::AspectOnly, 3, 2}, {Unit::AspectOnly, 3, 2}, {Unit::AspectOnly, 3, 2}},
        {{Unit::PerInch, 70000, 70000}, {Unit::None, 0, 0}, {Unit::PerMeter, 2755906, 2755906}},
        {{}, {}, {}},
    };
    const auto expect = [](const Density& is, const Density& want) {
        EXPECT_EQ(is.unit, want.unit);
        EXPECT_EQ(is.x, want.x);
        EXPECT_EQ(is.y, want.y);
    };
    for (const auto& c : cases) {
        ImageMetadata metadata;
        metadata.density = c.in;
        expect(Through(ImageFormat::Jpeg, metadata).metadata.density, c.jpeg);
        expect(Through(ImageFormat::Png, metadata).metadata.density, c.png);
        if (c.png.unit != Unit::AspectOnly) expect(Through(ImageFormat::Bmp, metadata).metadata.density, c.png);
    }
}

TEST(Metadata, OnlyTheOrientationOfExifDataChanges) {
    for (const bool bigEndian : {false, true}) {
        samples::Jpeg file{.width = 8, .height = 16};
        file.pixel = [](int, int, JSAMPLE* p) { p[0] = p[1] = p[2] = 7; };
        file.exif = samples::Exif(6, bigEndian, true);
        const LoadResult result = ImageLoader::Load(samples::Encode(file));
        EXPECT_EQ(result.image->biWidth, 16);
        EXPECT_EQ(result.metadata.exif, samples::Exif(1, bigEndian, false));
        const Bytes upright = samples::Exif(1, bigEndian, true);
        Bytes twice = samples::Encode(file);
        twice.insert(twice.begin() + 2, upright.begin(), upright.end());
        twice.insert(twice.begin() + 2, {0xFF, 0xE1, 0, static_cast<std::uint8_t>(upright.size() + 2)});
        EXPECT_EQ(ImageLoader::Load(twice).image->biWidth, 8) << "the first of two counts";
        for (std::size_t size = 0; size < file.exif.size(); ++size) {
            Bytes cut(file.exif.begin(), file.exif.begin() + static_cast<std::ptrdiff_t>(size));
            const int before = ExifOrientation(cut);
            Bytes reset = cut;
            ResetExifOrientation(reset);
            EXPECT_EQ(ExifOrientation(reset), 1);
            EXPECT_EQ(reset == cut, before == 1) << size;
        }
    }
}

TEST(Metadata, ProfilesOfOtherColoursStayBehind) {
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        for (Bytes profile : {samples::Profile(200, "GRAY"), samples::Profile(127, "RGB ")}) {
            ImageMetadata metadata;
            metadata.profile = profile;
            const LoadResult back = Through(format, metadata);
            EXPECT_TRUE(back.metadata.profile.empty());
            EXPECT_EQ(back.condition, Condition::Whole);
            ASSERT_EQ(back.warnings.size(), 1u);
            EXPECT_NE(back.warnings[0].find("profile"), std::string::npos);
        }
    }
}

// Bounds -------------------------------------------------------------------------------------------------------------

TEST(Limits, ClaimsThatTheFileCannotBear) {
    const DibPtr image = samples::Gradient(16, 16);
    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) {
        Bytes bytes;
        ASSERT_FALSE(ImageLoader::Save(bytes, image.get(), nullptr, {.format = format}));
        if (format == ImageFormat::Png) {
            bytes[18] = bytes[22] = 0x1F, bytes[19] = bytes[23] = 0x41;  // 8001 x 8001; the checksum comes later
            const auto sum = crc32(0, bytes.data() + 12, 17);
            for (std::size_t i = 0; i < 4; ++i) bytes[29 + i] = static_cast<std::uint8_t>(sum >> 8 * (3 - i));
        } else {
            const std::uint8_t frame[] = {0xFF, 0xC0};
            const auto at = std::search(bytes.begin(), bytes.end(), frame, frame + 2);
            at[5] = at[7] = 0x1F, at[6] = at[8] = 0x41;
        }
        const LoadResult refused = ImageLoader::Load(bytes);
        EXPECT_EQ(refused.error.fault, CodecFault::ExpansionLimit) << refused.error.text;
        EXPECT_EQ(ImageLoader::Load(bytes, {.pixelLimit = 8001 * 8001 - 1}).error.fault, CodecFault::PixelLimit);
        const LoadResult raised = ImageLoader::Load(bytes, {.expansionLimit = 1'000'000});
        EXPECT_EQ(raised.condition, format == ImageFormat::Jpeg ? Condition::Damaged : Condition::Nothing);
        EXPECT_NE(raised.error.fault, CodecFault::ExpansionLimit);
    }
}

TEST(Limits, Scans) {
    samples::Jpeg file{.width = 24, .height = 20, .progressive = true};
    file.pixel = [](int x, int y, JSAMPLE* p) { p[0] = p[1] = p[2] = static_cast<JSAMPLE>(x * y); };
    const Bytes bytes = samples::Encode(file);
    EXPECT_EQ(ImageLoader::Load(bytes, {.scanLimit = 9}).error.fault, CodecFault::ScanLimit);
    EXPECT_EQ(ImageLoader::Load(bytes, {.scanLimit = 10}).condition, Condition::Whole);
}

TEST(Limits, StreamsWithoutAnEnd) {
    EXPECT_EQ(ImageLoader::Load("/dev/zero").error.fault, CodecFault::UnknownFormat);
    Bytes bytes;
    ASSERT_FALSE(ImageLoader::Save(bytes, samples::Gradient(9, 9).get(), nullptr, {.format = ImageFormat::Png}));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), std::ssize(bytes));
    close(ends[1]);
    const LoadResult cut = ImageLoader::Load("/dev/fd/" + std::to_string(ends[0]), {.inputLimit = bytes.size() - 1});
    EXPECT_EQ(cut.error.fault, CodecFault::InputLimit) << cut.error.text;
    close(ends[0]);
}

}  // namespace
}  // namespace kestrel
