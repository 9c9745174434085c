// Runs in bands of rows through the program: the bytes, the memory, and what a run leaves that was stopped.
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <random>
#include <thread>

#include "kestrel/codec/RowEncoder.h"
#include "tests/codec/Samples.h"
#include "tests/support/ProgramTest.h"

namespace kestrel {
namespace {
using test::Outcome;
namespace fs = std::filesystem;

struct BandsTest : test::ProgramTest {
    void Make(const std::string& name, int width, int height, bool alpha = false) const {
        const DibPtr image = samples::Noise(24, width, height, 4), mask = samples::Noise(8, width, height, 5);
        ASSERT_FALSE(ImageLoader::Save(Path(name), image.get(), alpha ? mask.get() : nullptr));
    }
    /// A file of many more bytes than a run may have in memory, even where it is not compressed: a JPEG file of 60
    /// megapixels, or noise. All rows look alike.
    void MakeHuge(const std::string& name) const {
        const bool noisy = FormatOfPath(name) != ImageFormat::Jpeg;
        const int width = 8000, height = noisy ? 3000 : 7500;
        std::FILE* const file = std::fopen(Path(name).c_str(), "wb");
        RowEncoder encoder(file, width, height, false, {.format = FormatOfPath(name)});
        std::mt19937 random(6);
        std::vector<std::uint8_t> row(std::size_t{3} * width);
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = static_cast<std::uint8_t>(noisy ? random() : static_cast<unsigned>(i / 97));
        for (int y = 0; y < height; ++y) encoder.Write(row.data(), nullptr);
        EXPECT_FALSE(encoder.Finish());
        std::fclose(file);
    }
    /// Starts the program on words; the caller waits for it.
    pid_t Start(std::vector<std::string> words) const {
        const pid_t child = fork();
        if (child != 0) return child;
        std::vector<char*> arguments;
        words.insert(words.begin(), "kestrel");
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        if (chdir(Path("").c_str()) == 0) execv(KESTREL_APP, arguments.data());
        _exit(99);
    }
};

const char* const kBandLine =
    " -f Sepia:Sepia=060 -f Sharpen:Sharpness=070 -f Staub:MaxRgnSize=012,GrayTolerance=030"
    " -f Crop:LeftMargin=0.1,RightMargin=0.9,BottomMargin=0.2,TopMargin=0.7";

TEST_F(BandsTest, WriteTheBytesOfTheWhole) {
    Make("a.png", 211, 190);
    Make("a.jpg", 190, 333);
    Make("alpha.png", 97, 160, true);
    Make("alpha.tif", 97, 160, true);
    Make("a.bmp", 101, 160);
    Make("alpha.psd", 97, 161, true);
    const std::string reduced = " -f Scale:MaximumHorizontalSize=150,MaximumVerticalSize=150 -f Sharpen:Sharpness=070";
    const std::string soft = std::string(kBandLine) + " -f SoftFrame:FrameWidth=10,SoftCorner=1";
    for (const std::string input : {"a.png", "a.jpg", "alpha.png", "alpha.tif[0]", "a.bmp", "alpha.psd"})
        for (const std::string& line : {std::string(kBandLine), soft, reduced}) {
            if (line == reduced && input.starts_with("alpha")) continue;
            for (const std::string options :
                 {"", " --region 3,5,60,70 --threads 3", " --threads 2 --background '#102030'"})
                for (const std::string format : {"png", "jpeg", "tiff", "bmp"}) {
                    SCOPED_TRACE(input + line + options + " as " + format);
                    const std::string output = "out." + format;
                    const Outcome run = Run("apply " + input + " " + output + line + options + " --verbose");
                    ASSERT_EQ(run.code, 0) << run.err;
                    EXPECT_NE(run.err.find("in bands of rows"), std::string::npos) << run.err;
                    // Colorizing by nothing needs the whole picture and changes none of it.
                    const Outcome whole = Run("apply " + input + " whole." + format + line + options +
                                              " -f AdoptColor:Intensity=000 --verbose");
                    ASSERT_EQ(whole.code, 0) << whole.err;
                    EXPECT_NE(whole.err.find("as a whole: TMFilter.AdoptColor.1 needs all of it"), std::string::npos)
                        << whole.err;
                    EXPECT_EQ(whole.err.find("laid over") == std::string::npos,
                              run.err.find("laid over") == std::string::npos);
                    EXPECT_TRUE(Content(output) == Content("whole." + format));
                }
        }
}

// A file that is only read as a whole is written row by row all the same, and begun anew when the last row shows that
// the header was wrong.
TEST_F(BandsTest, WriteRowsOfPicturesThatAreLoaded) {
    Make("opaque.webp", 97, 160);
    Make("alpha.webp", 97, 160, true);
    for (const std::string name : {"opaque", "alpha"}) {
        ASSERT_EQ(Run("apply " + name + ".webp " + name + ".tif").code, 0);
        for (const std::string line : {" -f Sharpen:Sharpness=070", " -f SoftFrame:FrameWidth=10,SoftCorner=1",
                                       " -f Crop:LeftMargin=0.4,RightMargin=0.5,BottomMargin=0.4,TopMargin=0.5",
                                       " -f Rotate:Angle=5.000", " -f ImgBg"})
            for (const std::string output : {"out.png", "out.jpeg", "out.bmp --threads 2"}) {
                const Outcome run = Run("apply " + name + ".webp " + output + line + " --verbose");
                ASSERT_EQ(run.code, 0) << run.err;
                EXPECT_NE(run.err.find("as a whole: its file"), std::string::npos) << run.err;
                const Outcome rows = Run("apply " + name + ".tif rows-" + output + line);
                ASSERT_EQ(rows.code, 0) << rows.err;
                const std::string file = output.substr(0, output.find(' '));
                EXPECT_TRUE(Content(file) == Content("rows-" + file)) << name << line << output;
            }
    }
}

TEST_F(BandsTest, TakeLittleMemory) {
    const std::string reduce = "Scale:MaximumHorizontalSize=1600,MaximumVerticalSize=1600";
    for (const auto& [huge, filter] : {std::pair<std::string, std::string>{"huge.jpg", "Sepia:Sepia=060"},
                                       {"huge.tif", "Sepia:Sepia=060"},
                                       {"huge.bmp", "Sepia:Sepia=060"},
                                       {"huge.jpg", reduce}}) {
        MakeHuge(huge);
        const pid_t child = Start(
            {"apply", huge, "out-" + huge, "-f", filter, "-f", "Sharpen:Sharpness=070", "--threads", "2", "--quiet"});
        int state = 0;
        rusage used{};
        ASSERT_EQ(wait4(child, &state, 0, &used), child);
        EXPECT_EQ(state, 0);
        EXPECT_TRUE(fs::exists(Path("out-" + huge)));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        EXPECT_LT(used.ru_maxrss, 60 * 1024) << huge << ": kilobytes; the picture alone has more";
#endif
    }
}

TEST_F(BandsTest, LeaveNothingWhenTheyAreStopped) {
    MakeHuge("huge.jpg");
    const std::string before = Content("huge.jpg");
    for (const int signal : {SIGINT, SIGTERM, SIGKILL})
        for (const std::string output : {"out.jpg", "out.tif", "out.bmp", "huge.jpg"}) {
            const pid_t child = Start({"apply", "huge.jpg", output, "-f", "Sharpen:Sharpness=070", "--quiet"});
            // The file without a name that the output is written to shows that the work is on its way.
            bool writing = false;
            for (int tries = 0; tries < 20000 && !writing; ++tries) {
                std::this_thread::sleep_for(std::chrono::microseconds(500));
                std::error_code gone;
                for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(child) + "/fd", gone)) {
                    const std::string name = fs::read_symlink(entry.path(), gone).string();
                    writing |= name.find(Path("")) == 0 && name.find(Path("huge.jpg")) != 0;
                }
            }
            kill(child, signal);
            int state = 0;
            ASSERT_EQ(waitpid(child, &state, 0), child);
            ASSERT_TRUE(writing);
            EXPECT_EQ(signal == SIGKILL ? WTERMSIG(state) : WEXITSTATUS(state), signal == SIGKILL ? 9 : 128 + signal);
            EXPECT_TRUE(Content("huge.jpg") == before);
            for (const auto& entry : fs::directory_iterator(Path("")))
                EXPECT_TRUE(entry.path().filename() == "huge.jpg" || signal == SIGKILL) << entry.path();
            EXPECT_FALSE(fs::exists(Path(output)) && output != "huge.jpg");
        }
    // A disk that is full at the start, in the middle, and at the end, where the head of a TIFF file is written.
    for (const std::string output : {"out.jpg", "out.tif", "out.bmp"}) {
        ASSERT_EQ(Run("apply huge.jpg " + output + " -f Invert:Inversity=100").code, 0);
        const auto size = static_cast<std::intmax_t>(fs::file_size(Path(output)));
        fs::remove(Path(output));
        for (const std::intmax_t limit : {std::intmax_t{512}, size / 2, size - 600}) {
            const Outcome full =
                Run(fmt::format("--version; trap '' XFSZ; ulimit -f {}; {} apply huge.jpg {} -f "
                                "Invert:Inversity=100",
                                limit / 512, KESTREL_APP, output));
            EXPECT_EQ(full.code, 1) << output << ' ' << limit;
            EXPECT_NE(full.err.find(output + ": cannot write"), std::string::npos) << full.err;
            EXPECT_EQ(std::distance(fs::directory_iterator(Path("")), {}), 1) << "something is left beside the input";
        }
    }
}

}  // namespace
}  // namespace kestrel
