// "kestrel box", and pictures of boxes in "kestrel apply", run as a person runs them.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "tests/support/ProgramTest.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::ProgramTest;

constexpr const char* kKinds[] = {"compound", "tree", "folder"};

struct BoxTest : ProgramTest {
    BoxTest() {
        const DibPtr image(DibCreate(24, 9, 5)), mask(DibCreate(8, 9, 5));
        for (int y = 0; y < 5; ++y)
            for (int i = 0; i < 27; ++i) DibRow(image.get(), y)[i] = static_cast<std::uint8_t>(i * 9 + y * 31);
        for (int y = 0; y < 5; ++y) DibRow(mask.get(), y)[y] = static_cast<std::uint8_t>(100 + y);
        EXPECT_FALSE(ImageLoader::Save(Path("in.png"), image.get(), nullptr));
        EXPECT_FALSE(ImageLoader::Save(Path("photo.jpg"), image.get(), nullptr));
        EXPECT_FALSE(ImageLoader::Save(Path("alpha.png"), image.get(), mask.get()));
        Write("look.txt", "# warm\nTMFilter.Invert.1\tInversity=100\n");
    }
    /// Runs what has to succeed silently.
    void Do(const std::string& arguments) const {
        const Outcome run = Run(arguments);
        EXPECT_EQ(run.code, 0) << arguments << "\n" << run.err;
        EXPECT_EQ(run.err, "") << arguments;
    }
    /// The last words of each line: the names.
    std::string Names(const std::string& box) const {
        const std::string list = Run("box list " + box).out;
        std::string names;
        for (std::size_t at = 0, end; (end = list.find('\n', at)) != list.npos; at = end + 1)
            names += list.substr(list.rfind(' ', end) + 1, end - list.rfind(' ', end) - 1) + " ";
        return names;
    }
    /// The pixels of two pictures, with their transparency, as BMP and PNG would differ in size only.
    bool SamePicture(const std::string& a, const std::string& b) const {
        const LoadResult one = ImageLoader::Load(Path(a)), other = ImageLoader::Load(Path(b));
        if (!one || !other || one.image->biWidth != other.image->biWidth || !one.mask != !other.mask) return false;
        for (int y = 0; y < one.image->biHeight; ++y) {
            const auto width = static_cast<std::size_t>(one.image->biWidth);
            if (std::memcmp(DibRow(one.image.get(), y), DibRow(other.image.get(), y), 3 * width) != 0) return false;
            if (one.mask && std::memcmp(DibRow(one.mask.get(), y), DibRow(other.mask.get(), y), width) != 0)
                return false;
        }
        return true;
    }
};

TEST_F(BoxTest, EveryFormGoesInAndComesOut) {
    for (const std::string kind : kKinds) {
        const std::string box = kind + ".box";
        const bool folder = kind == "folder", files = kind != "compound";
        Do("box add " + box + " in.png photo.jpg alpha.png --as " + kind);
        EXPECT_EQ(Names(box), files ? "alpha.PNG in.PNG photo.JPG " : "alpha in photo ");
        for (const char* name : {"photo", "photo.jpg"}) {
            Do("box get " + box + " " + name + " out.jpg");
            EXPECT_EQ(Content("out.jpg"), Content("photo.jpg")) << "as it is stored";
        }
        EXPECT_EQ(Run("box get " + box + " photo.png out.png").code, 1) << "a JPEG picture has that name";
        EXPECT_EQ(Run("box get " + box + " alpha").out, Content("alpha.png"));
        Do("box get " + box + " alpha out.tif");
        EXPECT_TRUE(SamePicture("out.tif", "alpha.png")) << kind;
        EXPECT_NE(Run("box get " + box + " alpha flat.bmp --background '#000000'").err.find("#000000"),
                  std::string::npos);
        EXPECT_EQ(Run("box add " + box + " alpha.png --name pixels --form pixels").code, folder ? 1 : 0);
        if (folder) continue;
        Do("box add " + box + " alpha.png --name jpeg --form jpeg --quality 100");
        Do("box add " + box + " in.png --name plain --form jpeg");
        const std::string list = Run("box list " + box).out;
        for (const char* line :
             {"pixels    -      picture  mask  -      pixels\n", "embedded  jpeg   picture  mask  -      jpeg\n",
              "file      jpeg   picture  -     -      plain.JPG\n", "          9 x 5  "})
            EXPECT_NE(list.find(line), std::string::npos) << line << list;
        Do("box get " + box + " pixels out.png");
        EXPECT_TRUE(SamePicture("out.png", "alpha.png")) << kind;
        Do("box get " + box + " jpeg out2.png");
        EXPECT_TRUE(ImageLoader::Load(Path("out2.png")).mask) << "the mask beside the JPEG image";
        EXPECT_EQ(Run("box analyze " + box + " jpeg").out, "10  png\n");
        EXPECT_EQ(Run("box analyze " + box + " pixels").out.substr(0, 3), "0  ");
        EXPECT_EQ(Run("box analyze " + box + " photo --json").out,
                  "{\n  \"name\": \"" + std::string(files ? "photo.JPG" : "photo") +
                      "\",\n  \"type\": 1,\n  \"extension\": \"" + (files ? "JPG" : "jpg") + "\"\n}\n");
        const std::string info = Run("box info " + box + " pixels --json").out;
        for (const char* line : {"\"storage\": \"Pictures\"", "\"kind\": \"picture and mask\"", "\"form\": \"pixels\"",
                                 "\"format\": null", "\"width\": 9", "\"height\": 5", "\"chain\": null"})
            EXPECT_NE(info.find(line), std::string::npos) << line << info;
        Do("box remove " + box + " 'p*'");
        EXPECT_EQ(Names(box), files ? "alpha.PNG in.PNG jpeg " : "alpha in jpeg ");
    }
}

TEST_F(BoxTest, NamesThatAreTaken) {
    for (const std::string kind : kKinds) {
        const std::string box = kind + ".box", ending = kind == "compound" ? "" : ".PNG";
        Do("box add " + box + " in.png --as " + kind);
        const Outcome refused = Run("box add " + box + " in.png alpha.png");
        EXPECT_EQ(refused.code, 1);
        EXPECT_NE(refused.err.find(box + ":in" + ending + ": is there already; --existing"), std::string::npos);
        EXPECT_EQ(Names(box), "alpha" + ending + " in" + ending + " ") << "one that fails does not stop the rest";
        fs::create_directories(Path("later"));
        fs::copy_file(Path("alpha.png"), Path("later/in.png"), fs::copy_options::overwrite_existing);
        Do("box add " + box + " later/in.png --existing skip");
        Do("box get " + box + " in old.png");
        EXPECT_EQ(Content("old.png"), Content("in.png"));
        EXPECT_EQ(Run("box add " + box + " later/in.png --existing rename").code, 0);
        Do("box get " + box + " in-2 new.png");
        EXPECT_EQ(Content("new.png"), Content("alpha.png"));
        Do("box add " + box + " later/in.png --existing replace");
        Do("box get " + box + " in new.png");
        EXPECT_EQ(Content("new.png"), Content("alpha.png"));
    }
    // A raw file and its JPEG share a name in a tree, where both are files; neither takes the other's place.
    Do("box add tree.box photo.jpg --name in --existing replace");
    EXPECT_EQ(Names("tree.box"), "alpha.PNG in-2.PNG in.JPG in.PNG ");
    Do("box remove tree.box in.PNG");
    EXPECT_EQ(Names("tree.box"), "alpha.PNG in-2.PNG in.JPG ");
    EXPECT_EQ(Run("box get tree.box in.PNG out.png").code, 1) << "in.JPG is another picture";
    // One without an extension would hide behind them.
    EXPECT_EQ(Run("box add tree.box alpha.png --name in --form pixels").code, 1);
    Do("box add tree.box alpha.png --name in --form pixels --existing replace");
    EXPECT_EQ(Names("tree.box"), "alpha.PNG in in-2.PNG ");
}

TEST_F(BoxTest, CopiesBetweenAllKinds) {
    for (const std::string from : kKinds) {
        Do("box add " + from + " photo.jpg alpha.png --as " + from);
        if (from != "folder") Do("box add " + from + " alpha.png --name pixels --form pixels");
        if (from != "folder") Do("box chain " + from + " alpha --set look.txt");
    }
    for (const std::string from : kKinds)
        for (const std::string to : kKinds) {
            const std::string target = from + "-" + to;
            const Outcome copy = Run("box copy '" + from + ":*' " + target + " --json --as " + to);
            EXPECT_EQ(copy.code, 0) << copy.err;
            EXPECT_NE(copy.out.find(from == "folder" ? "\"copied\": 2" : "\"copied\": 3"), std::string::npos);
            for (const char* picture : {"alpha", "pixels"}) {
                if (picture[0] == 'p' && from == "folder") continue;
                Do("box get " + target + " " + picture + " out.png");
                EXPECT_TRUE(SamePicture("out.png", "alpha.png")) << target << picture;
            }
            Do("box get " + target + " photo out.jpg");
            EXPECT_EQ(Content("out.jpg"), Content("photo.jpg")) << target;
            const bool chained = from != "folder" && to != "folder";
            EXPECT_EQ(Run("box chain " + target + " alpha").out, chained ? "TMFilter.Invert.1\tInversity=100\n" : "");
            EXPECT_EQ(copy.err.empty(), from == "folder" || to != "folder") << "a chain that stays behind is told";
            EXPECT_EQ(Run("box copy " + from + ":photo " + target).code, 1) << "it is there";
            Do("box copy " + from + ":photo " + target + " --existing replace");
            Do("box copy " + target + ":photo " + target + ":again");
            Do("box get " + target + " again out.jpg");
            EXPECT_EQ(Content("out.jpg"), Content("photo.jpg")) << target;
        }
    Do("box copy compound:pixels compound:pixels --existing replace");
    Do("box chain compound alpha --set look.txt");
    Do("box copy compound:alpha compound:alpha --existing replace");
    EXPECT_NE(Run("box chain compound alpha").out, "") << "a copy onto itself changes nothing";
    Do("box copy tree:pixels folder:exported");
    EXPECT_EQ(ImageLoader::Load(Path("folder/exported.PNG")).format, ImageFormat::Png);
}

TEST_F(BoxTest, ChainsBelongToPictures) {
    for (const std::string box : {"compound.box", "tree.box"}) {
        Do("box add " + box + " in.png alpha.png --as " + box.substr(0, box.find('.')));
        const Outcome none = Run("box chain " + box + " in");
        EXPECT_EQ(none.code, 1);
        EXPECT_NE(none.err.find("no chain is stored with it"), std::string::npos);
        Write("bad.txt", "\nTMFilter.Nothing.1\tx\n");
        const Outcome bad = Run("box chain " + box + " in --set bad.txt");
        EXPECT_EQ(bad.code, 1);
        EXPECT_NE(bad.err.find("bad.txt: line 2: "), std::string::npos);
        EXPECT_EQ(Run("box chain " + box + " in").code, 1) << "checked before it is stored";
        Do("box chain " + box + " in --set look.txt");
        EXPECT_EQ(Run("box chain " + box + " in").out, "TMFilter.Invert.1\tInversity=100\n");
        EXPECT_NE(Run("box list " + box).out.find("  chain  in"), std::string::npos);

        Do("apply " + box + ":in stored.png --stored-chain -f Sepia:Sepia=40");
        Do("apply in.png told.png --chain look.txt -f Sepia:Sepia=40");
        EXPECT_EQ(Content("stored.png"), Content("told.png"));
        EXPECT_EQ(Run("apply " + box + ":alpha none.png --stored-chain").code, 1);
        EXPECT_EQ(Run("apply in.png none.png --stored-chain").code, 1);
        EXPECT_FALSE(fs::exists(Path("none.png")));
        Do("box chain " + box + " in --clear");
        EXPECT_EQ(Run("box chain " + box + " in").code, 1);
        Do("box chain " + box + " in --set look.txt");
        Do("box remove " + box + " in");
        Do("box add " + box + " in.png");
        EXPECT_EQ(Run("box chain " + box + " in").code, 1) << "the chain went with its picture";
    }
}

TEST_F(BoxTest, AStoredPictureIsAPicture) {
    for (const std::string kind : kKinds) {
        const std::string box = kind + ".box";
        Do("box add " + box + " photo.jpg --as " + kind);
        Do("apply alpha.png " + box + ":made -f Invert:Inversity=100");
        Do("apply alpha.png out.png -f Invert:Inversity=100");
        Do("apply " + box + ":made again.png");
        EXPECT_EQ(Content("again.png"), Content("out.png")) << "its mask as well: " << kind;
        Do("apply in.png " + box + ":jpeg --format jpeg --quality 70");
        Do("apply in.png out.jpg --quality 70");
        Do("box get " + box + " jpeg again.jpg");
        EXPECT_EQ(Content("again.jpg"), Content("out.jpg"));
        Do("apply " + box + ":photo " + box + ":photo -f Invert:Inversity=100");
        Do("apply photo.jpg out.png -f Invert:Inversity=100");
        Do("apply " + box + ":photo again.png");
        EXPECT_EQ(Content("again.png"), Content("out.png")) << "one picture of that name, " << Names(box);
    }
    // A box that is missing is made; nothing is left of one when the work fails.
    Do("apply in.png new.box:in");
    EXPECT_EQ(Names("new.box"), "in ");
    EXPECT_EQ(Run("apply in.png other.box:in -f 'Crop:LeftMargin=0.9,RightMargin=0.1'").code, 1);
    EXPECT_EQ(Run("apply in.png 'other.box:a name of more than thirty-one letters'").code, 1);
    EXPECT_EQ(Run("box add other.box look.txt").code, 1);
    EXPECT_FALSE(fs::exists(Path("other.box")));
    // Colons in names of files.
    fs::copy_file(Path("in.png"), Path("new.box:file.png"));
    Do("apply new.box:file.png out.png");
    EXPECT_EQ(Content("out.png"), Content("in.png"));
    Do("apply alpha.png new.box:file.png");
    EXPECT_EQ(Names("new.box"), "in ") << "the file of that name was written";
    Do("apply alpha.png in.png:file.png");
    EXPECT_TRUE(fs::exists(Path("in.png:file.png"))) << "in.png is no box";
}

TEST_F(BoxTest, WhatCannotBeDoneIsToldInOneLine) {
    Do("box add compound.box in.png photo.jpg");
    Do("box add tree.box in.png photo.jpg --as tree");
    Do("box add tree.box photo.jpg --name in --existing replace");
    Do("box remove tree.box in.JPG");
    Do("box add tree.box photo.jpg --name both");
    fs::copy_file(Path("in.png"), Path("tree.box_qv/Pictures/two.PNG"));
    fs::copy_file(Path("in.png"), Path("tree.box_qv/Pictures/two.TIF"));
    Write("text.jpg", "this is no picture");
    Write("empty.jpg", "");
    Do("apply in.png big.jpg -f Scale100:KeepProportions=1,AllowEnlarge=1,HorizontalProz=2000,VerticalProz=2000");
    Write("cut.jpg", Content("big.jpg").substr(0, Content("big.jpg").size() / 2));
    const struct {
        const char* arguments;
        int code;
        const char* says;
    } cases[] = {
        {"list none.box", 1, "none.box: there is no such box"},
        {"list text.jpg", 1, "text.jpg: this is no compound file"},
        {"list compound.box 'x*'", 1, "compound.box:x*: no picture has such a name"},
        {"info compound.box none", 1, "compound.box:none: there is no such picture"},
        {"info tree.box two", 1, "may be two.PNG or two.TIF"},
        {"get compound.box in none/out.png", 1, "none/out.png"},
        {"get compound.box in out.gargle", 1, "out.gargle: the name does not tell a format"},
        {"get compound.box in out.png --format gargle", 2, "--format"},
        {"get compound.box in --json", 2, "--json"},
        {"get compound.box in > /dev/full", 1, "standard output"},
        {"add compound.box missing.jpg", 1, "missing.jpg: No such file"},
        {"add compound.box text.jpg", 1, "text.jpg: the file is no picture"},
        {"add compound.box empty.jpg", 1, "empty.jpg: the file is empty"},
        {"add compound.box . ", 1, ".: "},
        {"add compound.box in.png --name a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q", 1, "the name is not allowed"},
        {"add compound.box in.png photo.jpg --name x", 2, "--name"},
        {"add compound.box - < in.png", 2, "--name"},
        {"add compound.box in.png --existing maybe", 2, "--existing"},
        {"add compound.box in.png --form gif", 2, "--form"},
        {"add new.box in.png --as zip", 2, "--as"},
        {"add new.box text.jpg", 1, "text.jpg"},
        {"add none/new.box in.png", 1, "a folder of the path is missing"},
        {"copy compound.box new.box", 1, "compound.box: is no picture of a box"},
        {"copy in.png new.box", 1, "in.png: is no picture of a box"},
        {"copy compound.box:none new.box", 1, "compound.box:none: there is no such picture"},
        {"copy 'compound.box:*' new.box:one", 2, "one"},
        {"remove compound.box none", 1, "compound.box:none"},
        {"chain compound.box in --set missing.txt", 1, "missing.txt"},
        {"chain compound.box in --set /dev/null", 1, "holds no filter"},
        {"chain compound.box in --set look.txt --clear", 2, "--clear"},
        {"find compound.box", 2, "find"},
    };
    for (const auto& row : cases) {
        const Outcome run = Run(std::string("box ") + row.arguments);
        EXPECT_EQ(run.code, row.code) << row.arguments << "\n" << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << row.arguments << "\n" << run.err;
        EXPECT_NE(run.err.find(row.says), std::string::npos) << row.arguments << "\n" << run.err;
    }
    EXPECT_FALSE(fs::exists(Path("new.box")));
    EXPECT_EQ(Names("compound.box"), "in photo ");
    Do("box add compound.box - --name piped < alpha.png");
    Do("box get compound.box piped out.png");
    EXPECT_EQ(Content("out.png"), Content("alpha.png"));
    // What could be read of a damaged picture never takes its place.
    Do("box add compound.box cut.jpg --name cut");
    EXPECT_EQ(Run("apply compound.box:cut out.png").code, 3);
    EXPECT_EQ(Run("box get compound.box cut out.png").code, 3);
    EXPECT_EQ(Run("apply compound.box:cut ./compound.box:cut").code, 1);
    Do("box get compound.box cut out.jpg");
    EXPECT_EQ(Content("out.jpg"), Content("cut.jpg"));
    EXPECT_NE(Run("apply compound.box:photo out.png --limit-pixels 44").err.find("--limit-pixels"), std::string::npos);
}

TEST_F(BoxTest, AWriteThatFailsLeavesTheBoxAsItWas) {
    Do("apply in.png big.bmp -f Scale100:KeepProportions=1,AllowEnlarge=1,HorizontalProz=12000,VerticalProz=12000");
    for (const std::string kind : {"compound", "tree"}) {
        const std::string box = kind + ".box";
        Do("box add " + box + " in.png --name p --as " + kind);
        Do("box chain " + box + " p --set look.txt");
        // Files of this process may not grow beyond 200 blocks of 512 bytes or 1 KiB.
        for (const std::string& command :
             {"box add " + box + " big.bmp --name p --existing replace", "apply big.bmp " + box + ":p --format bmp"}) {
            const Outcome run = Run("--version >/dev/null; ulimit -f 200; " KESTREL_APP " " + command);
            EXPECT_EQ(run.code, 1) << command << run.err;
            EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
            Do("box get " + box + " p out.png");
            EXPECT_EQ(Content("out.png"), Content("in.png")) << command;
            EXPECT_EQ(Run("box chain " + box + " p").code, 0) << command;
        }
    }
}

/// Starts the program on a box and kills it after some time; true when it was still running.
bool KilledAfter(const std::string& folder, const std::vector<const char*>& arguments, std::chrono::microseconds time) {
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(folder.c_str()) != 0) _exit(98);
        execv(KESTREL_APP, const_cast<char* const*>(arguments.data()));
        _exit(99);
    }
    std::this_thread::sleep_for(time);
    kill(child, SIGKILL);
    int state = 0;
    waitpid(child, &state, 0);
    return WIFSIGNALED(state);
}

TEST_F(BoxTest, AKilledWriteLeavesTheOldPictureOrTheNew) {
    Do("apply in.png big.png -f Scale100:KeepProportions=1,AllowEnlarge=1,HorizontalProz=12000,VerticalProz=12000");
    const std::string before = Content("in.png"), after = Content("big.png");
    for (const std::string kind : {"compound", "tree"}) {
        const std::string box = kind + ".box";
        Do("box add " + box + " in.png --name p --as " + kind);
        int killed = 0;
        // Later and later, until the work is done before the kill.
        for (int time = 200; time < 10'000'000; time = time * 5 / 4) {
            const bool running = KilledAfter(
                Path(""),
                {"kestrel", "box", "add", box.c_str(), "big.png", "--name", "p", "--existing", "replace", nullptr},
                std::chrono::microseconds(time));
            ASSERT_EQ(Run("box get " + box + " p").code, 0) << Run("box get " + box + " p").err;
            const std::string now = test::ReadBytes(folders / "out");
            ASSERT_TRUE(now == before || now == after) << kind << " after " << time << " microseconds";
            killed += running;
            if (!running) break;
        }
        EXPECT_GT(killed, 0);
        EXPECT_EQ(test::ReadBytes(folders / "out"), after);
    }
}

TEST_F(BoxTest, ProcessesShareABox) {
    for (const std::string kind : {"compound", "tree"}) {
        const std::string box = kind + ".box";
        std::string command = "--version >/dev/null; for i in 1 2 3 4; do (for k in a b c; do " KESTREL_APP
                              " box add " +
                              box + " in.png --name p$i$k --as " + kind + " || echo failed; done) & done; ";
        command += "for i in 1 2 3 4; do (" KESTREL_APP " box add " + box + " in.png --name same --as " + kind +
                   " 2>/dev/null && echo won) & done; wait";
        const Outcome run = Run(command);
        EXPECT_EQ(run.out, "won\n") << "a name is given once: " << run.err;
        const std::string names = Names(box);
        EXPECT_EQ(std::count(names.begin(), names.end(), ' '), 13) << names;
        EXPECT_EQ(Run("store check " + box).code, 0);
    }
}

}  // namespace
}  // namespace kestrel
