// What travels with a picture from one file to another, as another program reads it, and what `info` tells.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "kestrel/codec/ImageLoader.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

struct MetadataTest : testing::Test {
    MetadataTest() {
        const DibPtr image(DibCreate(24, 40, 24));
        for (int y = 0; y < 24; ++y)
            for (int i = 0; i < 120; ++i) DibRow(image.get(), y)[i] = static_cast<std::uint8_t>(5 * y + i);
        EXPECT_FALSE(ImageLoader::Save(Path("in.jpg"), image.get(), nullptr));
    }

    std::string Path(const std::string& name) const { return (folders / name).string(); }
    int Run(const std::string& command) const {
        const int status = std::system(("cd " + Path("").substr(0, Path("").size() - 1) + " && K=" KESTREL_APP "; {\n" +
                                        command + "\n} >out 2>err")
                                           .c_str());
        return WEXITSTATUS(status);
    }
    std::string Out() const { return test::ReadBytes(Path("out")); }
    std::string Err() const { return test::ReadBytes(Path("err")); }

    /// The fields that another program finds in a file, without those of the file's own form.
    std::map<std::string, std::string> Fields(const std::string& file) const {
        EXPECT_EQ(Run("exiftool -a -s -G1 -n -ExifIFD:all -GPS:all -IFD0:Make -IFD0:Model -IFD0:Copyright -IFD0:Artist "
                      "-XMP:all -IPTC:all " +
                      file),
                  0);
        std::istringstream lines(Out());
        std::map<std::string, std::string> fields;
        for (std::string line; std::getline(lines, line);) {
            const std::size_t colon = line.find(':');
            const std::string name = line.substr(0, line.find_last_not_of(' ', colon - 1) + 1);
            if (name.find("XMPToolkit") == name.npos) fields[name] = line.substr(colon + 1);
        }
        return fields;
    }

    /// Writes many fields into in.jpg by the other program. False when it is not installed.
    bool Describe() const {
        if (Run("exiftool -ver") != 0) return false;
        return Run("exiftool -overwrite_original -Make=Maker -Model='Model 7' -Copyright='(c) somebody' "
                   "-Artist=Somebody "
                   "-Orientation#=6 -ExposureTime=1/250 -FNumber=5.6 -ISO=400 -FocalLength=35 -LensModel=Lens "
                   "-DateTimeOriginal='2024:05:31 18:02:11' -ExifImageWidth=4000 -ExifImageHeight=3000 "
                   "-UserComment='a comment' -GPSLatitude=48.5 -GPSLatitudeRef=N -GPSLongitude=11.25 "
                   "-GPSLongitudeRef=W -XMP-dc:Title=Title -XMP-photoshop:City=Town -XMP-tiff:Orientation#=6 "
                   "-IPTC:City=Town -IPTC:Keywords=word '-ThumbnailImage<=in.jpg' in.jpg") == 0;
    }

    test::PrivateFolders folders;
};

TEST_F(MetadataTest, AnotherProgramReadsTheSameFields) {
    if (!Describe()) GTEST_SKIP() << "exiftool is not installed";
    auto want = Fields("in.jpg");
    EXPECT_GT(want.size(), 15u);
    want.erase("[XMP-tiff]      Orientation");  // it has been applied
    want["[ExifIFD]       ExifImageWidth"] = " 24";
    want["[ExifIFD]       ExifImageHeight"] = " 40";
    for (const std::string out : {"out.jpg", "out.tif", "out.jp2", "out.png", "out.webp"}) {
        ASSERT_EQ(Run("$K apply -q in.jpg " + out), 0) << Err();
        auto expected = want;
        if (out == "out.webp")
            std::erase_if(expected, [](const auto& field) { return field.first.starts_with("[IPTC]"); });
        EXPECT_EQ(Fields(out), expected) << out;
        EXPECT_EQ(Run("exiftool -n -s3 -ThumbnailLength -IFD0:Orientation " + out), 0);
        EXPECT_TRUE(Out() == "1\n" || Out().empty()) << out << Out();
        ASSERT_EQ(Run("$K apply -q --strip=location in.jpg " + out), 0) << Err();
        const auto left = Fields(out);
        EXPECT_EQ(left.count("[ExifIFD]       LensModel"), 1u) << out;
        for (const auto& [name, value] : left) {
            EXPECT_EQ(name.find("GPS"), name.npos) << out << ' ' << name;
            EXPECT_EQ(value.find("Town"), value.npos) << out << ' ' << name;
        }
        ASSERT_EQ(Run("$K apply -q --strip in.jpg " + out + " && $K info " + out), 0) << Err();
        EXPECT_EQ(Out().find("metadata"), std::string::npos) << out << Out();
    }
}

TEST_F(MetadataTest, InfoTellsWhatThereIs) {
    const bool described = Describe();
    ASSERT_EQ(Run("$K info in.jpg"), 0) << Err();
    EXPECT_NE(Out().find("format        jpeg\n"), std::string::npos) << Out();
    if (described) {
        for (const char* const line :
             {"size          24 x 40\n", "orientation   6,", "camera        Maker Model 7\n", "exposure      1/250 s\n",
              "aperture      f/5.6\n", "ISO           400\n", "place         48.500000, -11.250000\n"})
            EXPECT_NE(Out().find(line), std::string::npos) << line << Out();
    }
    EXPECT_EQ(Run("$K info --json none.jpg in.jpg"), 1);
    EXPECT_NE(Out().find("\"problem\""), std::string::npos);
    EXPECT_NE(Out().find(described ? "\"latitude\": 48.5" : "\"format\": \"jpeg\""), std::string::npos) << Out();
    EXPECT_EQ(Err(), "kestrel: none.jpg: No such file or directory\n");
}

TEST_F(MetadataTest, PagesProfilesAndTrust) {
    ASSERT_EQ(
        Run("$K apply -q in.jpg 'in.tif[1]' --format tiff && $K apply -q in.jpg in.tif && $K apply -q in.jpg in.gif"),
        0)
        << Err();
    EXPECT_EQ(Run("$K apply -q 'in.tif[1]' a.png"), 0) << "a file of that whole name: " << Err();
    EXPECT_EQ(Run("$K apply -q 'in.tif[0]' a.png"), 0) << Err();
    EXPECT_EQ(Run("$K apply -q 'in.tif[2]' a.png"), 1);
    EXPECT_EQ(Err(), "kestrel: in.tif[2]: there is no page 2: the file has only page 0\n");
    EXPECT_EQ(Run("$K apply -q --trusted-only in.tif a.png"), 0) << Err();
    EXPECT_EQ(Run("$K apply -q --trusted-only in.gif a.png"), 1);
    EXPECT_NE(Err().find("decoder"), std::string::npos);
    EXPECT_EQ(Run("$K apply --strip=some in.jpg a.png"), 2);
    EXPECT_EQ(Run("$K apply -q --lossless in.tif a.webp && $K apply -q a.webp b.tif && cmp in.tif b.tif"), 0) << Err();
}

}  // namespace
}  // namespace kestrel
