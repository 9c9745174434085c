// The storage that the build packs, read as any compound file is.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "kestrel/server/ClassTable.h"
#include "kestrel/storage/BuiltInData.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "resources/icons/Icons.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes ReadAll(compound::Storage& storage, const std::u16string& name) {
    auto stream = storage.OpenStream(name);
    if (!stream) return {};
    Bytes bytes(*stream->Size());
    return *stream->Read(bytes) == bytes.size() ? bytes : Bytes();
}

std::uint32_t Word(const Bytes& bytes, std::size_t at) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- > 0;) word = word << 8 | bytes.at(at + i);
    return word;
}

std::set<std::u16string> Names(const compound::Storage& storage) {
    std::set<std::u16string> names;
    const auto elements = storage.Elements();
    for (const auto& element : *elements) names.insert(element.name);
    return names;
}

struct BuiltInStorage : testing::Test {
    compound::CompoundFile file =
        *compound::CompoundFile::Open(std::make_unique<compound::BlobStore>(BuiltInData()), compound::Access::kRead);
    compound::Storage root = *file.Root();
};

TEST_F(BuiltInStorage, HoldsScriptsPicturesAndTwoEmptyStorages) {
    EXPECT_EQ(Names(root), (std::set<std::u16string>{u"Scripts", u"Pictures", u"PicMask", u"Pic_Mask"}));
    EXPECT_TRUE(Names(*root.OpenStorage(u"PicMask")).empty());
    EXPECT_TRUE(Names(*root.OpenStorage(u"Pic_Mask")).empty());
    compound::Storage scripts = *root.OpenStorage(u"Scripts");
    EXPECT_EQ(Names(scripts),
              (std::set<std::u16string>{u"color.strings", u"GradCurvesDialog.Page", u"GradCurvesDialog.seq"}));
    const Bytes page = ReadAll(scripts, u"GradCurvesDialog.Page");
    EXPECT_NE(std::string(page.begin(), page.end()).find("Page(\"GradCurvesDialogPage\") =\r\n"), std::string::npos);
    EXPECT_FALSE(scripts.CreateStream(u"x")) << "what is built in is only read";
}

/// What a picture box reads: header, position, a 24-bit record and an 8-bit mask record of 22 by 22 pixels.
TEST_F(BuiltInStorage, IconsHaveTheShapeOfStoredPictures) {
    compound::Storage pictures = *root.OpenStorage(u"Pictures");
    const auto names = Names(pictures);
    EXPECT_EQ(names.size(), icons::AllIcons().size() * std::size(icons::kStates) * std::size(icons::kSizes));
    for (const char* ending : {"", "_clk", "_foc", "_prs_foc"})
        for (const ClassRow& row : ClassTable()) {
            if (!row.IsFilter()) continue;
            const std::string name = std::string(row.description->icon) + ending;
            SCOPED_TRACE(name);
            const Bytes stream = ReadAll(pictures, {name.begin(), name.end()});
            ASSERT_GT(stream.size(), 50u) << "a shorter one is read as a picture without a mask";
            ASSERT_EQ(std::memcmp(stream.data(), "\x01JPG\0\x08\0\0\0\0", 10), 0);
            Bytes tail(8 + 4 + 1536 + 4 + 1592 + 1);
            uLongf size = tail.size();
            ASSERT_EQ(uncompress(tail.data(), &size, stream.data() + 10, stream.size() - 10), Z_OK);
            ASSERT_EQ(size, tail.size() - 1);
            EXPECT_EQ(Word(tail, 8), 1536u);
            EXPECT_EQ(Word(tail, 12 + 4), 22u);
            EXPECT_EQ(tail[12 + 14], 24);
            EXPECT_EQ(Word(tail, 1548), 1592u);
            EXPECT_EQ(tail[1552 + 14], 8);
        }
}

/// Lines lie bottom-up, colors are blue, green, red and not multiplied by alpha, and the mask is 255 where nothing is.
TEST_F(BuiltInStorage, IconsAreTheDrawings) {
    compound::Storage pictures = *root.OpenStorage(u"Pictures");
    const Bytes stream = ReadAll(pictures, u"icons_rotate@2x");
    constexpr std::size_t kSide = 44, kImage = 12, kImageSize = 40 + kSide * 132, kMask = kImage + kImageSize + 4;
    Bytes tail(kMask + 1064 + kSide * kSide);
    uLongf size = tail.size();
    ASSERT_EQ(uncompress(tail.data(), &size, stream.data() + 10, stream.size() - 10), Z_OK);
    ASSERT_EQ(size, tail.size());
    for (const auto& icon : icons::AllIcons()) {
        if (std::string(icon.name) != "icons_rotate") continue;
        const auto pixels = icons::Draw(icon, icons::kStates[0], kSide);
        for (std::size_t y = 0; y < kSide; ++y)
            for (std::size_t x = 0; x < kSide; ++x) {
                const std::uint32_t pixel = pixels[y * kSide + x], alpha = pixel >> 24;
                const std::size_t row = kSide - 1 - y;
                ASSERT_EQ(tail[kMask + 1064 + row * kSide + x], 255 - alpha);
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const int color = tail[kImage + 40 + row * 132 + 3 * x + channel];
                    const int shown = static_cast<int>(pixel >> 8 * channel & 0xFF);
                    ASSERT_NEAR(color * static_cast<int>(alpha) / 255.0, shown, 0.51) << x << ", " << y;
                }
            }
    }
}

}  // namespace
}  // namespace kestrel
