#include "kestrel/diagnostics/TMDebugMonitor.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/diagnostics/OldLogs.h"
#include "kestrel/diagnostics/TraceLog.h"
#include "tests/support/InChild.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

using Tags = std::vector<std::string>;

std::string shown;
void KeepShown(const char* text) { shown += text; }

/// Debug output of a call with a tag file in a process of its own.
template <class Work>
std::string Traced(const std::string& tagFile, const Work& work) {
    const test::PrivateFolders folders;
    test::WriteBytes(folders / "program/TMDebug.txt", tagFile);
    return test::InChild([&] {
        SetDebugOutput(KeepShown);
        TraceLog::StopLogging(false);
        work();
        return shown;
    });
}

TEST(TMDebugMonitorTest, ReadsWordsAndComments) {
    const struct {
        const char* text;
        Tags want;
    } cases[] = {
        {"", {}},
        {"one two\tthree\r\n\r\nfour", {"one", "two", "three", "four"}},
        {"# no tag\none # the rest # goes\ntwo", {"one", "two"}},
        {"a#b #c\n d", {"a#b", "d"}},
        {"#", {}},
        {"  #x\n#y", {}},
    };
    for (const auto& c : cases) EXPECT_EQ(ReadDebugTags(c.text), c.want) << c.text;
}

TEST(TMDebugMonitorTest, The500thTagIsIgnored) {
    std::string text;
    for (int i = 1; i <= 600; ++i) text += "tag" + std::to_string(i) + " ";
    const auto tags = ReadDebugTags(text);
    ASSERT_EQ(tags.size(), 499u);
    EXPECT_EQ(tags.back(), "tag499");
    const auto binary = ReadDebugTags(std::string("\0\x01 \xFF\xFE", 5));
    EXPECT_EQ(binary.size(), 2u);
}

TEST(TMDebugMonitorTest, TracesWhatIsTagged) {
    EXPECT_EQ(Traced("Stream\n#Store",
                     [] {
                         if (TMDebugMonitor("Stream", "%d of %s", 7, "nine") != 0) shown += "not 0";
                         TMDebugMonitor("stream", "other case");
                         TMDebugMonitor("Store", "commented out");
                         TMDebugMonitor("Strea", "shorter");
                         TMDebugMonitor(nullptr, "x");
                         TMDebugMonitor("Stream", nullptr);
                     }),
              "Stream [TMDeMon]: 7 of nine\n");
    EXPECT_EQ(Traced("", [] { TMDebugMonitor("", "empty"); }), "");
    EXPECT_EQ(Traced("T", [] { TMDebugMonitor("T", "%s", std::string(5000, 'x').c_str()); }),
              "T [TMDeMon]: TMDebugMonitor - Buffer Overflow\n " + std::string(4094 - 34, 'x') + "\n");
}

TEST(TMDebugMonitorTest, GoesToTheLog) {
    const test::PrivateFolders folders;
    test::WriteBytes(folders / "program/TMDebug.txt", "T");
    test::InChild([&] {
        TraceLogStart start;
        start.folder = getenv("KESTREL_STATE_DIR");
        start.program = "moni";
        TraceLog::Start(start);
        errno = 0;
        TMDebugMonitor("T", "%s", "traced");
        TMDebugMonitor("U", "%s", "silent");
        return std::string();
    });
    const auto log = test::ReadBytes(folders / "state" / LogFileName("moni", Today()));
    EXPECT_EQ(log.substr(log.find('\t')), "\tT: traced\r\n");
}

TEST(TMDebugMonitorTest, FileThatIsNoneLeavesItSilent) {
    const test::PrivateFolders folders;
    std::filesystem::create_directory(folders / "program/TMDebug.txt");
    EXPECT_EQ(test::InChild([] {
                  SetDebugOutput(KeepShown);
                  TMDebugMonitor("T", "x");
                  return shown;
              }),
              "");
}

TEST(DebugOutput, WhatASinkDoesStaysThere) {
    SetDebugOutput([](const char*) {
        errno = EIO;
        throw 1;
    });
    errno = ENOENT;
    WriteDebugOutput("text");
    EXPECT_EQ(errno, ENOENT);
    SetDebugOutput(nullptr);
}

}  // namespace
}  // namespace kestrel
