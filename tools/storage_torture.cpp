// A writer of a compound file is killed at a random system call, again and again: each time the file must hold what the
// last commit made of it, or the one that was under way, byte for byte, and pass the check.
#include <fmt/format.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/FileStore.h"

namespace {

using namespace kestrel::compound;
namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using Content = std::map<std::u16string, Bytes>;

constexpr int kCommits = 4;          // of one writer
constexpr int kChanges = 6;          // between two commits
constexpr unsigned kMaxCalls = 110;  // a kill comes at one of these system calls; a writer makes about as many
constexpr unsigned kNames = 30;
constexpr std::size_t kMaxBytes = 40000;

/// Kills its own process at a system call: before it, after it, or, for a write, half way.
class KillingStore final : public FileStore {
public:
    KillingStore(int descriptor, unsigned calls, unsigned way) : FileStore(descriptor, true), left_(calls), way_(way) {}

    static std::unique_ptr<KillingStore> Open(const std::string& path, unsigned calls, unsigned way) {
        const auto descriptor = OpenLocked(path, Access::kReadWrite);
        return descriptor ? std::make_unique<KillingStore>(*descriptor, calls, way) : nullptr;
    }

private:
    [[noreturn]] static void Die() {
        raise(SIGKILL);
        std::abort();
    }
    template <class System>
    auto Call(const System& system) {
        if (left_ == 0 && way_ == 0) Die();
        const auto result = system();
        if (left_ == 0) Die();
        --left_;
        return result;
    }

protected:
    ssize_t SystemRead(void* to, std::size_t count, off_t offset) override {
        return Call([&] { return FileStore::SystemRead(to, count, offset); });
    }
    ssize_t SystemWrite(const void* from, std::size_t count, off_t offset) override {
        // The header goes out by one call of 512 bytes within one page, which the kernel does not cut in two.
        if (left_ == 0 && way_ == 2 && count > 512) {
            FileStore::SystemWrite(from, count / 2, offset);
            Die();
        }
        return Call([&] { return FileStore::SystemWrite(from, count, offset); });
    }
    int SystemTruncate(off_t size) override {
        return Call([&] { return FileStore::SystemTruncate(size); });
    }
    int SystemFlush() override {
        return Call([&] { return FileStore::SystemFlush(); });
    }

private:
    unsigned left_;
    unsigned way_;
};

/// The changes of one writer; the same seed makes the same changes to the model and to the file.
class Changes {
public:
    explicit Changes(unsigned seed) : random_(seed) {}

    /// Changes the content, and the file when there is one. False when the engine reported an error.
    bool Apply(Content& content, Storage* root) {
        bool good = true;
        for (int i = 0; i < kChanges; ++i) {
            const unsigned number = Random(kNames);
            const std::string digits = std::to_string(number);
            const std::u16string name = u"stream " + std::u16string(digits.begin(), digits.end());
            const bool there = content.count(name) != 0;
            if (there && Random(3) == 0) {
                content.erase(name);
                if (root) good = root->Remove(name) == Error::kNone && good;
                continue;
            }
            Bytes& bytes = content[name];
            const std::size_t at = bytes.empty() ? 0 : Random(static_cast<unsigned>(bytes.size()));
            Bytes piece(Random(2) == 0 ? Random(3000) : Random(kMaxBytes));
            for (auto& byte : piece) byte = static_cast<std::uint8_t>(random_());
            const bool cut = Random(2) == 0;
            if (cut || at + piece.size() > bytes.size()) bytes.resize(at + piece.size());
            std::copy(piece.begin(), piece.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
            if (!root) continue;
            auto stream = there ? root->OpenStream(name) : root->CreateStream(name);
            good = stream && stream->Seek(static_cast<std::int64_t>(at), Origin::kBegin) &&
                   stream->Write(piece) == Error::kNone && stream->SetSize(bytes.size()) == Error::kNone && good;
        }
        return good;
    }

private:
    unsigned Random(std::size_t bound) { return static_cast<unsigned>(random_() % bound); }

    std::mt19937 random_;
};

/// Does not return but by `_exit` or a kill. `commits` is shared with the parent.
void Write(const std::string& path, Content content, unsigned seed, unsigned calls, unsigned way,
           volatile int* commits) {
    auto store = KillingStore::Open(path, calls, way);
    if (!store) _exit(2);
    auto file = CompoundFile::Open(std::move(store), Access::kReadWrite);
    if (!file) _exit(3);
    auto root = file->Root();
    Changes changes(seed);
    for (int i = 0; i < kCommits; ++i) {
        if (!root || !changes.Apply(content, &*root)) _exit(4);
        if (file->Commit() != Error::kNone) _exit(5);
        *commits = i + 1;
    }
    _exit(0);
}

std::string ReadAll(const std::string& path, Content& content) {
    auto file = CompoundFile::OpenFile(path, Access::kRead);
    if (!file) return Text(file.Failure());
    auto root = file->Root();
    const auto elements = root->Elements();
    if (!elements) return Text(elements.Failure());
    for (const ElementInfo& info : *elements) {
        Bytes bytes(info.size);
        auto stream = root->OpenStream(info.name);
        if (!stream) return Text(stream.Failure());
        const auto count = stream->Read(bytes);
        if (!count) return Text(count.Failure());
        content[info.name] = std::move(bytes);
    }
    return "";
}

std::string CheckFile(const std::string& path) {
    const auto store = FileStore::Open(path, Access::kRead);
    if (!store) return Text(store.Failure());
    const auto report = Check(**store);
    if (!report) return Text(report.Failure());
    return report->Clean() ? "" : report->findings[0].text;
}

struct Totals {
    int kills = 0;
    int complete = 0;  // writers that were done before their kill
    int under = 0;     // kills whose commit was true already, though the writer had not learnt of it
    int bad = 0;
};

/// One writer after the other works on the same file until that many were killed.
Totals Run(const std::string& path, Version version, int kills, volatile int* commits) {
    Totals totals;
    if (!CompoundFile::CreateFile(path, version)) return {.bad = 1};
    Content content;
    std::mt19937 random(static_cast<unsigned>(version));
    while (totals.kills < kills && totals.bad == 0) {
        const auto seed = static_cast<unsigned>(random());
        const auto calls = static_cast<unsigned>(random() % kMaxCalls);
        const auto way = static_cast<unsigned>(random() % 3);
        *commits = 0;
        const pid_t child = fork();
        if (child == 0) Write(path, content, seed, calls, way, commits);
        int status = 0;
        waitpid(child, &status, 0);
        const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        totals.kills += killed;
        totals.complete += !killed;
        std::string wrong = killed || status == 0 ? CheckFile(path) : fmt::format("the writer ended with {}", status);

        Changes changes(seed);
        for (int i = 0; i < *commits; ++i) changes.Apply(content, nullptr);
        Content next = content;
        if (*commits < kCommits) changes.Apply(next, nullptr);
        Content found;
        if (wrong.empty()) wrong = ReadAll(path, found);
        if (wrong.empty() && found != content) {
            if (found == next)
                ++totals.under;
            else
                wrong = "a content that nobody committed";
            content = std::move(found);
        }
        if (wrong.empty()) continue;
        ++totals.bad;
        fmt::print("BAD   after {} kills (seed {}, call {}): {}\n", totals.kills, seed, calls, wrong);
    }
    return totals;
}

}  // namespace

int main(int count, char** arguments) {
    const int kills = count > 1 ? std::atoi(arguments[1]) : 3000;
    std::string folder = (fs::temp_directory_path() / "kestrel-kills-XXXXXX").string();
    if (kills < 2 || !mkdtemp(folder.data())) return 1;
    void* shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return 1;
    bool failed = false;
    for (const Version version : {Version::k3, Version::k4}) {
        const std::string path = fs::path(folder) / "store";
        const Totals totals = Run(path, version, kills / 2, static_cast<volatile int*>(shared));
        fmt::print("{}  version {}: {} writers killed, {} of them after their commit was true, {} ended before\n",
                   totals.bad == 0 ? "good" : "BAD ", static_cast<int>(version), totals.kills, totals.under,
                   totals.complete);
        std::error_code ignored;
        fs::remove(path, ignored);
        failed = failed || totals.bad > 0;
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return failed ? 1 : 0;
}
