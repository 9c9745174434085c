#include "kestrel/storage/SharedBlocks.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <optional>

#include "kestrel/storage/SharedWorkImage.h"
#include "kestrel/storage/StorageError.h"

namespace kestrel {
namespace {

std::string Name(const char* what) { return "kestrel" + std::to_string(getpid()) + what; }

/// Names of shared memory that begin so.
int Left(const std::string& name) {
    int count = 0;
    DIR* folder = opendir("/dev/shm");
    while (const dirent* entry = readdir(folder)) count += std::string(entry->d_name).rfind(name, 0) == 0;
    closedir(folder);
    return count;
}

TEST(SharedBlocks, SegmentsAreSeenUnderTheirNumbers) {
    const std::string name = Name("a");
    {
        SharedBlocks first(name);
        ASSERT_TRUE(first.IsOpen()) << LastStorageError();
        EXPECT_TRUE(first.IsNew());
        std::uint8_t* zero = first.Allocate(10);
        std::uint8_t* one = first.Allocate(5000);
        std::strcpy(reinterpret_cast<char*>(one), "seen");
        EXPECT_EQ(first.NumberOf(zero), 0);
        EXPECT_EQ(first.NumberOf(one), 1);
        EXPECT_EQ(first.NumberOf(one + 1), -1);
        EXPECT_EQ(first.AddressOf(1), one);
        EXPECT_EQ(first.AddressOf(2), nullptr);
        EXPECT_EQ(first.SizeOf(zero), 10u);
        EXPECT_EQ(Left(name), 4);
        SharedBlocks second(name);
        EXPECT_FALSE(second.IsNew());
        const char* seen = reinterpret_cast<const char*>(second.Open(1));
        ASSERT_TRUE(seen);
        EXPECT_STREQ(seen, "seen");
        one[0] = 'S';
        EXPECT_STREQ(seen, "Seen");
        EXPECT_EQ(second.NumberOf(second.Allocate(1)), 2) << "numbers are common";
        EXPECT_EQ(second.Open(7), nullptr);
        first.Free(one);
        EXPECT_STREQ(seen, "Seen") << "somebody still uses it";
        second.Free(reinterpret_cast<const std::uint8_t*>(seen));
        EXPECT_EQ(first.Open(1), nullptr) << "nobody does";
        first.Free(zero + 1);
        EXPECT_EQ(first.AddressOf(0), zero);
    }
    EXPECT_EQ(Left(name), 0);
    for (const char* bad : {"", "a/b"}) EXPECT_FALSE(SharedBlocks(bad).IsOpen());
}

TEST(SharedBlocks, AKilledOwnerStopsNobody) {
    const std::string name = Name("b");
    // One dies with the mutex in its hands while another one waits for it, one with blocks that nobody else uses.
    for (const bool waiting : {true, false}) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t owner = fork();
        if (owner == 0) {
            const SharedBlocks blocks(name, [&](SharedBlocks& inside) {
                inside.Allocate(100)[0] = 'x';
                if (write(ready[1], "!", 1) != 1) _exit(1);
                for (;;) pause();
            });
        }
        char c;
        ASSERT_EQ(read(ready[0], &c, 1), 1);
        std::optional<pid_t> killer;
        if (waiting) {
            killer = fork();
            if (*killer == 0) {
                usleep(20000);  // gives the other one time to wait; it need not
                kill(owner, SIGKILL);
                _exit(0);
            }
        } else {
            kill(owner, SIGKILL);
            waitpid(owner, nullptr, 0);
        }
        bool fresh = false;
        {
            SharedBlocks blocks(name, [&](SharedBlocks& inside) {
                std::uint8_t* segment = inside.IsNew() ? inside.Allocate(50) : inside.Open(0);
                fresh = segment && segment[0] == 0;
            });
            ASSERT_TRUE(blocks.IsOpen());
            // A process that is dying lets go of the mutex first, so that its blocks may still be seen.
            EXPECT_TRUE(fresh || waiting);
        }
        if (killer) waitpid(*killer, nullptr, 0);
        if (waiting) waitpid(owner, nullptr, 0);
        close(ready[0]);
        close(ready[1]);
        SharedBlocks again(name);
        EXPECT_TRUE(again.IsNew());
    }
    EXPECT_EQ(Left(name), 0);
}

TEST(SharedBlocks, NumbersAreGivenOnceAmongProcesses) {
    const std::string name = Name("c");
    SharedBlocks own(name);
    constexpr int kProcesses = 4, kEach = 50;
    std::string told;
    pid_t children[kProcesses];
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    for (pid_t& child : children) {
        child = fork();
        if (child != 0) continue;
        std::optional<SharedBlocks> blocks(name);
        for (int i = 0; i < kEach; ++i) {
            const auto number = static_cast<unsigned char>(blocks->NumberOf(blocks->Allocate(1)));
            if (write(ends[1], &number, 1) != 1) _exit(1);
        }
        blocks.reset();
        _exit(0);
    }
    close(ends[1]);
    bool given[256] = {};
    int count = 0;
    for (unsigned char number; read(ends[0], &number, 1) == 1; ++count) {
        EXPECT_FALSE(given[number]) << int(number);
        given[number] = true;
    }
    close(ends[0]);
    for (const pid_t child : children) waitpid(child, nullptr, 0);
    EXPECT_EQ(count, kProcesses * kEach);
    EXPECT_EQ(own.NumberOf(own.Allocate(1)), kProcesses * kEach);
}

TEST(SharedWorkImage, OnePictureUnderAName) {
    const std::string name = Name("d");
    {
        const auto mine = CSharedWorkImage::Open(name, 33, 7);
        ASSERT_TRUE(mine);
        EXPECT_TRUE(mine->IsNew());
        mine->Clear();
        mine->Rows()[6][98] = 77;
        mine->MaskRows()[6][32] = 88;
        const auto theirs = CSharedWorkImage::Open(name, 1, 1, false);
        ASSERT_TRUE(theirs);
        EXPECT_FALSE(theirs->IsNew());
        EXPECT_EQ(theirs->Width(), 33);
        EXPECT_EQ(theirs->Height(), 7);
        EXPECT_EQ(theirs->Rows()[6][98], 77);
        EXPECT_EQ(theirs->MaskRows()[6][32], 88);
        EXPECT_NE(theirs->Rows()[6], mine->Rows()[6]);
        theirs->Rows()[0][0] = 5;
        EXPECT_EQ(mine->Rows()[0][0], 5);
        SharedBlocks(name).Open(0)[4] = 1;  // another size than the block's
        EXPECT_FALSE(CSharedWorkImage::Open(name, 33, 7));
    }
    EXPECT_EQ(Left(name), 0);
    EXPECT_FALSE(CSharedWorkImage::Open(name, 1 << 20, 1 << 20)) << "beyond what a block can hold";
    EXPECT_EQ(Left(name), 0);
}

}  // namespace
}  // namespace kestrel
