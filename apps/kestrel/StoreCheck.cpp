#include "apps/kestrel/StoreCheck.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Stores.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/FileStore.h"

using namespace kestrel;

namespace {

/// What a folder tree needs to be whole: everything can be read to its end.
std::vector<std::string> CheckTree(IQvStorage& store, StoreReport& report) {
    std::vector<std::string> problems;
    std::uint64_t storages = 0, streams = 0;
    const std::unique_ptr<char[]> buffer(new char[kStoreChunk]);
    for (const StoreElement& element : StoreElements(store, "", true)) {
        ++(element.isStorage ? storages : streams);
        std::string problem = element.problem;
        try {
            const QvStreamPtr stream =
                element.isStorage || !problem.empty() ? nullptr : store.OpenStream(element.path.c_str(), kStorageRead);
            while (stream && stream->Read(buffer.get(), kStoreChunk) > 0) continue;
        } catch (const StorageFileException& error) {
            problem = error.OneLine();
        }
        if (!problem.empty()) problems.push_back(element.path + ": " + problem);
    }
    report.numbers = {{"storages", storages}, {"streams", streams}};
    return problems;
}

std::unique_ptr<compound::FileStore> OpenFile(const std::string& path) {
    auto file = compound::FileStore::Open(SystemPath(path), compound::Access::kRead);
    if (!file) FailStore(path, compound::Text(file.Failure()));
    return *std::move(file);
}

/// Prints findings as lines; returns how many of them are damage. The others put nothing at risk.
std::size_t Describe(const std::vector<compound::Finding>& findings, std::vector<std::string>& lines) {
    std::size_t damaged = 0;
    for (const compound::Finding& finding : findings) {
        const bool isDamage = finding.severity == compound::Severity::kDamaged;
        damaged += isDamage;
        lines.push_back((isDamage ? "damaged: " : "untidy: ") + finding.text);
    }
    return damaged;
}

void PrintReport(const StoreCheckOptions& options, const StoreReport& report) {
    if (options.json) return console::Print(ReportAsJson(report));
    for (const std::string& problem : report.problems) console::Print(Shown(problem) + '\n');
    for (const auto& [key, number] : report.numbers) console::Print(fmt::format("{:>12}  {}\n", number, key));
}

}  // namespace

int CheckStore(const StoreCheckOptions& options) {
    StoreReport report;
    std::size_t damaged = 0;
    if (LayoutOf(options.store) == Layout::Compound) {
        const auto file = OpenFile(options.store);
        const auto checked = compound::Check(*file);
        if (!checked) FailStore(options.store, compound::Text(checked.Failure()));
        damaged = Describe(checked->findings, report.problems) + (checked->findings.empty() ? 0 : checked->more);
        report.numbers = {{"storages", checked->storages},        {"streams", checked->streams},
                          {"sectors", checked->sectors},          {"free sectors", checked->freeSectors},
                          {"lost sectors", checked->lostSectors}, {"further problems", checked->more}};
    } else {
        report.problems = CheckTree(*OpenStore(options.store, kStorageRead), report);
        damaged = report.problems.size();
    }
    PrintReport(options, report);
    if (damaged > 0)
        FailStore(options.store, fmt::format("it is damaged, in {} place{}", damaged, damaged == 1 ? "" : "s"));
    return console::kDone;
}

namespace {

/// A file of another name beside the target, which becomes the target at the end or goes away.
class NewFile {
public:
    explicit NewFile(const std::string& path) : path_(path), beside_(fmt::format("{}.{}.part", path, getpid())) {}
    ~NewFile() { unlink(beside_.c_str()); }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    std::unique_ptr<compound::ByteStore> Store() const {
        if (access(path_.c_str(), F_OK) == 0) FailStore(path_, "there is such a file already; repair writes a new one");
        auto file = compound::FileStore::CreateNew(beside_, {});
        if (!file) FailStore(beside_, compound::Text(file.Failure()));
        return *std::move(file);
    }
    void Appear() const {
        if (link(beside_.c_str(), path_.c_str()) != 0) FailStore(path_, std::strerror(errno));
    }

private:
    std::string path_;
    std::string beside_;
};

}  // namespace

int RepairStore(const StoreCheckOptions& options) {
    if (const Layout layout = LayoutOf(options.store); layout == Layout::Tree || layout == Layout::Folder)
        FailStore(options.store, "a folder tree needs no repair; \"copy\" takes what can be read");
    const auto damaged = OpenFile(options.store);
    const NewFile target(SystemPath(options.target));
    const auto repaired = compound::Repair(*damaged, target.Store());
    if (!repaired) FailStore(options.store, compound::Text(repaired.Failure()));
    target.Appear();
    StoreReport report;
    Describe(repaired->findings, report.problems);
    report.numbers = {{"streams", repaired->streams}, {"streams in part", repaired->partial}};
    PrintReport(options, report);
    if (report.problems.empty()) return console::kDone;
    console::Warning(fmt::format("store: {}: not everything could be saved; \"{}\" holds what could", options.store,
                                 options.target));
    return console::kDamagedInput;
}
