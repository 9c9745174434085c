#include <algorithm>

#include "kestrel/box/PicBox.h"
#include "tests/box/BoxBytes.h"
#include "tests/box/Boxes.h"

namespace kestrel {
namespace {

using namespace std::string_literals;
using namespace test;

struct PicBoxList : Boxes {
    /// A picture of every form, and what is none.
    void Fill(IQvStorage& root) const {
        const DibPtr image = Plain(7, 3, 10, 20, 30), mask = SomeMask(7, 3);
        jpeg = Encoded(image.get(), nullptr, ImageFormat::Jpeg);
        png = Encoded(image.get(), mask.get(), ImageFormat::Png);
        const std::string embedded = "\10"s + Number(1) + Number(static_cast<std::uint32_t>(jpeg.size())) + jpeg;
        const std::string pixels = "\10"s + Number(0);
        const std::string both = Tail(Record(6, 5, 24), Record(6, 5, 8)), only = Tail("", Record(4, 2, 8));
        { const qvPicBox makesStorages(root, kChange); }
        Put(root, "Pictures", "native.JPG", jpeg);
        Put(root, "Pictures", "alpha.png", png);
        Put(root, "Pictures", "headered", "\1JPG\0"s + embedded + Tail("", Record(7, 3, 8)));
        Put(root, "Pictures", "named.tif", "\2TIF\0"s + pixels + Tail(Record(6, 5, 24), ""));
        Put(root, "Pictures", "masks", "\3JPG\0"s + pixels + only);
        Put(root, "Pictures", "bare", jpeg);
        Put(root, "Pictures", "broken", "\1JPG\0"s + pixels + "no tail");
        Put(root, "Pictures", "headered.inf", "QVAX");
        Put(root, "Pictures", "\6unfinished 1", jpeg);
        Put(root, "Pictures/OnlyPic", "older", embedded + Tail("", ""));
        Put(root, "Pictures/PicMask", "oldermask", pixels + both);
        Put(root, "Pic_Mask", "oldest", pixels + both);
        Put(root, "", "root.PNG", png);
        Put(root, "", "notes", "no picture");
        Put(root, "Chains", "native", "x");
    }
    mutable std::string jpeg, png;
};

TEST_F(PicBoxList, EveryFormIsListedAndDescribed) {
    const struct {
        const char *stream, *storage, *name, *extension;
        PicKind kind;
        ImageFormat format;
        int width, height, x;
        bool mask, problem;
    } rows[] = {
        {"alpha.png", "Pictures", "alpha", "png", PicKind::PictureAndMask, ImageFormat::Png, 7, 3, 0, true, false},
        {"bare", "Pictures", "bare", "", PicKind::PictureOnly, ImageFormat::Jpeg, 7, 3, 0, false, false},
        {"broken", "Pictures", "broken", "", PicKind::PictureOnly, ImageFormat::Unknown, 0, 0, 0, false, true},
        {"headered", "Pictures", "headered", "", PicKind::PictureAndMask, ImageFormat::Jpeg, 7, 3, -14, true, false},
        {"masks", "Pictures", "masks", "", PicKind::MaskOnly, ImageFormat::Unknown, 4, 2, -14, true, false},
        {"named.tif", "Pictures", "named.tif", "", PicKind::PictureOnly, ImageFormat::Unknown, 6, 5, -14, false, false},
        {"native.JPG", "Pictures", "native", "JPG", PicKind::PictureOnly, ImageFormat::Jpeg, 7, 3, 0, false, false},
        {"older", "Pictures/OnlyPic", "older", "", PicKind::PictureOnly, ImageFormat::Jpeg, 7, 3, -14, false, false},
        {"oldermask", "Pictures/PicMask", "oldermask", "", PicKind::PictureAndMask, ImageFormat::Unknown, 6, 5, -14,
         true, false},
        {"oldest", "Pic_Mask", "oldest", "", PicKind::PictureAndMask, ImageFormat::Unknown, 6, 5, -14, true, false},
        {"root.PNG", "", "root", "PNG", PicKind::PictureAndMask, ImageFormat::Png, 7, 3, 0, true, false},
    };
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, "box" + std::to_string(static_cast<int>(on)));
        Fill(*root);
        qvPicBox box(*root, kChange);
        std::vector<PicEntry> entries = box.Pictures();
        std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.stream < b.stream; });
        ASSERT_EQ(entries.size(), std::size(rows));
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            const auto& row = rows[i];
            PicDescription about;
            ASSERT_TRUE(box.Describe(entries[i], about)) << row.stream << about.problem;
            EXPECT_EQ(entries[i].stream, row.stream);
            EXPECT_EQ(entries[i].storage, row.storage) << row.stream;
            EXPECT_EQ(entries[i].name, row.name) << row.stream;
            EXPECT_EQ(entries[i].extension, row.extension) << row.stream;
            EXPECT_EQ(about.header.kind, row.kind) << row.stream;
            EXPECT_EQ(about.format, row.format) << row.stream;
            EXPECT_EQ(about.width, row.width) << row.stream;
            EXPECT_EQ(about.height, row.height) << row.stream;
            EXPECT_EQ(about.x, row.x) << row.stream;
            EXPECT_EQ(about.hasMask, row.mask) << row.stream;
            EXPECT_EQ(!about.problem.empty(), row.problem) << row.stream << about.problem;
            // The operations find it by its name and extension.
            DibPtr image, mask;
            std::int32_t x = 0, y = 0;
            EXPECT_EQ(box.GetPic(entries[i].name.c_str(), row.extension, image, &mask, x, y), !row.problem)
                << row.stream;
            EXPECT_EQ(mask != nullptr, row.mask) << row.stream;
            std::uint64_t size = 0;
            const QvStreamPtr stream = box.OpenImage(entries[i], about.header, size);
            if (row.format == ImageFormat::Jpeg) {
                ASSERT_TRUE(stream) << row.stream;
                std::string bytes(size, 0);
                EXPECT_EQ(stream->Read(bytes.data(), size), size);
                EXPECT_EQ(bytes, jpeg) << row.stream;
            }
        }
    }
}

TEST_F(PicBoxList, ExactlyOneStreamIsDeleted) {
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, "box" + std::to_string(static_cast<int>(on)));
        Fill(*root);
        Put(*root, "Pictures", "native.PNG", png);
        Put(*root, "Pictures/OnlyPic", "native", "older");
        qvPicBox box(*root, kChange);
        const std::size_t count = box.Pictures().size();
        ASSERT_TRUE(box.SetChain("native", "chain"));
        const std::pair<const char*, const char*> native[] = {
            {"Pictures", "native.PNG"}, {"Pictures/OnlyPic", "native"}, {"Pictures", "native.JPG"}};
        std::size_t gone = 0;
        for (const auto& [storage, stream] : native) {
            EXPECT_EQ(box.GetChain("native"), "chain") << stream << ": another picture still has it";
            ASSERT_TRUE(box.Delete(PicEntry{storage, stream, "native", ""})) << stream;
            EXPECT_EQ(box.Pictures().size(), count - ++gone) << stream;
            EXPECT_FALSE(box.Delete(PicEntry{storage, stream, "native", ""})) << stream;
        }
        EXPECT_EQ(box.GetChain("native"), "");
    }
}

}  // namespace
}  // namespace kestrel
