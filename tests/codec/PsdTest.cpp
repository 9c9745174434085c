// PSD files in the forms that Kestrel never writes, made byte by byte.
#include <gtest/gtest.h>

#include "tests/codec/Rows.h"

namespace kestrel {
namespace {

using samples::Bytes;
using samples::Pixels;

struct Psd {
    unsigned mode, depth, channels, width, height;
    Bytes lines;  ///< of all channels, one after the other
    Bytes palette{};
    std::vector<unsigned> packed{};  ///< lengths of the lines, if they are packed
    bool big = false;
};

Bytes Encode(const Psd& file) {
    Bytes bytes = {'8', 'B', 'P', 'S'};
    const auto put = [&](std::uint64_t value, int size) {
        while (size-- > 0) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * size));
    };
    const auto add = [&](const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); };
    put(file.big ? 2 : 1, 2), put(0, 6), put(file.channels, 2);
    put(file.height, 4), put(file.width, 4), put(file.depth, 2), put(file.mode, 2);
    put(file.palette.size(), 4), add(file.palette);
    put(0, 4), put(0, file.big ? 8 : 4);
    put(file.packed.empty() ? 0 : 1, 2);
    for (const unsigned length : file.packed) put(length, file.big ? 4 : 2);
    add(file.lines);
    return bytes;
}

TEST(PsdLoading, FormsOfPixels) {
    Bytes palette(768);
    palette[2] = 30, palette[256 + 2] = 20, palette[512 + 2] = 10;
    const struct {
        const char* about;
        Psd file;
        std::vector<int> pixels;
    } cases[] = {
        {"gray, two lines", {1, 8, 1, 1, 2, {7, 9}}, {7, 7, 7, 9, 9, 9}},
        {"bits, 1 is black", {0, 1, 1, 2, 1, {0x40}}, {255, 255, 255, 0, 0, 0}},
        {"palette", {2, 8, 1, 1, 1, {2}, palette}, {10, 20, 30}},
        {"red, green, blue, alpha", {3, 8, 4, 1, 1, {30, 20, 10, 200}}, {10, 20, 30, 55}},
        {"16 bits are rounded", {3, 16, 3, 1, 1, {0, 128, 0, 129, 255, 126}}, {254, 1, 0}},
        {"packed: a run, then bytes",
         {1, 8, 1, 5, 1, {0xFE, 4, 1, 5, 6}, {}, {5}},
         {4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 6, 6, 6}},
        {"packed, big", {1, 8, 1, 1, 2, {0, 3, 0, 4}, {}, {2, 2}, true}, {3, 3, 3, 4, 4, 4}},
        {"four inks as light", {4, 8, 4, 1, 1, {200, 100, 50, 128}}, {25, 50, 100}},
        // 0.3906 times 0.9941 of 255 is 99.03; of bytes that were rounded before it would be 100
        {"four inks of 16 bits are rounded once",
         {4, 16, 4, 2, 1, {0x64, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0, 0xFE, 0x7E, 0xFF, 0xFF}},
         {254, 254, 99, 0, 0, 0}},
        {"four inks of 16 bits, packed",
         {4,
          16,
          4,
          1,
          2,
          {1, 0xFF, 0xFF, 1, 0, 0, 1, 0xFF, 0xFF, 1, 0, 0, 1, 0xFF, 0xFF, 1, 0, 0, 1, 0x80, 0x80, 1, 0xFF, 0xFF},
          {},
          {3, 3, 3, 3, 3, 3, 3, 3}},
         {128, 128, 128, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        const LoadResult result = ImageLoader::Load(Encode(c.file));
        EXPECT_EQ(Pixels(result), c.pixels) << c.about << ": " << result.error.text;
        EXPECT_EQ(result.condition, Condition::Whole) << c.about;
        samples::ExpectTheWhole(Encode(c.file), true);
    }
}

TEST(PsdLoading, ChannelsThatAreMissingAreTold) {
    for (const unsigned depth : {8u, 16u}) {
        Psd file{4, depth, 4, 1, 2, Bytes(depth, 0x80)};
        Bytes bytes = Encode(file);
        bytes.erase(bytes.end() - depth / 4, bytes.end());  // black
        const LoadResult result = ImageLoader::Load(bytes);
        EXPECT_EQ(Pixels(result), std::vector<int>(6, 128));
        EXPECT_EQ(result.condition, Condition::Damaged);
        ASSERT_EQ(result.warnings.size(), 1u);
        EXPECT_EQ(result.warnings[0], "the file is damaged; 3 of 4 channels could be read");
        samples::ExpectTheWhole(bytes, true);
    }
}

}  // namespace
}  // namespace kestrel
