// The tool that packs the built-in storage, run as the build runs it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "kestrel/storage/BuiltInData.h"
#include "tests/resources/Files.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

int Pack(const std::filesystem::path& resources, const std::filesystem::path& output) {
    const std::string command = KESTREL_PACK " " + resources.string() + " " + output.string() + " 2>" +
                                (output.parent_path() / "stderr.txt").string();
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PackTool, TheSameInputGivesTheSameBytes) {
    const test::PrivateFolders folders;
    const auto output = folders / "program" / "packed";
    ASSERT_EQ(Pack(test::kSources / "resources", output), 0);
    const std::string bytes = test::ReadFile(output);
    const auto builtIn = BuiltInData();
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), builtIn.begin(), builtIn.end(),
                           [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }));
    const auto written = std::filesystem::last_write_time(output) - std::chrono::hours(1);
    std::filesystem::last_write_time(output, written);
    ASSERT_EQ(Pack(test::kSources / "resources", output), 0);
    EXPECT_EQ(std::filesystem::last_write_time(output), written) << "what is right already stays, and spares a link";
}

TEST(PackTool, RefusesStringsWithAFault) {
    const test::PrivateFolders folders;
    std::filesystem::create_directory(folders / "program" / "Scripts");
    test::WriteBytes(folders / "program/Scripts/color.strings", "A = German(\"x\");\r\nB = German(x);\r\n");
    EXPECT_EQ(Pack(folders / "program", folders / "program/packed"), 1);
    EXPECT_NE(test::ReadFile(folders / "program/stderr.txt").find("color.strings:2: a quotation mark was expected\n"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folders / "program/packed"));
}

}  // namespace
}  // namespace kestrel
