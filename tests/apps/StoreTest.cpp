// "kestrel store", run as a person runs it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/support/ProgramTest.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::ProgramTest;

struct StoreTest : ProgramTest {
    StoreTest() {
        test::WriteBytes(folders / "work/in", Big());
        for (const char* as : {"compound", "tree", "folder"}) {
            EXPECT_EQ(Run(std::string("store put ") + as + ".box Pictures/a.jpg in --as " + as).err, "");
            EXPECT_EQ(Run(std::string("store put ") + as + ".box 'Pictures\\deep/b' - < /dev/null").err, "");
        }
    }
    /// More than one buffer.
    static std::string Big() { return std::string(2500000, 'x') + "end"; }
};

constexpr const char* kTree =
    "              Pictures/\n"
    "     2500003  Pictures/a.jpg\n"
    "              Pictures/deep/\n"
    "           0  Pictures/deep/b\n";

TEST_F(StoreTest, EveryKindOfStoreAlike) {
    EXPECT_TRUE(fs::is_regular_file(folders / "work/compound.box"));
    EXPECT_EQ(Content("tree.box_qv/Pictures/a.jpg"), Big());
    EXPECT_EQ(Content("folder.box/Pictures/a.jpg"), Big());
    for (const std::string store : {"compound.box", "tree.box", "folder.box"}) {
        const bool compound = store == "compound.box";
        const Outcome tree = Run("store tree " + store);
        EXPECT_EQ(tree.code, 0) << tree.err;
        EXPECT_EQ(tree.out,
                  compound ? "              Pictures/\n              Pictures/deep/\n           0  Pictures/deep/b\n"
                             "     2500003  Pictures/a.jpg\n"
                           : kTree);
        EXPECT_EQ(Run("store list " + store).out, "              Pictures/\n");
        EXPECT_EQ(Run("store list " + store + " Pictures/deep").out, "           0  b\n");
        EXPECT_EQ(Run("store list " + store + " Pictures/deep --json").out,
                  "[\n  {\n    \"path\": \"Pictures/deep/b\",\n    \"kind\": \"stream\",\n    \"size\": 0\n  }\n]\n");
        EXPECT_EQ(Run("store get " + store + " Pictures/a.jpg").out, Big());
        EXPECT_EQ(Run("store get " + store + " Pictures/a.jpg out.jpg --json").out,
                  "{\n  \"name\": \"Pictures/a.jpg\",\n  \"file\": \"out.jpg\",\n  \"bytes\": 2500003,\n  "
                  "\"problems\": []\n}\n");
        EXPECT_EQ(Content("out.jpg"), Big());
        EXPECT_EQ(Run("store put " + store + " Pictures/a.jpg - < /dev/null").err, "");
        EXPECT_EQ(Run("store get " + store + " Pictures/a.jpg").out, "") << "replaced, not written over";
        const Outcome filled = Run("store remove " + store + " Pictures");
        EXPECT_EQ(filled.code, 1);
        EXPECT_NE(filled.err.find("holds 3 elements; --recursive"), std::string::npos) << filled.err;
        EXPECT_EQ(Run("store remove " + store + " Pictures/deep/b").code, 0);
        EXPECT_EQ(Run("store remove " + store + " Pictures/deep").code, 0) << "empty";
        EXPECT_EQ(Run("store remove " + store + " Pictures -r").code, 0);
        EXPECT_EQ(Run("store tree " + store).out, "");
    }
}

TEST_F(StoreTest, CopiesBetweenAllKinds) {
    for (const std::string from : {"compound", "tree", "folder"})
        for (const std::string to : {"compound", "tree", "folder"}) {
            const std::string target = from + to;
            const Outcome copy = Run("store copy " + from + ".box " + target + " --json --as " + to);
            EXPECT_EQ(copy.code, 0) << copy.err;
            EXPECT_NE(copy.out.find("\"storages\": 2,\n  \"streams\": 2,\n  \"bytes\": 2500003,"), std::string::npos);
            EXPECT_EQ(Run("store get " + target + " Pictures/a.jpg").out, Big()) << target;
            EXPECT_EQ(fs::exists(folders / "work" / (target + "_qv")), to == "tree");
        }
    fs::create_symlink("../../../in", folders / "work/folder.box/Pictures/deep/link");
    const Outcome partly = Run("store copy folder.box partly --as folder");
    EXPECT_EQ(partly.code, 1);
    EXPECT_NE(partly.err.find("Pictures/deep/link: the name leads out of the storage"), std::string::npos)
        << partly.err;
    EXPECT_EQ(Content("partly/Pictures/a.jpg"), Big());
    EXPECT_FALSE(fs::exists(folders / "work/partly/Pictures/deep/link"));
}

TEST_F(StoreTest, ChecksAndRepairs) {
    for (const char* store : {"compound.box", "tree.box", "folder.box"}) {
        const Outcome check = Run(std::string("store check --json ") + store);
        EXPECT_EQ(check.code, 0) << check.err;
        EXPECT_NE(check.out.find("\"storages\": 2,\n  \"streams\": 2"), std::string::npos) << check.out;
        EXPECT_NE(check.out.find("\"problems\": []"), std::string::npos) << check.out;
    }
    const Outcome sound = Run("store repair compound.box sound.box");
    EXPECT_EQ(sound.code, 0) << sound.err;
    EXPECT_EQ(Run("store get sound.box Pictures/a.jpg").out, Big());

    // The chain of the big stream ends early: the header names the sector of the table, of 4,096 bytes each.
    std::string bytes = Content("compound.box");
    std::uint32_t table = 0;
    std::memcpy(&table, bytes.data() + 76, sizeof table);
    const std::uint32_t end = 0xFFFFFFFE;
    std::memcpy(bytes.data() + (table + 1) * std::size_t{4096} + 4 * 300, &end, sizeof end);
    test::WriteBytes(folders / "work/compound.box", bytes);
    const std::string before = Content("compound.box");
    const Outcome check = Run("store check compound.box");
    EXPECT_EQ(check.code, 1);
    EXPECT_NE(check.out.find("damaged: "), std::string::npos) << check.out;
    EXPECT_EQ(std::count(check.err.begin(), check.err.end(), '\n'), 1) << check.err;
    const Outcome repair = Run("store repair compound.box saved.box");
    EXPECT_EQ(repair.code, 3) << repair.err;
    EXPECT_EQ(Content("compound.box"), before) << "only read";
    EXPECT_EQ(Run("store check saved.box").code, 0);
    EXPECT_EQ(Run("store repair compound.box saved.box").code, 1) << "never over a file that is there";
    EXPECT_EQ(Run("store repair tree.box other.box").code, 1);
    EXPECT_FALSE(fs::exists(folders / "work/other.box"));

    fs::create_symlink("../../../in", folders / "work/folder.box/Pictures/deep/link");
    EXPECT_EQ(Run("store check folder.box").code, 1);
}

TEST_F(StoreTest, WhatCannotBeDoneIsToldInOneLine) {
    test::WriteBytes(folders / "work/text", std::string(600, 't'));
    const struct {
        const char* arguments;
        int code;
        const char* says;
    } cases[] = {
        {"list none.box", 1, "none.box: there is no such compound file or folder"},
        {"list text", 1, "text: this is no compound file"},
        {"list compound.box None", 1, "there is nothing named \"None\""},
        {"list compound.box Pictures/a.jpg", 1, "is a stream"},
        {"get compound.box Pictures", 1, "is a storage"},
        {"get folder.box ../in", 1, "../in"},
        {"get folder.box /etc/passwd", 1, "/etc/passwd"},
        {"get compound.box Pictures/a.jpg none/out", 1, "none/out"},
        {"get compound.box Pictures/a.jpg --json", 2, "--json"},
        {"get compound.box Pictures/a.jpg > /dev/full", 1, "standard output"},
        {"put compound.box a missing", 1, "missing: No such file"},
        {"put folder.box ../out in", 1, "leads out"},
        {"put compound.box 'a name of more than thirty-one characters' in", 1, "the name is not allowed"},
        {"put new.box a in --as zip", 2, "--as"},
        {"put none/new.box a in", 1, "none/new.box: a folder of the path is missing"},
        {"remove tree.box Pictures/none", 1, "Pictures/none"},
        {"copy folder.box folder.box", 1, "within the store"},
        {"copy folder.box folder.box/sub --as folder", 1, "within the store"},
        {"copy tree.box tree.box", 1, "within the store"},
        {"copy compound.box compound.box", 1, "within the store"},
        {"find compound.box", 2, "find"},
    };
    for (const auto& row : cases) {
        const Outcome run = Run(std::string("store ") + row.arguments);
        EXPECT_EQ(run.code, row.code) << row.arguments << "\n" << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << row.arguments << "\n" << run.err;
        EXPECT_NE(run.err.find(row.says), std::string::npos) << row.arguments << "\n" << run.err;
    }
    EXPECT_FALSE(fs::exists(folders / "work/new.box") || fs::exists(folders / "work/out"));
    EXPECT_EQ(Run("store get compound.box Pictures/a.jpg").out, Big());
}

}  // namespace
}  // namespace kestrel
