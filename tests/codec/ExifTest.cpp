#include <gtest/gtest.h>

#include <vector>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/ScanlineOrienter.h"
#include "tests/codec/Samples.h"

namespace kestrel {
namespace {

using samples::Bytes;
using Picture = std::vector<std::vector<int>>;  // lines from the top

Picture Transposed(const Picture& p) {
    Picture result(p[0].size(), std::vector<int>(p.size()));
    for (std::size_t y = 0; y < p.size(); ++y)
        for (std::size_t x = 0; x < p[0].size(); ++x) result[x][y] = p[y][x];
    return result;
}

Picture MirroredX(Picture p) {
    for (auto& line : p) std::reverse(line.begin(), line.end());
    return p;
}

Picture MirroredY(Picture p) {
    std::reverse(p.begin(), p.end());
    return p;
}

/// What a viewer shows, put together from a transposition and mirrors.
Picture Seen(Picture p, int orientation) {
    if (orientation >= 5) p = Transposed(p);
    if (orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7) p = MirroredX(p);
    if (orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8) p = MirroredY(p);
    return p;
}

Picture Numbers(const Dib* dib) {
    Picture picture(static_cast<std::size_t>(dib->biHeight));
    for (int y = 0; y < dib->biHeight; ++y)
        for (int x = 0; x < dib->biWidth; ++x) {
            int value = 0;
            for (int c = 0; c < DibBitsPerPixel(dib) / 8; ++c) value = value << 8 | samples::At(dib, x, y)[c];
            picture[static_cast<std::size_t>(y)].push_back(value);
        }
    return picture;
}

TEST(Exif, BothByteOrders) {
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const bool bigEndian : {false, true})
            for (const bool prefix : {false, true})
                EXPECT_EQ(ExifOrientation(samples::Exif(orientation, bigEndian, prefix)), orientation);
}

TEST(Exif, AnythingElseIsUpright) {
    EXPECT_EQ(ExifOrientation({}), 1);
    EXPECT_EQ(ExifOrientation(samples::Exif(0, false, false)), 1);
    EXPECT_EQ(ExifOrientation(samples::Exif(9, true, false)), 1);
    const Bytes whole = samples::Exif(6, false, true);
    const std::size_t entryEnd = 6 + 8 + 2 + 12 + 12;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(ExifOrientation(cut), size >= entryEnd ? 6 : 1) << size;
    }
    // Every byte set to each extreme: no reading beyond, and some number from 1 to 8.
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const std::uint8_t byte : {std::uint8_t{0}, std::uint8_t{0x7F}, std::uint8_t{0xFF}}) {
            Bytes broken = whole;
            broken[at] = byte;
            const int orientation = ExifOrientation(broken);
            EXPECT_GE(orientation, 1);
            EXPECT_LE(orientation, 8);
        }
}

TEST(ScanlineOrienter, EveryOrientationOfOddSizes) {
    const int sizes[][2] = {{1, 1}, {3, 2}, {2, 3}, {5, 1}, {1, 5}, {33, 31}, {31, 65}, {7, 32}};
    for (const auto& [width, height] : sizes)
        for (const int depth : {8, 24})
            for (int orientation = 1; orientation <= 8; ++orientation) {
                DibPtr dib = samples::Noise(depth, width, height, 5);
                const Picture want = Seen(Numbers(dib.get()), orientation);
                const DibPtr got = Oriented(std::move(dib), orientation);
                ASSERT_EQ(Numbers(got.get()), want) << width << "x" << height << " orientation " << orientation;
            }
    EXPECT_EQ(Oriented(nullptr, 6), nullptr);
}

TEST(ScanlineOrienter, LinesThatCameAreLaidDown) {
    const DibPtr target(DibCreate(8, 40, 2));  // the file has 40 lines of 2
    ScanlineOrienter placer(target.get(), 6);
    for (int y = 0; y < 35; ++y) {
        placer.Line(y)[0] = placer.Line(y)[1] = static_cast<std::uint8_t>(y + 1);
        placer.Done(y);
    }
    placer.Finish(35);
    EXPECT_EQ(samples::At(target.get(), 39, 0)[0], 1);
    EXPECT_EQ(samples::At(target.get(), 5, 1)[0], 35);
    EXPECT_EQ(samples::At(target.get(), 4, 1)[0], 0);
}

samples::Png NoisePng(int width, int height, bool alpha) {
    samples::Png file{.width = width, .height = height};
    file.colorType = alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
    std::mt19937 random(9);
    file.lines.assign(static_cast<std::size_t>(height), Bytes(static_cast<std::size_t>(width * (alpha ? 4 : 3))));
    for (Bytes& line : file.lines)
        for (auto& byte : line) byte = static_cast<std::uint8_t>(random());
    return file;
}

TEST(Orientation, PngLinesAndMasksFollowIt) {
    for (const bool alpha : {false, true})
        for (const bool interlaced : {false, true})
            for (const bool atEnd : {false, true}) {
                samples::Png file = NoisePng(11, 7, alpha);
                file.interlaced = interlaced;
                const LoadResult upright = ImageLoader::Load(samples::Encode(file));
                ASSERT_TRUE(upright) << upright.error.text;
                for (int orientation = 1; orientation <= 8; ++orientation) {
                    file.exif = samples::Exif(orientation, orientation % 2 == 0, false);
                    file.exifAtEnd = atEnd;
                    const LoadResult turned = ImageLoader::Load(samples::Encode(file));
                    ASSERT_TRUE(turned) << turned.error.text;
                    EXPECT_EQ(Numbers(turned.image.get()), Seen(Numbers(upright.image.get()), orientation));
                    ASSERT_EQ(turned.mask != nullptr, alpha);
                    if (alpha) {
                        EXPECT_EQ(Numbers(turned.mask.get()), Seen(Numbers(upright.mask.get()), orientation));
                    }
                }
            }
}

TEST(Orientation, JpegLinesFollowIt) {
    samples::Jpeg file{.width = 45, .height = 38};
    file.pixel = [](int x, int y, JSAMPLE* p) {
        p[0] = static_cast<JSAMPLE>(5 * x);
        p[1] = static_cast<JSAMPLE>(6 * y);
        p[2] = static_cast<JSAMPLE>(2 * x + 2 * y);
    };
    const LoadResult upright = ImageLoader::Load(samples::Encode(file));
    ASSERT_TRUE(upright);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        file.exif = samples::Exif(orientation, orientation % 2 == 0, true);
        const LoadResult turned = ImageLoader::Load(samples::Encode(file));
        ASSERT_TRUE(turned) << turned.error.text;
        EXPECT_EQ(Numbers(turned.image.get()), Seen(Numbers(upright.image.get()), orientation)) << orientation;
    }
}

}  // namespace
}  // namespace kestrel
