// Files go to and come from another program, where it is installed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kestrel/storage/compound/CompoundFile.h"

namespace kestrel::compound {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

/// What a command prints.
Bytes Output(const std::string& command) {
    Bytes bytes;
    std::FILE* pipe = popen(command.c_str(), "r");
    std::array<std::uint8_t, 4096> block{};
    for (std::size_t count; (count = std::fread(block.data(), 1, block.size(), pipe)) > 0;)
        bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    EXPECT_EQ(pclose(pipe), 0) << command;
    return bytes;
}

Bytes Numbered(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
}

class Interchange : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("gsf help >/dev/null 2>&1") != 0) GTEST_SKIP() << "gsf is not installed";
        folder_ = fs::temp_directory_path() / ("kestrel-interchange-" + std::to_string(getpid()));
        fs::create_directory(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path folder_;
    const std::vector<std::size_t> sizes_{0, 1, 64, 4095, 4096, 4097, 100000, 9000000};  // the last needs a DIFAT
};

TEST_F(Interchange, ReadsWhatWeWrite) {
    for (const Version version : {Version::k3, Version::k4}) {
        const std::string path = folder_ / ("ours" + std::to_string(static_cast<int>(version)));
        {
            auto file = *CompoundFile::CreateFile(path, version);
            auto root = *file.Root();
            auto inner = *root.CreateStorage(u"inner");
            for (const std::size_t size : sizes_) {
                const std::string name = "s" + std::to_string(size);
                ASSERT_EQ(inner.CreateStream(std::u16string(name.begin(), name.end()))->Write(Numbered(size)),
                          Error::kNone);
            }
            ASSERT_EQ(file.Commit(), Error::kNone);
        }
        for (const std::size_t size : sizes_)
            EXPECT_TRUE(Output("gsf cat " + path + " inner/s" + std::to_string(size)) == Numbered(size)) << size;
    }
}

TEST_F(Interchange, OursReadsAndChangesWhatItWrites) {
    fs::create_directory(folder_ / "inner");
    for (const std::size_t size : sizes_) {
        const Bytes bytes = Numbered(size);
        std::ofstream(folder_ / "inner" / ("s" + std::to_string(size)), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(size));
    }
    const std::string path = folder_ / "theirs";
    Output("cd " + folder_.string() + " && gsf createole theirs inner 2>/dev/null");
    {
        auto file = *CompoundFile::OpenFile(path, Access::kReadWrite);
        auto inner = *file.Root()->OpenStorage(u"inner");
        for (const std::size_t size : sizes_) {
            const std::string name = "s" + std::to_string(size);
            auto stream = inner.OpenStream(std::u16string(name.begin(), name.end()));
            ASSERT_TRUE(stream) << size;
            Bytes bytes(size + 1);
            EXPECT_EQ(*stream->Read(bytes), size);
            bytes.resize(size);
            EXPECT_TRUE(bytes == Numbered(size));
        }
        ASSERT_EQ(inner.CreateStream(u"added")->Write(Numbered(5000)), Error::kNone);
        ASSERT_EQ(inner.Remove(u"s4095"), Error::kNone);
        ASSERT_EQ(file.Commit(), Error::kNone);
    }
    EXPECT_TRUE(Output("gsf cat " + path + " inner/added") == Numbered(5000));
    EXPECT_TRUE(Output("gsf cat " + path + " inner/s100000") == Numbered(100000));
}

}  // namespace
}  // namespace kestrel::compound
