// What the shells are told about an unfinished command.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

struct CompletionTest : testing::Test {
    /// What a shell command prints; `$K` is the program.
    std::string Print(const std::string& command) const {
        const std::string out = (folders / "out").string();
        const int status = std::system(("K=" KESTREL_APP "; {\n" + command + "\n} >" + out + " 2>/dev/null").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 0) << command;
        return test::ReadBytes(out);
    }

    test::PrivateFolders folders;
};

TEST_F(CompletionTest, CandidatesForTheLastWord) {
    const struct {
        const char* words;
        const char* first;  ///< the first word that is offered; empty when nothing is
    } rows[] = {
        {"ap", "apply"},
        {"compl", ""},  // hidden
        {"store ''", "list"},
        {"store re", "remove"},
        {"describe Sep", "Sepia"},
        {"describe Sepia ''", ""},  // takes no second word
        {"apply in.png ''", ""},    // a file's name
        {"apply --chain ''", ""},   // likewise
        {"apply --text-of 1 hello --stri", "--strict"},
        {"apply a b -f Sep", "Sepia:"},
        {"apply a b --filter=Sep", "--filter=Sepia:"},
        {"apply a b -f sepia:S", ""},  // names of filters keep their case
        {"apply a b -f Sepia:S", "Sepia:Sepia="},
        {"apply a b -f Sepia:Sepia=1", "Sepia:Sepia=100"},
        {"apply a b -f Exposure:Red=1,Gr", "Exposure:Red=1,Green="},
        {"apply a b -f Nothing:", ""},
        {"apply a b --print-chain=", "--print-chain=pending"},
        {"apply a b --format jpe", "jpeg"},
        {"describe Sepia --lang ''", "en"},
        {"settings list --branch c", "classes"},
        {"box add shop.box --existing ren", "rename"},
    };
    for (const auto& [words, first] : rows) {
        const std::string out = Print(std::string("$K complete -- ") + words);
        EXPECT_EQ(out.substr(0, out.find_first_of("\t\n")), first) << words;
    }
    EXPECT_EQ(Print("$K --help").find("complete"), std::string::npos);
}

TEST_F(CompletionTest, BashReplacesWhatStandsAfterAColonOrEqualsSign) {
    const std::string line = "kestrel apply a b -f Exposure:Red=1,Gr";
    const std::string script = "bash -c '. " KESTREL_COMPLETION "/kestrel.bash; COMP_LINE=\"" + line +
                               "\" COMP_POINT=" + std::to_string(line.size()) +
                               "; _kestrel '$K' ; echo ${COMPREPLY[@]}'";
    EXPECT_EQ(Print(script), "1,Green=\n");
}

}  // namespace
}  // namespace kestrel
