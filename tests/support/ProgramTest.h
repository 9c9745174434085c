#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/PrivateFolders.h"

namespace kestrel::test {

/// What a run of the program came to.
struct Outcome {
    int code;
    std::string out;
    std::string err;
};

/// The built program (KESTREL_APP), run as a person runs it, in a folder of the test's own.
struct ProgramTest : testing::Test {
    ProgramTest() { std::filesystem::create_directory(folders / "work"); }

    std::string Path(const std::string& name) const { return (folders / "work" / name).string(); }
    void Write(const std::string& name, const std::string& bytes) const { WriteBytes(Path(name), bytes); }
    std::string Content(const std::string& name) const { return ReadBytes(Path(name)); }

    /// Words that a shell takes apart.
    Outcome Run(const std::string& arguments) const {
        const int status =
            std::system(("cd " + Path("") + " && (" KESTREL_APP " " + arguments + ") >../out 2>../err").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadBytes(folders / "out"), ReadBytes(folders / "err")};
    }

    PrivateFolders folders;
};

}  // namespace kestrel::test
