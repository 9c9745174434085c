#include <cstring>

#include "kestrel/box/PicBox.h"
#include "tests/box/BoxBytes.h"
#include "tests/box/Boxes.h"

namespace kestrel {
namespace {

using namespace std::string_literals;
using namespace test;

struct PicBoxCopy : Boxes {
    /// The lines of a copy, without what each of them begins with, parted by bars; both boxes' paths by name.
    static std::string Lines(const IQvStorage& from, const IQvStorage& to) {
        std::string lines = logged;
        const auto replace = [&](const std::string& what, const std::string& by) {
            for (std::size_t at = 0; !what.empty() && (at = lines.find(what, at)) != std::string::npos; at += by.size())
                lines.replace(at, what.size(), by);
        };
        replace("      qvPicBox::CopyImage", "");
        replace(std::string(from.Path()), "FROM\\");
        replace(std::string(to.Path()), "TO\\");
        replace("():", "");
        replace("\n", "|");
        return lines;
    }
};

enum class Form { File, Own, OwnWithMask };

std::string OwnForm(const std::string& image, bool mask) {
    return (mask ? "\1" : "\2") + "JPG\0\10\1\0\0\0"s + Number(static_cast<std::uint32_t>(image.size())) + image +
           Tail("", mask ? Record(8, 8, 8) : "");
}

TEST_F(PicBoxCopy, EveryPairOfBoxesAndForms) {
    const DibPtr image = Plain(8, 8, 60, 60, 60);
    const struct {
        const char* extension;
        std::string bytes;
    } files[] = {{"JPG", Encoded(image.get(), nullptr, ImageFormat::Jpeg)},
                 {"PNG", Encoded(image.get(), SomeMask(8, 8).get(), ImageFormat::Png)},
                 {"TIF", Encoded(image.get(), nullptr, ImageFormat::Tiff)}};
    const BoxOn all[] = {BoxOn::Memory, BoxOn::NativeTree, BoxOn::Folder};
    int number = 0;
    for (const BoxOn from : all)
        for (const BoxOn to : all)
            for (const auto& [extension, bytes] : files)
                for (const Form form : {Form::File, Form::Own, Form::OwnWithMask}) {
                    if (from == BoxOn::Folder && form != Form::File) continue;
                    if (form == Form::OwnWithMask && extension != "JPG"s) continue;
                    const QvStoragePtr source = Root(from, "from" + std::to_string(++number));
                    const QvStoragePtr target = Root(to, "to" + std::to_string(number));
                    const std::string folder = from == BoxOn::Folder ? "" : "Pictures";
                    { const qvPicBox makesStorages(*source, kChange); }
                    Put(*source, folder, form == Form::File ? "s."s + extension : "s",
                        form == Form::File ? bytes : OwnForm(bytes, form == Form::OwnWithMask));
                    {
                        qvPicBox a(*source, kChange), b(*target, kChange);
                        logged.clear();
                        EXPECT_TRUE(a.CopyImage("s", b, "t", true, extension, false));
                    }
                    const bool toFolder = to == BoxOn::Folder, converts = form == Form::OwnWithMask;
                    const std::string stored = converts ? "t.PNG" : "t."s + extension;
                    const std::string got = Get(*target, toFolder ? "" : "Pictures", stored);
                    std::string want = "(FROM\\...\\s."s + extension + " to TO\\...\\t)|";
                    const std::string size = std::to_string(bytes.size());
                    const std::string place = (toFolder ? "TO\\"s : "TO\\Pictures\\") + stored;
                    if (from == BoxOn::Memory && to == BoxOn::Memory)
                        want = "(...\\s."s + extension + " to ...\\t)|";
                    else if (from == BoxOn::Memory)
                        want.replace(1, 5, "");
                    else if (to == BoxOn::Memory)
                        want.replace(want.find("TO\\"), 3, "");
                    if (from == BoxOn::Folder) {
                        want += toFolder ? " Source is external| dest is external|"
                                         : " Source is external| dest is not native but new (14 bytes header)|";
                        want += " 1st CopyFile failed|";
                    } else if (converts) {
                        want += " dest shall be native| have to convert to native| convert to PNG or TIF|";
                    } else if (form == Form::File) {
                        const bool asFile = toFolder || (from == BoxOn::NativeTree && to == BoxOn::NativeTree);
                        want += " dest shall be native|";
                        want += toFolder ? " dest is external| source is native|"
                                         : " destination is internal| src is native|";
                        if (!toFolder) want += asFile ? " do copy|" : " do not copy|";
                        const std::string path = (from == BoxOn::Memory ? "" : "FROM\\Pictures\\") + "s."s + extension;
                        if (asFile)
                            want += " removing read only file status of " + place + "|(" + (toFolder ? "b" : "d") +
                                    "): copied '" + path + "' to '" + place + "'|";
                        else
                            want += " Dest image 't."s + extension + "', " + size + " of " + size + " bytes written|";
                    } else {
                        want += " dest shall be native|";
                        want += toFolder ? " dest is external| source is not native|"
                                         : " destination is internal| Dest image 't."s + extension + "', " + size +
                                               " of " + size + " bytes written|";
                    }
                    EXPECT_EQ(Lines(*source, *target), want + " success!|") << number;
                    if (!converts) {
                        EXPECT_TRUE(got == bytes) << number << " " << stored << " " << got.size();
                        continue;
                    }
                    const LoadResult loaded =
                        ImageLoader::Load({reinterpret_cast<const std::uint8_t*>(got.data()), got.size()});
                    EXPECT_EQ(loaded.format, ImageFormat::Png) << number;
                    const std::string mask = Record(8, 8, 8);
                    ASSERT_TRUE(loaded.mask);
                    EXPECT_EQ(std::memcmp(DibRow(loaded.mask.get(), 0), mask.data() + 40 + 1024, 64), 0);
                }
}

TEST_F(PicBoxCopy, TheFormOfTheCopy) {
    const DibPtr image = Plain(8, 8, 60, 60, 60);
    const std::string jpeg = Encoded(image.get(), nullptr, ImageFormat::Jpeg);
    const std::string size = Number(static_cast<std::uint32_t>(jpeg.size())), tail = Tail("", Record(8, 8, 8));
    const std::string icon = "\1JPG\0\10\0\0\0\0"s + Tail(Record(7, 3, 24), Record(7, 3, 8));
    const struct {
        const char* what;
        std::string source;
        bool newFormat;
        const char* type;
        bool keep;
        const char* folder;
        const char* stored;
        std::string want;  // empty: any
    } cases[] = {
        {"kept", OwnForm(jpeg, true), true, "JPG", true, "Pictures", "t", "\1JPG\0\1\1\0\0\0"s + size + jpeg + tail},
        {"tiff", OwnForm(jpeg, true), true, "TIFF", false, "Pictures", "t.TIF", ""},
        {"old", OwnForm(jpeg, true), false, "JPG", false, "Pictures/PicMask", "t", "\1\1\0\0\0"s + size + jpeg + tail},
        {"no type", OwnForm(jpeg, true), true, "", false, "Pictures/PicMask", "t", "\1\1\0\0\0"s + size + jpeg + tail},
        {"icon", icon, true, "JPG", false, "Pictures", "t", icon.substr(0, 5) + "\1" + icon.substr(6)},
        {"icon, old", icon, false, "", false, "Pictures/PicMask", "t", "\1" + icon.substr(6)},
        {"bare", jpeg, true, "JPG", true, "Pictures", "t", "\2JPG\0\1\1\0\0\0"s + size + jpeg},
        {"video", "no picture at all", true, "AVI", false, "Pictures", "t.AVI", "no picture at all"},
    };
    for (const auto& c : cases) {
        const QvStoragePtr source = Root(BoxOn::Memory), target = Root(BoxOn::Memory);
        { const qvPicBox makesStorages(*source, kChange); }
        Put(*source, "Pictures", "s", c.source);
        {
            qvPicBox a(*source, kChange), b(*target, kChange);
            EXPECT_TRUE(a.CopyImage("s", b, "t", c.newFormat, c.type, c.keep)) << c.what << logged;
            DibPtr copy, mask;
            std::int32_t x, y;
            EXPECT_EQ(b.GetPic("t", c.want.empty() ? "TIF" : c.type, copy, &mask, x, y), c.what != "video"s)
                << c.what << logged;
            EXPECT_EQ(mask != nullptr, c.source != jpeg && c.what != "video"s) << c.what;
        }
        const std::string got = Get(*target, c.folder, c.stored);
        EXPECT_NE(got, "(none)") << c.what;
        EXPECT_TRUE(c.want.empty() || got == c.want) << c.what;
    }
}

TEST_F(PicBoxCopy, OntoItselfAndFailures) {
    const std::string jpeg = Encoded(Plain(8, 8, 60, 60, 60).get(), nullptr, ImageFormat::Jpeg);
    for (const BoxOn on : kEveryBox) {
        const QvStoragePtr root = Root(on, std::to_string(static_cast<int>(on)));
        { const qvPicBox makesStorages(*root, kChange); }
        Put(*root, "Pictures", "s.JPG", jpeg);
        Put(*root, "Pictures", "lies", "\2JPG\0\10\1\0\0\0"s + Number(100000) + jpeg);
        {
            qvPicBox box(*root, kChange);
            EXPECT_TRUE(box.CopyImage("s", box, "s", true, "JPG", false)) << logged;
            EXPECT_FALSE(box.CopyImage("absent", box, "s", true, "JPG", false));
            EXPECT_NE(logged.find("      qvPicBox::CopyImage(): source absent.JPG not found!\n"), std::string::npos);
            EXPECT_FALSE(box.CopyImage("lies", box, "s", true, "JPG", false));
            EXPECT_NE(logged.find("      qvPicBox::CopyImage(): failed!\n"), std::string::npos);
            EXPECT_TRUE(box.HasFailed());
            EXPECT_FALSE(box.CopyImage("s", box, "..", true, "", false));
        }
        EXPECT_TRUE(Get(*root, "Pictures", "s.JPG") == jpeg);
    }
    const QvStoragePtr folder = Root(BoxOn::Folder, "folder"), target = Root(BoxOn::Memory);
    Put(*folder, "", "s.jpg", jpeg);
    {
        qvPicBox from(*folder, kChange), to(*target, kChange);
        EXPECT_TRUE(from.CopyImage("s", to, "t", false, "jpg", false));
        EXPECT_NE(logged.find("      qvPicBox::CopyImage(): 1st Open failed\n"), std::string::npos);
        EXPECT_FALSE(from.CopyImage("../folder/s", to, "u", false, "jpg", false));
        EXPECT_NE(logged.find("      qvPicBox::CopyImage(): both open failed\n"), std::string::npos);
        EXPECT_FALSE(from.CopyImage("u", to, "u", true, "", false));
        EXPECT_NE(logged.find("      qvPicBox::CopyImage(): really need the file extension here!\n"),
                  std::string::npos);
        EXPECT_NE(logged.find("      qvPicBox::CopyImage(): 2nd CopyFile failed\n"), std::string::npos);
    }
    EXPECT_EQ(Get(*target, "Pictures/OnlyPic", "t").substr(9, jpeg.size()), jpeg);
}

}  // namespace
}  // namespace kestrel
