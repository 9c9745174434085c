// The built program, run as a person runs it.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/settings/RegistryKeys.h"
#include "tests/support/PrivateFolders.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {
namespace fs = std::filesystem;

struct Outcome {
    int code = -1;
    std::string out;
    std::string err;
};

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class KestrelTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "kestrel-test-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(name.data()));
        folder = name;
        Write("in.png", false);
        Write("alpha.png", true);
    }
    void TearDown() override { fs::remove_all(folder); }

    std::string Path(const std::string& name) const { return (folder / name).string(); }
    static std::uint8_t Byte(int x, int y, int channel) {
        return static_cast<std::uint8_t>(x * 9 + y * 31 + channel * 70);
    }

    /// A picture of 9 x 5 pixels whose bytes are told by `Byte`; with alpha its left column is transparent.
    void Write(const std::string& name, bool alpha) const {
        const DibPtr image(DibCreate(24, 9, 5)), mask(DibCreate(8, 9, 5));
        for (int y = 0; y < 5; ++y) {
            for (int i = 0; i < 27; ++i) DibRow(image.get(), y)[i] = Byte(i / 3, y, i % 3);
            DibRow(mask.get(), y)[0] = 255;
        }
        ASSERT_FALSE(ImageLoader::Save(Path(name), image.get(), alpha ? mask.get() : nullptr));
    }
    void WriteText(const std::string& name, const std::string& text) const { std::ofstream(Path(name)) << text; }

    /// Runs the program with words that a shell takes apart; the folder of the test is the working one.
    Outcome Run(const std::string& arguments) const {
        const std::string command =
            "cd " + folder.string() + " && (" KESTREL_APP " " + arguments + ") >stdout.txt 2>stderr.txt";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Contents(folder / "stdout.txt"),
                Contents(folder / "stderr.txt")};
    }
    /// Names in the folder, to see what a failed run left behind.
    std::size_t FileCount() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
    LoadResult Load(const std::string& name) const { return ImageLoader::Load(Path(name)); }

    fs::path folder;
};

TEST_F(KestrelTest, AppliesFiltersToThePixels) {
    const Outcome run = Run("apply in.png out.png -f Invert:Inversity=100");
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out + run.err, "");
    const LoadResult result = Load("out.png");
    ASSERT_TRUE(result) << result.error.text;
    EXPECT_FALSE(result.mask);
    for (int y = 0; y < 5; ++y)
        for (int i = 0; i < 27; ++i) ASSERT_EQ(DibRow(result.image.get(), y)[i], 255 - Byte(i / 3, y, i % 3));
}

TEST_F(KestrelTest, ChainsComeFromFilesPipesAndOptionsTogether) {
    const std::string chain = "TMFilter.Invert.1\tInversity=010\nTMFilter.Invert.1\tInversity=020\n";
    WriteText("chain.txt", chain);
    EXPECT_EQ(Run("apply in.png a.png --chain chain.txt --print-chain pending").out, chain);
    EXPECT_EQ(Run("apply in.png b.png --chain - --print-chain active < chain.txt").out, chain);
    EXPECT_EQ(Contents(folder / "a.png"), Contents(folder / "b.png"));
    EXPECT_EQ(
        Run("apply in.png c.png -f TMFilter.Sepia.1:Sepia=5 --chain chain.txt -f Invert.1 --print-chain pending").out,
        chain + "TMFilter.Sepia.1\tSepia=005\nTMFilter.Invert.1\tInversity=000\n");
    // What is printed is read again: the same bytes.
    Run("apply in.png d.png -f Sepia:Sepia=40 -f RGBColor:RedG=30 --print-chain active > saved.txt");
    Run("apply in.png e.png --chain saved.txt");
    EXPECT_NE(Contents(folder / "d.png"), "");
    EXPECT_EQ(Contents(folder / "d.png"), Contents(folder / "e.png"));
}

TEST_F(KestrelTest, ChainFilesAreThoseOfPeople) {
    WriteText("chain.txt",
              "\xEF\xBB\xBF# warm\n\nTMFilter.Invert.1\tInversity=010\r\n \t\n#TMFilter.Blur.1\t\n"
              "TMFilter.Sepia.1\tSepia=005\n# end");
    EXPECT_EQ(Run("apply in.png out.png --chain chain.txt --print-chain active").out,
              "TMFilter.Invert.1\tInversity=010\nTMFilter.Sepia.1\tSepia=005\n");
    WriteText("wrong.txt", "\xEF\xBB\xBF\n# one\nTMFilter.Invert.1\t\n\nTMFilter.Nothing.1\t\n");
    EXPECT_NE(Run("apply in.png out.png --chain wrong.txt").err.find("wrong.txt: line 5: "), std::string::npos);
    WriteText("wide.txt", "\xFF\xFET\nM\n");
    EXPECT_NE(Run("apply in.png out.png --chain wide.txt").err.find("UTF-16"), std::string::npos);
}

TEST_F(KestrelTest, AnEmptyChainCopiesThePicture) {
    WriteText("empty.txt", "");
    EXPECT_EQ(Run("apply in.png out.png --chain empty.txt --print-chain active").out, "");
    EXPECT_EQ(Contents(folder / "in.png"), Contents(folder / "out.png"));
}

TEST_F(KestrelTest, InputMayBeTheOutput) {
    EXPECT_EQ(Run("apply in.png in.png -f Invert:Inversity=100").code, 0);
    EXPECT_EQ(DibRow(Load("in.png").image.get(), 0)[0], 255 - Byte(0, 0, 0));
    EXPECT_EQ(FileCount(), 4u);  // nothing beside the pictures and the two streams of the run
}

TEST_F(KestrelTest, DashesArePipes) {
    const Outcome run = Run("apply - - --format bmp -f Invert:Inversity=100 < in.png");
    EXPECT_EQ(run.code, 0);
    const LoadResult result = Load("stdout.txt");
    EXPECT_EQ(result.format, ImageFormat::Bmp);
    ASSERT_TRUE(result);
    EXPECT_EQ(DibRow(result.image.get(), 4)[26], 255 - Byte(8, 4, 2));
}

TEST_F(KestrelTest, TransparencyStaysWhereTheFormatHoldsIt) {
    EXPECT_EQ(Run("apply alpha.png out.png").err, "");
    const LoadResult kept = Load("out.png");
    ASSERT_TRUE(kept.mask);
    EXPECT_EQ(DibRow(kept.mask.get(), 2)[0], 255);
    EXPECT_EQ(DibRow(kept.mask.get(), 2)[1], 0);
    EXPECT_EQ(DibRow(kept.image.get(), 2)[1], Byte(0, 2, 1));  // the colour under alpha 0

    const Outcome flat = Run("apply alpha.png out.bmp --background '#102030'");
    EXPECT_EQ(flat.code, 0);
    EXPECT_EQ(std::count(flat.err.begin(), flat.err.end(), '\n'), 1);
    EXPECT_NE(flat.err.find("#102030"), std::string::npos);
    const LoadResult flattened = Load("out.bmp");
    EXPECT_EQ(DibRow(flattened.image.get(), 3)[0], 0x30);
    EXPECT_EQ(DibRow(flattened.image.get(), 3)[2], 0x10);
    EXPECT_EQ(DibRow(flattened.image.get(), 3)[3], Byte(1, 3, 0));
    EXPECT_EQ(Run("apply alpha.png quiet.bmp --quiet").err, "");
    EXPECT_EQ(DibRow(Load("quiet.bmp").image.get(), 3)[0], 0xFF) << "white unless another color is asked for";
}

TEST_F(KestrelTest, RegionsAreCutFromTheWholeResult) {
    EXPECT_EQ(Run("apply alpha.png out.png --region 0,1,4,3 -f Invert:Inversity=100").code, 0);
    const LoadResult part = Load("out.png");
    ASSERT_TRUE(part && part.mask);
    EXPECT_EQ(part.image->biWidth, 4);
    EXPECT_EQ(part.image->biHeight, 3);
    for (int y = 0; y < 3; ++y)  // one line is missing at the top, one at the bottom
        EXPECT_EQ(DibRow(part.image.get(), y)[3 * 3 + 1], 255 - Byte(3, y + 1, 1));
    EXPECT_EQ(Run("apply in.png corner.png --region 5,2,4,3").code, 0);
    EXPECT_EQ(DibRow(Load("corner.png").image.get(), 0)[0], Byte(5, 0, 0));
    EXPECT_EQ(Run("apply in.png out2.png --region 6,1,4,3").code, 1);
    EXPECT_EQ(Run("apply in.png out2.png --region 5,3,4,3").code, 1);
    EXPECT_EQ(Run("apply in.png out2.png --region 0,0,2147483647,2147483647").code, 1);
    EXPECT_FALSE(fs::exists(Path("out2.png")));
}

TEST_F(KestrelTest, SizesAreToldOnTheirWay) {
    const Outcome run =
        Run("apply in.png out.png --verbose --view 80x40"
            " -f Crop:LeftMargin=0,RightMargin=0.5,BottomMargin=0,TopMargin=1,FixRatioOn=0"
            " -f Scale:MaximumHorizontalSize=20,MaximumVerticalSize=25 -f Offset:OffsetX=-3");
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(run.err.find("in.png: 9 x 5 pixels in a frame of 9 x 5, origin 0, 0"), std::string::npos);
    EXPECT_NE(run.err.find("TMFilter.Crop.1: 4 x 5 pixels in a frame of 4 x 5, origin 0, 0"), std::string::npos);
    // 4 x 5 is a preview of 40 x 40, so that it may grow to the box.
    EXPECT_NE(run.err.find("TMFilter.Scale.1: 20 x 25 pixels"), std::string::npos);
    EXPECT_NE(run.err.find("TMFilter.Offset.1: 20 x 25 pixels in a frame of 20 x 25, origin 3, 0"), std::string::npos);
    EXPECT_NE(run.err.find("view 80x40: 20 x 20 at the end of the chain, the picture is asked for in 40 x 22 pixels"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(Load("out.png").image->biWidth, 20);
    EXPECT_NE(Run("apply in.png out.png --verbose --view 80x40 -f Crop").err.find("asked for in 80 x 40"),
              std::string::npos);
    // Half the original's size: half of its border of 20 pixels.
    EXPECT_EQ(Run("apply in.png out.png --render-scale 0.5 -f Passpartout:Borderhori=20,Borderverti=20").code, 0);
    EXPECT_EQ(Load("out.png").image->biWidth, 9 + 2 * 10);
}

TEST_F(KestrelTest, SizesThatNoPictureHasFail) {
    for (const char* filter : {
             "Scale:MaximumHorizontalSize=0,MaximumVerticalSize=0",
             "Scale:MaximumHorizontalSize=-7,MaximumVerticalSize=100",
             "Scale:MaximumHorizontalSize=2000000000,MaximumVerticalSize=2000000000,AllowEnlarge=1,KeepProportions=0",
             "Scale100:HorizontalProz=-50,VerticalProz=-50",
             "Scale100:HorizontalProz=2000000000,VerticalProz=2000000000",
             "Crop:LeftMargin=0.8,RightMargin=0.2,FixRatioOn=0",
             "PrintScale:PrintWidth=1000000,PrintHeight=1000000",
         }) {
        const Outcome run = Run(std::string("apply in.png none.png -f ") + filter);
        EXPECT_EQ(run.code, 1) << filter;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_FALSE(fs::exists(Path("none.png"))) << filter;
        // Without the program's own bound the filter itself says no.
        EXPECT_EQ(Run(std::string("apply in.png none.png --limit-pixels 9000000000000000000 -f ") + filter).code, 1);
    }
}

TEST_F(KestrelTest, MistypedNamesGetASuggestion) {
    EXPECT_NE(Run("aply in.png out.png").err.find("did you mean apply?"), std::string::npos);
    EXPECT_NE(Run("settings sett a b c").err.find("did you mean set?"), std::string::npos);
    EXPECT_NE(Run("describe Sepai").err.find("did you mean Sepia?"), std::string::npos);
    // The help that is named is that of the innermost command.
    for (const char* command : {"", " store", " store list", " describe", " apply in.png"}) {
        const std::string named = std::string(command).substr(0, std::string(command).find(" in.png"));
        EXPECT_NE(Run(command).err.find("\"kestrel" + named + " --help\""), std::string::npos) << command;
    }
    EXPECT_EQ(Run("quite-another-word").err.find("did you mean"), std::string::npos);
}

TEST_F(KestrelTest, TheLimitOfPixelsHoldsForEachStep) {
    WriteText("chain.txt",
              "TMFilter.Scale100.1\tKeepProportions=1,AllowEnlarge=1,HorizontalProz=400,VerticalProz=400\n"
              "TMFilter.Crop.1\tLeftMargin=0,RightMargin=0.1,BottomMargin=0,TopMargin=0.1,FixRatioOn=0\n");
    const Outcome refused = Run("apply in.png out.png --chain chain.txt --limit-pixels 719");
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.err.find("a picture of 720 pixels, the limit is 719"), std::string::npos) << refused.err;
    EXPECT_EQ(Run("apply in.png out.png --chain chain.txt --limit-pixels 720").code, 0);
    EXPECT_EQ(Load("out.png").image->biWidth, 4);
}

TEST_F(KestrelTest, WrongCommandsEndWithTwoAndOneLine) {
    for (const char* arguments : {
             "",
             "frobnicate",
             "aply in.png out.png",
             "settings gett KEY NAME",
             "apply",
             "apply in.png",
             "apply in.png out.png more.png",
             "apply in.png out.png --frobnicate",
             "apply in.png out.png --json",
             "--json filters",
             "filters --quality 80",
             "apply in.png out.png -f",
             "apply in.png out.png -f Nothing",
             "apply in.png out.png -f sepia:Sepia=1",
             "apply in.png out.png -f \"$(printf 'Sepia:a\\tb')\"",
             "apply in.png out.png --quality 0",
             "apply in.png out.png --quality 101",
             "apply in.png out.png --quality 80x",
             "apply in.png out.png --threads 0",
             "apply in.png out.png --png-level 10",
             "apply in.png out.jpg --chroma 443",
             "apply in.png out.png --quality 80 --quality 90",
             "apply in.png out.png --format gargle",
             "apply in.png out.png --background 12345",
             "apply in.png out.png --background '#GG0000'",
             "apply in.png out.png --region 1,2,3",
             "apply in.png out.png --region 1,2,0,4",
             "apply in.png out.png --region=-1,2,3,4",
             "apply in.png out.png --region 1,2,3,99999999999",
             "apply in.png out.png --view 640",
             "apply in.png out.png --view 0x480",
             "apply in.png out.png --view 640x480x3",
             "apply in.png out.png --view 640x99999999999",
             "apply in.png out.png --render-scale 0",
             "apply in.png out.png --render-scale nan",
             "apply in.png out.png --render-scale inf",
             "apply in.png out.png --limit-pixels 0",
             "apply in.png out.png --print-chain both",
             "apply in.png out.png --print-chain ''",
             "apply in.png out.png --region ''",
             "apply in.png out.png --chain ''",
             "apply in.png out.png -f ''",
             "apply in.png out.png --quiet --verbose",
             "apply in.png - ",
             "apply in.png - --format png --print-chain active",
             "apply - out.png --chain - < in.png",
             "describe",
             "describe Nothing",
             "describe Chain",
             "describe Invert --lang xx",
             "dialog",
             "dialog Nothing",
             "dialog Invert --lang xx",
             "dialog Invert --text ''",
             "dialog Invert in.png in.png",
             "filters --lang xx",
             "strings IDS_NOTHING",
             "strings --lang xx",
             "strings --lang ''",
             "color red",
             "color",
         }) {
        const std::size_t before = FileCount();
        const Outcome run = Run(arguments);
        EXPECT_EQ(run.code, 2) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << arguments << "\n" << run.err;
        EXPECT_EQ(run.err.substr(0, 9), "kestrel: ") << arguments;
        EXPECT_LE(FileCount(), std::max<std::size_t>(before, 4)) << arguments;
    }
}

TEST_F(KestrelTest, WorkThatFailsEndsWithOneAndLeavesNoFile) {
    WriteText("text.png", "this is no picture");
    WriteText("empty.png", "");
    WriteText("cut.png", Contents(folder / "in.png").substr(0, 40));
    WriteText("unknown.txt", "TMFilter.Invert.1\tInversity=5\nTMFilter.Nothing.1\tx\n");
    WriteText("half.txt", "TMFilter.Invert.1\tInversity=5\nTMFilter.Invert.1\tInver");
    std::string many;
    for (int i = 0; i < 100000; ++i) many += "TMFilter.Invert.1\tInversity=5\n";
    WriteText("many.txt", many);
    const struct {
        const char* arguments;
        const char* says;
    } cases[] = {
        {"apply missing.png out.png", "missing.png"},
        {"apply text.png out.png", "text.png"},
        {"apply empty.png out.png", "empty.png"},
        {"apply cut.png out.png", "cut.png"},
        {"apply . out.png", ".: "},
        {"apply - out.png < text.png", "standard input"},
        {"apply - out.png < /dev/zero", "standard input"},
        {"apply - out.png < /dev/null", "standard input"},
        {"apply in.png nowhere/out.png", "nowhere/out.png"},
        {"apply in.png out.gargle",
         "out.gargle: the name does not tell a format that can be written (bmp, gif, jp2, jpeg"},
        {"filters >&-", "standard output"},
        {"apply in.png - --format png >&-", "standard output"},
        {"apply - out.png <&-", "standard input"},
        {"--version >/dev/null; ulimit -f 1; " KESTREL_APP " apply in.png out.bmp"
         " -f Scale100:KeepProportions=1,AllowEnlarge=1,HorizontalProz=1000,VerticalProz=1000",
         "out.bmp: cannot write: File too large"},
        {"--version >/dev/null; ulimit -f 1; " KESTREL_APP " apply in.png out.bmp -f Histo:Intensity=000"
         " -f Scale100:KeepProportions=1,AllowEnlarge=1,HorizontalProz=1000,VerticalProz=1000",
         "out.bmp: cannot write the file: File too large"},
        {"apply in.png out", "--format"},
        {"apply in.png out.png --chain missing.txt", "missing.txt"},
        {"apply in.png out.png --chain .", ".: "},
        {"apply in.png out.png --chain unknown.txt", "unknown.txt: line 2: "},
        {"apply in.png out.png --chain half.txt", "half.txt: line 2: "},
        {"apply in.png out.png --chain many.txt", "many.txt: line 1001: "},
        {"apply in.png out.png --limit-pixels 44", "--limit-pixels"},
        {"apply in.png out.jpg -f 'Scale100:KeepProportions=0,AllowEnlarge=1,HorizontalProz=800000,VerticalProz=100'",
         "out.jpg: "},  // 72,000 pixels are more than a JPEG file has in a line
        {"apply in.png out.png -f 'Crop:LeftMargin=0.9,RightMargin=0.1,BottomMargin=0,TopMargin=1'", "margins"},
        {"apply in.png out.png -f "
         "'Scale100:KeepProportions=0,AllowEnlarge=1,HorizontalProz=1000000,VerticalProz=1000000'",
         "--limit-pixels"},
        {"apply in.png - --format png > /dev/full", "standard output"},
        {"filters > /dev/full", "standard output"},
        {"color '#000000' --chain unknown.txt", "line 2"},
    };
    for (const auto& row : cases) {
        const Outcome run = Run(row.arguments);
        EXPECT_EQ(run.code, 1) << row.arguments;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << row.arguments << "\n" << run.err;
        EXPECT_NE(run.err.find(row.says), std::string::npos) << row.arguments << "\n" << run.err;
        for (const auto& entry : fs::directory_iterator(folder))
            EXPECT_NE(entry.path().filename().string().substr(0, 3), "out") << row.arguments << entry.path();
    }
}

TEST_F(KestrelTest, ABigParameterTextIsTakenAsItIs) {
    WriteText("big.txt", "TMFilter.Invert.1\t" + std::string(1 << 20, '\xE9') + "Inversity=99999999999\n");
    EXPECT_EQ(Run("apply in.png out.png --chain big.txt").code, 0);
    EXPECT_TRUE(Load("out.png"));
}

TEST_F(KestrelTest, APartlyReadablePictureIsWrittenWithAWarning) {
    const DibPtr image(DibCreate(24, 200, 200));
    for (int y = 0; y < 200; ++y)
        for (int i = 0; i < 600; ++i) DibRow(image.get(), y)[i] = Byte(i / 3, y, i % 3);
    ASSERT_FALSE(ImageLoader::Save(Path("whole.jpg"), image.get(), nullptr));
    const std::string cut = Contents(folder / "whole.jpg").substr(0, fs::file_size(Path("whole.jpg")) / 2);
    WriteText("cut.jpg", cut);
    const Outcome run = Run("apply cut.jpg out.png");
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.err.substr(0, 25), "kestrel: warning: cut.jpg");
    EXPECT_EQ(Load("out.png").image->biHeight, 200);

    fs::create_symlink("cut.jpg", Path("link.jpg"));
    for (const char* arguments :
         {"apply cut.jpg cut.jpg", "apply cut.jpg ./cut.jpg", "apply link.jpg cut.jpg", "apply cut.jpg link.jpg",
          "apply - cut.jpg < cut.jpg", "apply cut.jpg - --format jpeg 1<> cut.jpg"}) {
        EXPECT_EQ(Run(arguments).code, 1) << arguments;
        EXPECT_EQ(Contents(Path("cut.jpg")), cut) << arguments << ": what is left of the original is gone";
    }
}

TEST_F(KestrelTest, WhatStandsBesideThePixelsReachesTheOutput) {
    ImageMetadata metadata;
    metadata.density = {Density::Unit::PerInch, 300, 300};
    metadata.exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const SaveOptions save{.metadata = &metadata};
    ASSERT_FALSE(ImageLoader::Save(Path("described.jpg"), DibPtr(DibCreate(24, 9, 9)).get(), nullptr, save));
    for (const char* output : {"out.jpg", "out.png"}) {
        EXPECT_EQ(Run(std::string("apply described.jpg ") + output).err, "");
        EXPECT_EQ(Load(output).metadata.exif, metadata.exif);
        EXPECT_EQ(PerMeter(Load(output).metadata.density), std::make_pair(11811, 11811));
    }
    EXPECT_NE(Run("apply described.jpg out.bmp").err.find("EXIF data"), std::string::npos);
    // What a limit refuses names the option that raises it.
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_NE(Run("apply pipe out.png --limit-input 9 & cat in.png > pipe; wait").err.find("--limit-input"),
              std::string::npos);
    EXPECT_EQ(Run("apply in.png out.png --limit-scans 0").code, 2);
}

TEST_F(KestrelTest, StandardErrorThatCannotBeWrittenChangesNothing) {
    for (const std::string lost : {"2>/dev/full", "2>&-", "2>&- >&- <&-"}) {
        fs::remove(Path("out.png"));
        EXPECT_EQ(Run("apply in.png out.png --verbose " + lost).code, 0) << lost;
        EXPECT_TRUE(Load("out.png")) << lost;
        EXPECT_EQ(Run("apply missing.png out.png " + lost).code, 1) << lost;
        EXPECT_EQ(Run("apply in.png out.png --frobnicate " + lost).code, 2) << lost;
    }
}

TEST_F(KestrelTest, NamesNeverDriveTheTerminal) {
    for (const char* name : {"\x1B[2J.png",
                             "\xC2\x9B"
                             "2J.png",
                             "\x9B"
                             "2J.png",
                             "\x7F\r.png", "a\nkestrel: b.png"}) {
        const Outcome run = Run("apply --verbose '" + std::string(name) + "' out.png");
        EXPECT_EQ(run.code, 1);
        for (const char* raw : {"\x1B", "\x9B", "\x7F", "\r"})
            EXPECT_EQ(run.err.find(raw), std::string::npos) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_EQ(Run("apply 'gr\xC3\xBC\xC3\x9F"
                  "e.png' out.png")
                  .err.substr(0, 20),
              "kestrel: gr\xC3\xBC\xC3\x9F"
              "e.png");
}

TEST_F(KestrelTest, TellsWhatAFilterDidNotTakeUp) {
    const struct {
        const char* filter;
        const char* told;  ///< null: nothing
    } cases[] = {
        {"Sepia:Sepia=80", nullptr},
        {"Sepia: Sepia = 80", "\"Sepia = 80\" is not taken up as it stands; "},
        {"Sepia:Sepa=80", "\"Sepa=80\" is not taken up; did you mean Sepia?"},
        {"Sepia:Sepia=abc", "\"Sepia=abc\" is not taken up as it stands; "},
        {"Sepia:Sepia=80%", "\"Sepia=80%\" is not taken up as it stands; "},
        {"Sepia:Sepia=99999999999", "Sepia=99999999999"},
        {"Sepia:Sepia=1,Sepia=2", "\"Sepia=2\" is not taken up; an earlier"},
        {"Exposure:Red=010,Gren=020,Blue=-5", "\"Gren=020\" is not taken up; did you mean Green?"},
        {"RGBColor:RedG=30", "\"RedG=30\" is not taken up; did you mean Red?"},
        {"GradCurves:Linear=1", "add FilterOn=1"},
        {"GradCurves:Linear=1,FilterOn=0", nullptr},
        {"Passpartout:BordersizeOn=1,Radius=007", nullptr},
        {"Passpartout:BordersizeOn=1,Radius=008", "a corner radius of 8 reaches beyond"},
        {"Rotate:Angle=12.3456", nullptr},
        {"Rotate:Angle=+12", nullptr},
        {"Text:txt=a=b & c", nullptr},
    };
    for (const auto& row : cases) {
        const Outcome told = Run(std::string("apply in.png out.png -f '") + row.filter + "'");
        EXPECT_EQ(told.code, 0);
        EXPECT_EQ(std::count(told.err.begin(), told.err.end(), '\n'), row.told ? 1 : 0) << row.filter << told.err;
        EXPECT_NE(told.err.find(row.told ? row.told : ""), std::string::npos) << told.err;
        fs::remove(Path("out.png"));
        EXPECT_EQ(Run(std::string("apply in.png out.png --strict -f '") + row.filter + "'").code, row.told ? 2 : 0);
        EXPECT_EQ(fs::exists(Path("out.png")), !row.told) << row.filter;
    }
    // What is taken up but unusual is told and not refused. Readers look for their key anywhere.
    for (const auto& [text, words] : {std::pair{"Sepia=101", "outside of 0 to 100"}, {"XSepia=7", "read as Sepia"}}) {
        const Outcome told = Run(std::string("apply in.png out.png --strict -f Sepia:") + text);
        EXPECT_EQ(told.code, 0);
        EXPECT_NE(told.err.find(words), std::string::npos) << told.err;
    }
    WriteText("chain.txt", "# mistyped\nTMFilter.Invert.1\tInversity=5\nTMFilter.Sepia.1\tSepa=080\n");
    EXPECT_NE(Run("apply in.png out.png --chain chain.txt").err.find("chain.txt: line 3: \"Sepa=080\""),
              std::string::npos);
    EXPECT_EQ(Run("apply in.png out.png --chain chain.txt --strict").code, 2);
    // What the filters themselves write and offer is taken up whole.
    std::string offered;
    for (const TellingSetting& setting : kTellingSettings)
        offered += fmt::format("TMFilter.{}.1\t{}\n", setting.filter, setting.text);
    for (const ClassRow* row : ListFilters())
        offered += fmt::format("{}\t{}\n", row->description->progId, row->parameters().defaultText);
    WriteText("offered.txt", offered);
    EXPECT_EQ(Run("color 808080 --strict --chain offered.txt").err, "");
}

TEST_F(KestrelTest, WordsOfPeopleBecomeTextsOfTheFilter) {
    const struct {
        const char* arguments;
        const char* made;  ///< piece of the chain's text
    } cases[] = {
        {"-f 'Text:txt=Hello, world'",
         "fchs=0, fsz=12, fcol=16777215, fb=1, fi=0, fu=0, shd=100, shr=0, shg=0, shb=0, "
         "tr=0, txt=Hello\\2c world\n"},
        {"-f 'Text:txt=a, b, fsz=30,pos=9'", "pos=9, dir=0, offset=10, fname=Arial, fpia=0, fchs=0, fsz=30,"},
        {"-f 'Text:txt=a, b, fsz=30,pos=9'", "txt=a\\2c b\n"},
        {"-f 'Text:txt=Gr\xC3\xBC\xC3\x9F"
         "e \xC2\xA9'",
         "txt=Gr\xFC\xDF"
         "e \xA9\n"},
        {"-f 'Text:txt=\xD0\x9C\xD0\xB8\xD1\x80'", "fchs=204,"},
        {"-f 'Text:txt=\xD0\x9C\xD0\xB8\xD1\x80'", "txt=\xCC\xE8\xF0\n"},
        {"-f 'Text:txt=\xC5\x81\xC3\xB3"
         "d\xC5\xBA'",
         "fchs=238,"},
        {"-f 'Text:txt=\xE8\xA1\xA8'", "fchs=128,"},
        {"-f 'Text:txt=\xE8\xA1\xA8'", "txt=\x95\\5c\n"},
        {"-f 'Text:txt=\xE8\xA1\xA8n'", "fchs=134,"},  // in the Japanese set the filter would see a line break
        {"-f 'Text:txt=a\\nb\\5c\\e9'", "txt=a\\0ab\\5c\xE9\n"},
        {"-f \"$(printf 'Text:txt=Gr\\374n')\"", "txt=Gr\xFCn\n"},
        {"-f 'Text:fcol=#FF8001'", "fcol=98559,"},
        {"-f 'Text:fname=A, B'", "fname=A\\2c B,"},
        {"-f Invert -f Text:fsz=30 --text-of 2 '-5, pos=3 \\5c'", "pos=8,"},
        {"-f Invert -f Text:fsz=30 --text-of 2 '-5, pos=3 \\5c'", "txt=-5\\2c pos\\3d3 \\5c5c\n"},
    };
    for (const auto& row : cases) {
        const Outcome run = Run(std::string("apply in.png out.png --print-chain active ") + row.arguments);
        EXPECT_EQ(run.code, 0) << row.arguments << run.err;
        EXPECT_NE(run.out.find(row.made), std::string::npos) << row.arguments << "\n" << run.out;
    }
    const std::string longest(199, 'x');
    EXPECT_EQ(Run("apply in.png out.png -f Text:txt=" + longest).code, 0);
    for (const std::string& refused :
         {"-f Text:txt=" + longest + "x", std::string("-f Text:fchs=204,txt=\xC3\xBC"),
          std::string("-f Text:txt=\xD0\x96\xD8\xB4"), std::string("-f Text:fchs=x,txt=a"),
          std::string("-f Text:fcol=#12345"), std::string("-f Text:txt=a --text-of 1 b"),
          std::string("-f Text --text-of 2 b"), std::string("-f Text --text-of 0 b"),
          std::string("-f Invert --text-of 1 b"), "-f Text:fname=" + longest.substr(0, 64)}) {
        const Outcome run = Run("apply in.png none.png " + refused);
        EXPECT_EQ(run.code, 2) << refused;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_NE(Run("apply in.png out.png -f Rotate:Angle=-90").err.find("write Angle=270"), std::string::npos);
    EXPECT_EQ(Run("apply in.png out.png -f Rotate:Angle=270").err, "");
}

TEST_F(KestrelTest, ListsFormats) {
    const std::string list = Run("formats").out;
    EXPECT_NE(list.find("raw   read        Raw"), std::string::npos) << list;
    EXPECT_NE(list.find("tiff  read write  TIFF"), std::string::npos) << list;
    EXPECT_NE(Run("formats --json").out.find("\"name\": \"psd\""), std::string::npos);
    const auto jpeg = [&](const char* option) {
        Run(std::string("apply in.png out.jpg ") + option);
        return Contents(folder / "out.jpg");
    };
    EXPECT_EQ(jpeg(""), jpeg("--quality 92"));
    EXPECT_NE(jpeg(""), jpeg("--quality 91"));
    EXPECT_EQ(jpeg("--quality 80"), jpeg("--quality 80 --chroma 4:2:0"));
    EXPECT_NE(jpeg("--quality 80"), jpeg("--quality 80 --chroma 444"));
    EXPECT_EQ(Run("apply in.png out.tif").code + Run("apply out.tif out.psd").code, 0);
    EXPECT_TRUE(Load("out.psd"));
}

TEST_F(KestrelTest, DialogHandsOverToItsHelper) {
    for (const char* name : {"bin", "libexec/kestrel"}) fs::create_directories(folder / name);
    fs::copy_file(KESTREL_APP, folder / "bin/kestrel");
    const auto dialog = [&](const std::string& words) {
        return Run("--version >version; bin/kestrel dialog " + words);
    };
    Outcome run = dialog("Invert");
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              "kestrel: dialog: the program kestrel-dialog is not installed; it is built where Qt 6 is found\n");
    // Where it is installed first, then beside the program, which is looked at before.
    for (const auto& [place, code] : {std::pair{"libexec/kestrel/kestrel-dialog", 1}, {"bin/kestrel-dialog", 0}}) {
        WriteText(place, "#!/bin/sh\nprintf '<%s>' \"$@\"\nexit " + std::to_string(code) + "\n");
        fs::permissions(folder / place, fs::perms::owner_all);
        run = dialog("Invert in.png --text 'A b=1' --lang German");
        EXPECT_EQ(run.code, code) << place;
        EXPECT_EQ(run.out, "<--text><A b=1><--lang><de><--><Invert><in.png>");
        EXPECT_EQ(dialog("Invert -").out, "<--><Invert><->");
    }
    WriteText("bin/kestrel-dialog", "no program");
    EXPECT_EQ(dialog("Invert").code, 1);
}

#ifdef KESTREL_DIALOG_APP
TEST_F(KestrelTest, TheDialogsHelperTellsInOneLineWhatItCannotDo) {
    const struct {
        std::string words;
        int code;
        std::string told;
    } cases[] = {{"", 2, "a filter and at most one picture"},
                 {"Invert a b", 2, "a filter and at most one picture"},
                 {"Nothing", 2, "there is no filter \"Nothing\""},
                 {"Invert --text", 2, "--text: its value is missing"},
                 {"Invert --lang xx", 2, "--lang: there are no texts in \"xx\""},
                 {"Invert --what", 2, "unknown option --what"},
                 {"Invert --text 'A=1\tB=2'", 2, "no TAB"},
                 {"-- Invert --none", 1, "--none: No such file or directory"},
                 {"Invert in.png", 1, "no window can be opened"}};
    for (const auto& c : cases) {
        const Outcome run = Run("--version >version; QT_QPA_PLATFORM=none " KESTREL_DIALOG_APP " " + c.words);
        EXPECT_EQ(run.code, c.code) << c.words;
        EXPECT_EQ(run.out, "") << c.words;
        EXPECT_EQ(run.err.rfind("kestrel-dialog: ", 0), 0U) << run.err;
        EXPECT_NE(run.err.find(c.told), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }
    const Outcome help = Run("--version >version; " KESTREL_DIALOG_APP " --help");
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.out.rfind("kestrel-dialog FILTER", 0), 0U);
}
#endif

TEST_F(KestrelTest, ListsAndDescribesFilters) {
    const Outcome list = Run("filters");
    EXPECT_EQ(list.code, 0);
    EXPECT_LT(list.out.find("Emboss "), list.out.find("Invert "));
    EXPECT_LT(list.out.find("Invert "), list.out.find("Sepia "));
    EXPECT_EQ(list.out.find("Chain "), std::string::npos);
    const Outcome json = Run("filters --json");
    EXPECT_NE(json.out.find("\"progId\": \"TMFilter.Invert.1\""), std::string::npos);
    for (const char* name : {"Invert", "Invert.1", "TMFilter.Invert.1"}) {
        const Outcome told = Run(std::string("describe ") + name);
        EXPECT_NE(told.out.find("Inversity=000"), std::string::npos);
        EXPECT_NE(told.out.find("0 to 100"), std::string::npos);
    }
    EXPECT_NE(Run("describe Text").out.find("270 reading downward"), std::string::npos);
    EXPECT_NE(Run("describe Invert --json").out.find("\"key\": \"Inversity\""), std::string::npos);
}

TEST_F(KestrelTest, SpeaksFiveLanguages) {
    EXPECT_EQ(Run("strings IDS_BLACKWHITE_NAME --lang de").out, "Schwarz-Wei\xC3\x9F\n");
    EXPECT_EQ(Run("strings IDS_BLACKWHITE_NAME").out, "Black & White\n");
    EXPECT_NE(Run("strings").out.find("\nIDS_BLACKWHITE_NAME\n"), std::string::npos);
    EXPECT_NE(Run("strings --lang it").out.find(" Miglioramento\\nimmagine\n"), std::string::npos);
    EXPECT_NE(Run("filters --lang de").out.find("Blur                Weichzeichnen - Macht"), std::string::npos);
    EXPECT_NE(Run("filters --lang de --json").out.find("\"title\": \"Bildverbesserung\""), std::string::npos);
    const std::string told = Run("describe BrightnessContrast --lang fr").out;
    EXPECT_EQ(told.find("BrightnessContrast - Am\xC3\xA9lioration de l\xE2\x80\x99image\nModifie ensemble"), 0u)
        << told;
    EXPECT_NE(told.find("-100 to 100  0        Luminosit\xC3\xA9\n"), std::string::npos) << told;
    EXPECT_NE(Run("describe Invert --json --lang es").out.find("\"labelText\": \"Invertir imagen\""),
              std::string::npos);
    const struct {
        const char* command;
        const char* said;
    } labels[] = {{"HSB --lang de", "Rot: Farbton\n"},
                  {"Gamma --lang en", "All Colors: Shadows – Highlights\n"},
                  {"Gamma --lang en", "Red: Hue\n"},
                  {"Gamma --lang en", "Red: Cyan – Red\n"},
                  {"WhiteBlackGrey --lang fr", ": Vert\n"},
                  {"PrintCrop --lang es", "0 Pulgadas, 1 Centímetros\n"},
                  {"RgbMixer --json --lang en", "\"otherLabelText\": \"Red Offset\""}};
    for (const auto& [command, said] : labels)
        EXPECT_NE(Run(std::string("describe ") + command).out.find(said), std::string::npos) << command << ": " << said;
    EXPECT_NE(Run("describe HSB --json --lang de").out.find("\"captionText\": \"Alle Farben\""), std::string::npos);
}

TEST_F(KestrelTest, PrintsColours) {
    EXPECT_EQ(Run("color '#010203' -f Invert:Inversity=100").out, "#FEFDFC\n");
    EXPECT_EQ(Run("color 01020380 -f Invert:Inversity=100").out, "#FEFDFC80\n");
    EXPECT_EQ(Run("color '#abcdef'").out, "#ABCDEF\n");
    EXPECT_EQ(Run("color 010203 -f Transparency:Transparency=50").out, "#0102037F\n");
    WriteText("chain.txt", "TMFilter.Invert.1\tInversity=100\n");
    EXPECT_EQ(Run("color '#FFFFFF' --chain chain.txt -f Invert:Inversity=100").out, "#FFFFFF\n");
}

TEST_F(KestrelTest, HelpAndVersionAreNoErrors) {
    for (const char* arguments :
         {"--help", "--version", "apply --help", "filters --help", "describe --help", "color -h"}) {
        const Outcome run = Run(arguments);
        EXPECT_EQ(run.code, 0) << arguments;
        EXPECT_EQ(run.err, "") << arguments;
        EXPECT_NE(run.out, "") << arguments;
    }
}

/// Words such as "--region" in a text; in the manual, backslashes stand before hyphens and the letters of fonts.
std::set<std::string> LongOptions(std::string text) {
    for (const char* markup : {"\\fB", "\\fI", "\\fR", "\\"})
        for (std::size_t at = 0; (at = text.find(markup, at)) != text.npos;) text.erase(at, std::strlen(markup));
    std::set<std::string> options;
    for (std::size_t at = 0; (at = text.find("--", at)) != text.npos;) {
        const std::size_t end = std::min(text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at), text.size());
        options.insert(text.substr(at, end - at));
        at = end;
    }
    return options;
}

TEST_F(KestrelTest, HelpAndManualTellTheSame) {
    fs::create_directory(folder / "pages");
    EXPECT_EQ(Run("manual pages").code, 0);
    const std::map<std::string, std::vector<const char*>> commands = {
        {"apply", {}},
        {"box", {"list", "info", "add", "get", "remove", "copy", "analyze", "chain"}},
        {"color", {}},
        {"describe", {}},
        {"dialog", {}},
        {"filters", {}},
        {"formats", {}},
        {"info", {}},
        {"log", {}},
        {"settings", {"get", "set", "list"}},
        {"store", {"list", "tree", "get", "put", "remove", "copy", "check", "repair"}},
        {"strings", {}}};
    const std::string manual = Contents(KESTREL_MANUAL);
    std::set<std::string> all = LongOptions(Run("--help").out);
    for (const auto& [command, parts] : commands) {
        std::string help = Run(command + " --help").out;
        for (const char* part : parts) help += Run(command + " " + part + " --help").out;
        std::set<std::string> told = LongOptions(help);
        all.insert(told.begin(), told.end());
        told.erase("--help");
        EXPECT_EQ(LongOptions(Contents(folder / "pages" / ("kestrel-" + command + ".1"))), told) << command;
        EXPECT_NE(manual.find(".BR kestrel\\-" + command + " (1)"), std::string::npos) << command;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "pages"), fs::directory_iterator()),
              static_cast<std::ptrdiff_t>(commands.size()));
    for (const std::string& option : LongOptions(manual)) EXPECT_TRUE(all.contains(option)) << option;
    for (const char* code : {"0", "1", "2", "3", "130", "143"}) {
        EXPECT_NE(manual.find(std::string("\n.B ") + code + "\n"), std::string::npos) << code;
        EXPECT_NE(Run("--help").out.find(code), std::string::npos) << code;
    }
}

/// Starts the program without a shell and interrupts it when it waits for its input.
int InterruptWhileReading(const std::string& output, int signal) {
    int pipe[2];
    EXPECT_EQ(::pipe(pipe), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipe[0], STDIN_FILENO);
        close(pipe[0]);
        close(pipe[1]);
        execl(KESTREL_APP, "kestrel", "apply", "-", output.c_str(), nullptr);
        _exit(99);
    }
    close(pipe[0]);
    EXPECT_EQ(write(pipe[1], "\x89PNG\r\n\x1a\n", 8), 8);
    // Once it waits for signals it has blocked them; before, the default action would end it without a code.
    const std::string status = "/proc/" + std::to_string(child) + "/status";
    for (int tries = 0; tries < 500 && Contents(status).find("SigBlk:\t0000000000004002") == std::string::npos; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    kill(child, signal);
    int state = 0;
    waitpid(child, &state, 0);
    close(pipe[1]);
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

TEST_F(KestrelTest, AnInterruptionEndsWithItsCodeAndNoFile) {
    EXPECT_EQ(InterruptWhileReading(Path("out.png"), SIGINT), 130);
    EXPECT_EQ(InterruptWhileReading(Path("out.png"), SIGTERM), 143);
    EXPECT_FALSE(fs::exists(Path("out.png")));
}

TEST_F(KestrelTest, KeepsSettings) {
    const test::PrivateFolders folders;
    EXPECT_EQ(Run("settings list").out, "");
    EXPECT_EQ(Run("settings set Software/A/View Name 'Gr\xC3\xBC\xC3\x9F"
                  "e'")
                  .code,
              0);
    EXPECT_EQ(Run("settings set 'Software\\A' '' own").code, 0);
    EXPECT_EQ(Run("settings get software/a/view name").out,
              "Gr\xC3\xBC\xC3\x9F"
              "e\n");
    EXPECT_EQ(Run("settings list").out,
              "[Software\\A]\n=own\n\n[Software\\A\\View]\nName=Gr\xC3\xBC\xC3\x9F"
              "e\n\n");
    QvString text;
    EXPECT_EQ(RegistryRead(HKEY_CURRENT_USER, "Software\\A\\View", "Name", text), kSuccess);
    EXPECT_EQ(text,
              "Gr\xFC\xDF"
              "e")
        << "stored as Windows-1252";
    EXPECT_EQ(Run("settings set k n '\xE6\x97\xA5'").code, 2);
    EXPECT_EQ(Run("settings set --bytes k n '\xE6\x97\xA5'").code, 0);
    EXPECT_EQ(Run("settings get k n").out, "\xE6\x97\xA5\n");
    EXPECT_EQ(Run("settings get k other").code, 1);
    EXPECT_EQ(Run("settings get other n").code, 1);
    EXPECT_EQ(Run("settings get --branch all k n").code, 1);
    EXPECT_EQ(Run("settings set --branch classes TMFilter.Invert/CurVer '' TMFilter.Invert.1").code, 0);
    EXPECT_EQ(Run("settings get --branch classes TMFilter.Invert/CurVer ''").out, "TMFilter.Invert.1\n");
    EXPECT_EQ(Run("settings get --branch nowhere k n").code, 2);
    EXPECT_EQ(Run("settings").code, 2);
}

TEST_F(KestrelTest, LogsQuietly) {
    const test::PrivateFolders folders;
    for (const char* tells : {"--version", "filters", "describe Invert", "describe Nothing",
                              "color '#336699' -f Invert", "settings list", "log", "frobnicate", "apply"})
        Run(tells);
    EXPECT_NE(Run("log").err.find("nothing was logged today"), std::string::npos) << Run("log").out;
    EXPECT_EQ(Run("apply none.png out.png -f Invert").code, 1);
    const std::string today(TodaysLog("kestrel"));
    const int held = open(today.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    EXPECT_EQ(Run("--version >/dev/null; timeout 10 " KESTREL_APP " apply in.png out.png -f Invert").code, 0)
        << "a log that another process holds delays nothing";
    close(held);
    const Outcome log = Run("log");
    EXPECT_EQ(log.code, 0);
    for (const char* line : {"\tkestrel apply none.png out.png -f Invert\n",
                             "\tnone.png: ", "\tProgram/DLL \"kestrel\" terminated correctly\n"})
        EXPECT_NE(log.out.find(line), std::string::npos) << line << "is missing in\n" << log.out;
    EXPECT_NE(Run("log --program other").err, "");
    fs::remove_all(folders / "state");
    std::ofstream(folders / "state") << "no folder";
    EXPECT_EQ(Run("apply in.png out.png -f Invert").err, "") << "no log is no failure";
}

}  // namespace
}  // namespace kestrel
