// "kestrel apply FILE... --output PATTERN", run as a person runs it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

#include "kestrel/codec/ImageLoader.h"
#include "tests/support/ProgramTest.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::ProgramTest;

struct BatchTest : ProgramTest {
    BatchTest() {
        fs::create_directories(folders / "work/in/deep");
        for (const char* name : {"in/a.png", "in/b.png", "in/deep/c.png"}) Make(name, name[3] == 'd' ? 9 : name[3]);
        fs::copy_file(Path("in/a.png"), Path("in/d.bmp.txt"));
    }
    void Make(const std::string& name, int seed) const {
        const DibPtr image(DibCreate(24, 60, 40));
        for (int y = 0; y < 40; ++y)
            for (int i = 0; i < 180; ++i) DibRow(image.get(), y)[i] = static_cast<std::uint8_t>(i * seed + y * 31);
        ASSERT_FALSE(ImageLoader::Save(Path(name), image.get(), nullptr));
    }
    /// Every file below a folder with its bytes.
    std::map<std::string, std::string> Files(const std::string& folder) const {
        std::map<std::string, std::string> files;
        if (fs::exists(Path(folder)))
            for (const auto& entry : fs::recursive_directory_iterator(Path(folder)))
                if (entry.is_regular_file())
                    files[fs::relative(entry.path(), Path(folder)).string()] = test::ReadBytes(entry.path());
        return files;
    }
    std::string Names(const std::string& folder) const {
        std::string names;
        for (const auto& [name, bytes] : Files(folder)) names += name + " ";
        return names;
    }
};

TEST_F(BatchTest, PatternsNameTheOutputs) {
    const struct {
        const char* arguments;
        int code;
        const char* names;  ///< in "out"
    } cases[] = {
        {"in/a.png in/b.png -o 'out/{stem}-{n}.jpg'", 0, "a-1.jpg b-2.jpg "},
        {"in/b.png in/a.png in/a.png -o 'out/{stem}-{n}.jpg'", 0, "a-1.jpg b-2.jpg "},
        {"in -r -o 'out/{dir}/{stem}.{ext}'", 0, "in/a.png in/b.png in/deep/c.png "},
        {"in -r -o 'out/{stem}' --format bmp", 0, "a b c "},
        {"in -r -o out/ --format tiff", 0, "a.tif b.tif c.tif "},
        {"in/a.png in -o out/", 1, "a.png "},
        {"in/a.png missing.png in/d.bmp.txt -o out/x.png", 1, "x.png "},
        {"in -r -o out/x.png", 1, "x.png "},
        {"in -r -o out/x.png --existing rename", 0, "x-2.png x-3.png x.png "},
        {"in -r -o out/x.png --existing replace", 1, "x.png "},
        {"in/a.png -o 'out/{stem}.gargle'", 1, ""},
        {"in -r -o out/ --dry-run", 0, ""},
        {"in -r -o out/ --shard 2/2", 0, "b.png "},
        {"in -r -o 'out/{n}.png' --shard 1/2", 0, "1.png 3.png "},
    };
    for (const auto& row : cases) {
        fs::remove_all(Path("out"));
        const auto before = Files("in");
        const Outcome run = Run(std::string("apply ") + row.arguments);
        EXPECT_EQ(run.code, row.code) << row.arguments << run.err;
        EXPECT_EQ(Names("out"), row.names) << row.arguments << run.err;
        EXPECT_EQ(Files("in"), before) << row.arguments;
    }
    EXPECT_EQ(Run("apply in/a.png in/b.png -o 'dry/{stem}.png' --dry-run").out,
              "in/a.png -> dry/a.png\nin/b.png -> dry/b.png\n2 pictures: 2 planned\n");
    // An output is no other input, whatever may be replaced.
    EXPECT_EQ(Run("apply in/a.png in/b.png -o in/a.png --existing replace -f Invert:Inversity=100").code, 1);
    Make("again.png", 'b');
    EXPECT_EQ(Content("in/b.png"), Content("again.png"));
}

TEST_F(BatchTest, WhatIsThereStaysUnlessToldOtherwise) {
    Run("apply in/a.png one.png -f Invert:Inversity=100");
    const std::string old = "what was there", made = Content("one.png");
    const struct {
        const char* existing;
        int code;
        bool replaced;
        const char* names;
    } cases[] = {{"", 1, false, "a.png b.png "},
                 {"--existing refuse", 1, false, "a.png b.png "},
                 {"--existing skip", 0, false, "a.png b.png "},
                 {"--existing replace", 0, true, "a.png b.png "},
                 {"--existing rename", 0, false, "a-2.png a.png b.png "}};
    for (const auto& row : cases) {
        fs::remove_all(Path("out"));
        fs::create_directory(Path("out"));
        test::WriteBytes(Path("out/a.png"), old);
        const Outcome run = Run(std::string("apply in/a.png in/b.png -o out/ -f Invert:Inversity=100 ") + row.existing);
        EXPECT_EQ(run.code, row.code) << row.existing;
        EXPECT_EQ(Content("out/a.png"), row.replaced ? made : old) << row.existing;
        EXPECT_EQ(Names("out"), row.names);
        if (row.names[1] == '-') {
            EXPECT_EQ(Content("out/a-2.png"), made);
        }
    }
}

TEST_F(BatchTest, ABrokenFileStopsNothing) {
    test::WriteBytes(Path("in/broken.png"), "no picture");
    const Outcome run = Run("apply in -r -o out/ --json --quiet -f Sepia:Sepia=50");
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(Names("out"), "a.png b.png c.png ");
    EXPECT_EQ(run.err, "kestrel: in/broken.png: the file is no picture of a known format\n");
    for (const char* part : {"\"input\": \"in/broken.png\",\n      \"state\": \"failed\"", "\"done\": 3",
                             "\"failed\": 1", "\"output\": \"out/c.png\""})
        EXPECT_NE(run.out.find(part), std::string::npos) << part << run.out;
    // Each is what a run for it alone makes, however many work.
    for (const char* jobs : {"1", "4"}) {
        fs::remove_all(Path("out"));
        Run(std::string("apply in -r -o out/ -f Blur:Blurness=40 -f Sepia:Sepia=50 --jobs ") + jobs);
        for (const char* name : {"a", "b"}) {
            Run(std::string("apply in/") + name + ".png alone.png -f Blur:Blurness=40 -f Sepia:Sepia=50");
            EXPECT_EQ(Content(std::string("out/") + name + ".png"), Content("alone.png")) << jobs;
        }
    }
}

TEST_F(BatchTest, ManyJobsMakeTheSameBytes) {
    for (int i = 0; i < 24; ++i) Make("in/m" + std::to_string(i) + ".png", i);
    const std::string line = " -f Sharpen:Sharpness=50 -f Scale100:HorizontalProz=150,VerticalProz=150,AllowEnlarge=1 ";
    EXPECT_EQ(Run("apply in -r -o one/ --jobs 1" + line).code, 0);
    EXPECT_EQ(Run("apply in -r -o four/ --jobs 4 --memory 1K" + line).code, 0);
    EXPECT_EQ(Run("--version; for i in 1 2 3 4; do " KESTREL_APP " apply in -r -o shards/ --shard $i/4" + line +
                  "& done; wait")
                  .code,
              0);
    EXPECT_EQ(Files("one").size(), 27u);
    EXPECT_EQ(Files("one"), Files("four"));
    EXPECT_EQ(Files("one"), Files("shards"));
    // Into a box and out of it again.
    EXPECT_EQ(Run("apply in -r -o 'all.box:{stem}' --jobs 4" + line).code, 0);
    EXPECT_EQ(Run("apply 'all.box:*' -o out/ --jobs 4").code, 0);
    EXPECT_EQ(Files("one"), Files("out"));
    EXPECT_EQ(Run("apply in -r -o 'all.box:{stem}'").code, 1) << "they are there";
    EXPECT_EQ(Run("apply 'all.box:m1*' -o chained/ --stored-chain").code, 1) << "none has a chain";
    EXPECT_EQ(Names("chained"), "");
}

TEST_F(BatchTest, AStoppedRunIsResumed) {
    for (int i = 0; i < 40; ++i) Make("in/m" + std::to_string(i) + ".png", i);
    const std::string line = "apply in -r -o out/ -f Blur:Blurness=40 --jobs 2";
    Run("apply in -r -o whole/ -f Blur:Blurness=40");
    const auto whole = Files("whole");
    // Killed when the first outputs are there.
    const pid_t child = fork();
    if (child == 0) {
        if (chdir((folders / "work").c_str()) != 0) _exit(98);
        execl("/bin/sh", "sh", "-c", ("exec " KESTREL_APP " " + line + " 2>/dev/null >/dev/null").c_str(), nullptr);
        _exit(99);
    }
    for (int tries = 0; tries < 10000 && Files("out").size() < 3; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(child, SIGKILL);
    int state = 0;
    waitpid(child, &state, 0);
    for (const auto& [name, bytes] : Files("out"))
        EXPECT_TRUE(name.find(".part") != name.npos || bytes == whole.at(name)) << name << " is half written";
    const std::string first = Content("out/" + whole.begin()->first);
    const Outcome resumed = Run(line + " --resume");
    EXPECT_EQ(resumed.code, 0) << resumed.err;
    if (WIFSIGNALED(state)) {
        EXPECT_NE(resumed.out.find("done before"), std::string::npos) << resumed.out;
    }
    EXPECT_EQ(Files("out"), whole);
    // All is done: another run finds its outputs, and no journal.
    EXPECT_EQ(Run(line + " --resume").code, 1);
    // A changed input, and an output that went away, are worked again.
    test::WriteBytes(Path("in/broken.png"), "no picture");
    fs::remove_all(Path("out"));
    EXPECT_EQ(Run(line).code, 1);
    Make("in/m1.png", 77);
    fs::remove(Path("out/m2.png"));
    fs::remove(Path("in/broken.png"));
    const Outcome again = Run(line + " --resume");
    EXPECT_EQ(again.code, 0) << again.err;
    EXPECT_NE(again.out.find("43 pictures: 2 done, 41 done before"), std::string::npos) << again.out;
    EXPECT_EQ(Content("out/m2.png"), whole.at("m2.png"));
    EXPECT_NE(Content("out/m1.png"), whole.at("m1.png"));
}

TEST_F(BatchTest, WrongCommandsEndWithTwoAndOneLine) {
    for (const char* arguments : {"in/a.png out.png --jobs 2",
                                  "in/a.png out.png --recursive",
                                  "in/a.png out.png --json",
                                  "in/a.png out.png --existing replace",
                                  "in/a.png -o x/ --jobs 0",
                                  "in/a.png -o x/ --jobs many",
                                  "in/a.png -o x/ --memory 4Q",
                                  "in/a.png -o x/ --memory 0",
                                  "in/a.png -o x/ --memory 99999999999G",
                                  "in/a.png -o x/ --shard 3/2",
                                  "in/a.png -o x/ --shard 0/2",
                                  "in/a.png -o x/ --shard 2",
                                  "in/a.png -o x/ --existing maybe",
                                  "in/a.png -o 'x/{name}.png'",
                                  "in/a.png -o 'x/{n'",
                                  "in/a.png -o ''",
                                  "in/a.png -o x/ --print-chain active",
                                  "- -o x/ < in/a.png",
                                  "in/a.png -o x/ -f Nothing",
                                  "-o x/",
                                  "in/a.png -o x/ --strict -f Sepia:Sepa=1"}) {
        const Outcome run = Run(std::string("apply ") + arguments);
        EXPECT_EQ(run.code, 2) << arguments << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << arguments << "\n" << run.err;
        EXPECT_FALSE(fs::exists(Path("x"))) << arguments;
    }
}

}  // namespace
}  // namespace kestrel
