// --fast-load: which pictures are decoded smaller, and that the result is nearly the same.
#include "kestrel/codec/ImageLoader.h"
#include "tests/codec/Samples.h"
#include "tests/support/ProgramTest.h"

namespace kestrel {
namespace {
using test::Outcome;

using FastLoadTest = test::ProgramTest;

samples::Bytes Slopes(int width, int height, int orientation) {
    samples::Jpeg file{.width = width, .height = height, .pixel = nullptr};
    file.exif = samples::Exif(orientation, false, true);
    file.pixel = [=](int x, int y, JSAMPLE* pixel) {
        pixel[0] = static_cast<JSAMPLE>(20 + 200 * x / width);
        pixel[1] = static_cast<JSAMPLE>(200 - 150 * y / height);
        pixel[2] = static_cast<JSAMPLE>(50 + 80 * x / width + 80 * y / height);
    };
    return Encode(file);
}

TEST_F(FastLoadTest, DecodesNoMoreThanTheChainNeeds) {
    const auto write = [this](const char* name, const samples::Bytes& bytes) {
        Write(name, std::string(bytes.begin(), bytes.end()));
    };
    write("a.jpg", Slopes(1600, 1200, 1));
    write("turned.jpg", Slopes(1600, 1200, 6));
    write("odd.jpg", Slopes(1601, 1203, 2));
    Write("blur-first.txt",
          "TMFilter.Blur.1\tBlurness=100\nTMFilter.Scale.1\tKeepProportions=1,MaximumHorizontalSize=200"
          ",MaximumVerticalSize=200\n");
    const std::string scale =
        " -f Sepia:Sepia=070 -f Scale:KeepProportions=1,MaximumHorizontalSize=390,"
        "MaximumVerticalSize=390";
    const std::string crop = " -f Crop:LeftMargin=0.25,RightMargin=0.75,BottomMargin=0.25,TopMargin=0.75";
    const auto box = [](const char* size) {
        return std::string("-f Scale:KeepProportions=1,AllowEnlarge=1,MaximumHorizontalSize=") + size +
               ",MaximumVerticalSize=" + size;
    };
    const struct {
        const char* input;
        std::string chain;
        const char* decoded;  ///< null: in full, so that no byte differs
    } cases[] = {
        {"a.jpg", scale, "400 x 300"},
        {"-", scale + " < a.jpg", "400 x 300"},
        {"turned.jpg", scale, "300 x 400"},
        {"odd.jpg", scale, "401 x 301"},
        {"a.jpg", scale + " -f Sharpen:Sharpness=050 -f Text:fsz=30,txt=K", "400 x 300"},
        {"a.jpg", scale + crop, "800 x 600"},
        {"a.jpg", "-f Sepia:Sepia=070", nullptr},
        {"a.jpg", "-f Scale100:HorizontalProz=10,VerticalProz=10", nullptr},
        {"a.jpg", "--chain blur-first.txt", nullptr},
        {"a.jpg", box("1000"), nullptr},
        {"a.jpg", box("2000"), nullptr},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.input) + " " + row.chain);
        const std::string rest = std::string(" ") + row.chain;
        const std::string input = row.input;
        const Outcome fast = Run("apply " + input + " fast.png --fast-load --verbose" + rest);
        ASSERT_EQ(Run("apply " + input + " full.png" + rest).code, 0);
        ASSERT_EQ(fast.code, 0) << fast.err;
        const std::size_t told = fast.err.find("decoded at ");
        ASSERT_EQ(told != std::string::npos, row.decoded != nullptr) << fast.err;
        if (!row.decoded) {
            EXPECT_TRUE(Content("fast.png") == Content("full.png"));
            continue;
        }
        EXPECT_EQ(fast.err.substr(told + 11, std::strlen(row.decoded)), row.decoded);
        EXPECT_EQ(fast.err.find("decoded at ", told + 1), std::string::npos);
        const LoadResult a = ImageLoader::Load(Path("fast.png")), b = ImageLoader::Load(Path("full.png"));
        ASSERT_EQ(a.image->biWidth, b.image->biWidth);
        ASSERT_EQ(a.image->biHeight, b.image->biHeight);
        EXPECT_LE(samples::LargestDifference(a.image.get(), b.image.get()), 12);
    }
}

}  // namespace
}  // namespace kestrel
