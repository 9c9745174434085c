// Each system call of a writer fails in turn, in each way, once and for good: nothing committed may be lost.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/FileStore.h"
#include "tests/support/CompoundReader.h"

namespace kestrel::compound {
namespace {

using tests::CompoundContent;
using Bytes = std::vector<std::uint8_t>;

enum class Fault { kNone, kShort, kInterrupted, kDiskFull, kBroken };

/// Fails from the call number `from` on, `times` times. Reads never fail here.
class FaultyStore final : public FileStore {
public:
    FaultyStore(int descriptor, Fault fault, int from, int times)
        : FileStore(descriptor, true), fault_(fault), from_(from), times_(times) {}

    static std::unique_ptr<FaultyStore> Open(const std::string& path, Fault fault, int from, int times) {
        const auto descriptor = OpenLocked(path, Access::kReadWrite);
        EXPECT_TRUE(descriptor);
        return std::make_unique<FaultyStore>(*descriptor, fault, from, times);
    }

    int Hits() const { return hits_; }
    /// One letter for each call: h is the header's write, w another, t cuts or grows, f flushes.
    const std::string& Calls() const { return log_; }

protected:
    ssize_t SystemWrite(const void* from, std::size_t count, off_t offset) override {
        log_ += offset == 0 ? 'h' : 'w';
        if (!Hit()) return FileStore::SystemWrite(from, count, offset);
        if (fault_ == Fault::kShort) return FileStore::SystemWrite(from, (count + 1) / 2, offset);
        return Fail();
    }
    int SystemTruncate(off_t size) override {
        log_ += 't';
        return Hit() && fault_ != Fault::kShort ? Fail() : FileStore::SystemTruncate(size);
    }
    int SystemFlush() override {
        log_ += 'f';
        return Hit() && fault_ != Fault::kShort ? Fail() : 0;
    }

private:
    bool Hit() {
        const bool hit = calls_ >= from_ && calls_ < from_ + times_;
        ++calls_;
        hits_ += hit;
        return hit;
    }
    int Fail() {
        errno = fault_ == Fault::kInterrupted ? EINTR : fault_ == Fault::kDiskFull ? ENOSPC : EIO;
        return -1;
    }

    Fault fault_;
    int from_;
    int times_;
    int calls_ = 0;
    int hits_ = 0;
    std::string log_;
};

class Faults : public testing::TestWithParam<Version> {
protected:
    void SetUp() override {
        folder_ = std::filesystem::temp_directory_path() / ("kestrel-faults-" + std::to_string(getpid()));
        std::filesystem::create_directory(folder_);
        path_ = folder_ / "file";
        auto file = CompoundFile::CreateFile(path_, GetParam());
        ASSERT_TRUE(file);
        auto root = file->Root();
        for (const std::size_t size : {100U, 3000U, 5000U, 70000U}) {
            const std::string name = "old" + std::to_string(size);
            ASSERT_EQ(root->CreateStream(std::u16string(name.begin(), name.end()))->Write(Bytes(size, 'o')),
                      Error::kNone);
        }
        ASSERT_TRUE(root->CreateStorage(u"inner")->CreateStream(u"stream"));
        ASSERT_EQ(file->Commit(), Error::kNone);
        root = Error::kNotFound;  // closes
        file = Error::kNotFound;
        original_ = ReadFile();
        before_ = Content();
        after_ = before_;
        after_[u"new"] = Bytes(9000, 'n');
        after_[u"old5000"].insert(after_[u"old5000"].end(), 60000, 'm');
        std::fill_n(after_[u"old70000"].begin() + 6000, 100, 'p');
        after_[u"old3000"].resize(5);
        after_.erase(u"old100");
        after_.erase(u"inner/");
        after_.erase(u"inner/stream");
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    Bytes ReadFile() {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    CompoundContent Content() {
        std::string fault;
        Bytes bytes = ReadFile();  // a killed or failing writer may leave anything after the last commit's end
        bytes.resize(bytes.size() & ~((GetParam() == Version::k3 ? 512U : 4096U) - 1U));
        CompoundContent content = tests::ReadCompound(bytes, fault);
        EXPECT_EQ(fault, "");
        return content;
    }
    void Restore() {
        std::ofstream(path_, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(original_.data()), static_cast<std::streamsize>(original_.size()));
    }

    /// The first error, or none.
    static Error Change(Storage& root) {
        Error first = Error::kNone;
        const auto note = [&](Error error) {
            if (first == Error::kNone) first = error;
            return error == Error::kNone;
        };
        auto made = root.CreateStream(u"new");
        if (note(made.Failure())) note(made->Write(Bytes(9000, 'n')));
        auto longer = root.OpenStream(u"old5000");
        if (note(longer.Failure()) && note(longer->Seek(0, Origin::kEnd).Failure()))
            note(longer->Write(Bytes(60000, 'm')));
        auto patched = root.OpenStream(u"old70000");
        if (note(patched.Failure()) && note(patched->Seek(6000, Origin::kBegin).Failure()))
            note(patched->Write(Bytes(100, 'p')));
        auto shorter = root.OpenStream(u"old3000");
        if (note(shorter.Failure())) note(shorter->SetSize(5));
        note(root.Remove(u"old100"));
        note(root.Remove(u"inner"));
        return first;
    }

    std::filesystem::path folder_;
    std::string path_;
    Bytes original_;
    CompoundContent before_;
    CompoundContent after_;
};

TEST_P(Faults, LoseNothingThatWasCommitted) {
    struct Case {
        Fault fault;
        int times;
        Error error;  // what is told; none when the call is simply made again
    };
    constexpr Case kCases[] = {{Fault::kShort, 1, Error::kNone},           {Fault::kShort, 1000, Error::kNone},
                               {Fault::kInterrupted, 3, Error::kNone},     {Fault::kDiskFull, 1, Error::kDiskFull},
                               {Fault::kDiskFull, 1000, Error::kDiskFull}, {Fault::kBroken, 1, Error::kWriteFault},
                               {Fault::kBroken, 1000, Error::kWriteFault}};
    for (const Case& c : kCases) {
        for (int from = 0;; ++from) {
            SCOPED_TRACE("fault " + std::to_string(static_cast<int>(c.fault)) + " from call " + std::to_string(from) +
                         ", " + std::to_string(c.times) + " times");
            Restore();
            auto store = FaultyStore::Open(path_, c.fault, from, c.times);
            const FaultyStore& faults = *store;
            auto file = CompoundFile::Open(std::move(store), Access::kReadWrite);
            ASSERT_TRUE(file);
            auto root = file->Root();
            const Error change = Change(*root);
            const Error commit = change == Error::kNone ? file->Commit() : change;
            const bool hit = faults.Hits() > 0;
            if (commit != Error::kNone) {
                EXPECT_EQ(commit, c.error);
                // When even the old header cannot be put back, the new one may stand; either is whole.
                const CompoundContent content = Content();
                EXPECT_TRUE(content == before_ || (c.times > 1 && content == after_));
                if (c.times == 1 && change == Error::kNone) {  // nobody refuses the second attempt
                    EXPECT_EQ(file->Commit(), Error::kNone);
                    EXPECT_TRUE(Content() == after_);
                }
            } else {
                EXPECT_TRUE(Content() == after_);
            }
            if (!hit || HasFailure()) break;
            ASSERT_LT(from, 200);
        }
    }
}

/// What a loss of power needs: all is on the disk before the header is, and nothing is overwritten before that is, too.
TEST_P(Faults, FlushBeforeAndAfterTheHeader) {
    auto store = FaultyStore::Open(path_, Fault::kNone, 0, 0);
    const std::string& calls = store->Calls();
    auto file = CompoundFile::Open(std::move(store), Access::kReadWrite);
    auto root = file->Root();
    ASSERT_EQ(Change(*root), Error::kNone);
    ASSERT_EQ(file->Commit(), Error::kNone);
    const std::size_t header = calls.find('h');
    ASSERT_NE(header, calls.npos);
    EXPECT_EQ(calls.substr(header - 1, 3), "fhf") << calls;
    EXPECT_EQ(calls.find('h', header + 1), calls.npos);
    EXPECT_GT(std::count(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(header), 'w'), 3);
}

INSTANTIATE_TEST_SUITE_P(Versions, Faults, testing::Values(Version::k3, Version::k4),
                         [](const auto& version) { return version.param == Version::k3 ? "v3" : "v4"; });

}  // namespace
}  // namespace kestrel::compound
