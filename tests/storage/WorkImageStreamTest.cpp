#include "kestrel/storage/WorkImageStream.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kestrel/storage/QvDeflatingWriter.h"
#include "kestrel/storage/QvInflatingReader.h"
#include "tests/storage/MemoryStream.h"

namespace kestrel {
namespace {

using test::MemoryStream;

std::string Number(std::uint32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }

CWorkImage Sample(bool withImage, bool withMask) {
    const DibPtr image(DibCreate(24, 5, 3)), mask(DibCreate(8, 5, 3));
    for (int y = 0; y < 3; ++y) {
        for (int i = 0; i < 15; ++i) DibRow(image.get(), y)[i] = static_cast<std::uint8_t>(20 * y + i);
        for (int x = 0; x < 5; ++x) DibRow(mask.get(), y)[x] = static_cast<std::uint8_t>(100 + 10 * y + x);
    }
    return {withImage ? image.get() : nullptr, withMask ? mask.get() : nullptr, -14, 97, 5, 3};
}

TEST(WorkImageStream, TheFormByteByByte) {
    const CWorkImage picture = Sample(true, true);
    MemoryStream stream;
    ASSERT_TRUE(WriteWorkImage(stream, picture));
    const std::uint32_t image = 40 + 3 * 16, mask = 40 + 1024 + 3 * 8;
    EXPECT_EQ(stream.bytes.substr(0, 8), Number(0) + Number(36 + image + mask));
    stream.at = 8;
    QvInflatingReader reader(stream);
    std::string body(36 + image + mask, 0);
    body.resize(reader.Read(body.data(), body.size()));
    ASSERT_EQ(body.size(), 36 + image + mask - 8);
    EXPECT_EQ(body.substr(0, 24),
              Number(0) + Number(std::uint32_t(-14)) + Number(97) + Number(5) + Number(3) + Number(image));
    EXPECT_EQ(body.substr(24 + image, 4), Number(mask));
    EXPECT_EQ(body[24 + 40 + 16], 20) << "second row of the image";
    EXPECT_EQ(body[24 + image + 4 + 40 + 1024 + 16 + 4], 124) << "last mask byte";
}

TEST(WorkImageStream, ComesBackAsItWas) {
    for (const auto& [withImage, withMask] : {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
        const CWorkImage picture = Sample(withImage, withMask);
        MemoryStream stream;
        ASSERT_TRUE(WriteWorkImage(stream, picture));
        stream.at = 0;
        const auto back = ReadWorkImage(stream);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->X(), -14);
        EXPECT_EQ(back->Height(), 3);
        ASSERT_EQ(back->Block().size(), picture.Block().size());
        EXPECT_EQ(std::memcmp(back->Block().data(), picture.Block().data(), picture.Block().size()), 0);
    }
}

TEST(WorkImageStream, DamageGivesNull) {
    MemoryStream whole;
    ASSERT_TRUE(WriteWorkImage(whole, Sample(true, true)));
    for (std::size_t length = 0; length < whole.bytes.size() - 8; ++length) {  // then zlib's end follows
        MemoryStream cut(whole.bytes.substr(0, length));
        EXPECT_FALSE(ReadWorkImage(cut)) << length;
    }
    for (const std::uint32_t size : {0u, 35u, 36u, 500u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        MemoryStream lying(whole.bytes);
        lying.bytes.replace(4, 4, Number(size));
        EXPECT_FALSE(ReadWorkImage(lying)) << size;
    }
    MemoryStream marked(whole.bytes);
    marked.bytes[0] = 1;
    EXPECT_FALSE(ReadWorkImage(marked));
    EXPECT_EQ(marked.at, 4u) << "nothing else is read";
    MemoryStream full;
    full.room = 6;
    EXPECT_FALSE(WriteWorkImage(full, Sample(true, true)));
}

}  // namespace
}  // namespace kestrel
