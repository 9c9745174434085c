#include "apps/kestrel/BatchJournal.h"

#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "apps/kestrel/Console.h"
#include "kestrel/settings/Folders.h"

namespace {

constexpr std::uint64_t kHashStart = 0xCBF29CE484222325, kHashFactor = 0x100000001B3;  // FNV-1a
constexpr const char* kBegun = "begun";
constexpr const char* kFinished = "finished";

std::uint64_t HashOf(const std::string& text) {
    std::uint64_t hash = kHashStart;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * kHashFactor;
    return hash;
}

/// Tabs and line feeds part the fields of a journal.
std::string Escaped(const std::string& path) {
    std::string escaped;
    for (const char c : path) {
        if (c == '%' || static_cast<unsigned char>(c) < ' ')
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        else
            escaped += c;
    }
    return escaped;
}

/// What changes when a file does. A picture of a box has none: others in its box may have changed.
std::string MarkOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return "-";
    return fmt::format("{}.{}.{}", status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

}  // namespace

BatchJournal::BatchJournal(const std::string& command, bool resumes, bool writes) {
    std::error_code error;
    const std::filesystem::path folder = kestrel::StateFolder();
    std::filesystem::create_directories(folder, error);
    const auto here = std::filesystem::current_path(error).string();
    path_ = (folder / fmt::format("apply-{:016x}.journal", HashOf(here + '\0' + command))).string();
    if (writes) {
        file_.reset(std::fopen(path_.c_str(), "ae"));
        if (!file_ && resumes) throw console::Failure{fmt::format("{}: {} (--resume)", path_, std::strerror(errno))};
        if (file_ && flock(fileno(file_.get()), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            throw console::Failure{"the same run is under way in another process"};
    }
    if (resumes) Read();
}

BatchJournal::~BatchJournal() {
    struct stat status;
    if (file_ && fstat(fileno(file_.get()), &status) == 0 && status.st_size == 0) Remove();  // nothing was begun
}

void BatchJournal::Read() {
    std::ifstream journal(path_);
    for (std::string line; std::getline(journal, line) && !journal.eof();) {  // a line that broke off does not count
        std::istringstream fields(line);
        std::string word, input, output, inputMark, outputMark;
        std::getline(fields, word, '\t');
        std::getline(fields, input, '\t');
        std::getline(fields, output, '\t');
        std::getline(fields, inputMark, '\t');
        std::getline(fields, outputMark, '\t');
        if (word == kBegun) known_.try_emplace({input, output});
        if (word == kFinished) known_[{input, output}] = inputMark + ' ' + outputMark;
    }
}

BatchJournal::Known BatchJournal::Find(const std::string& input, const std::string& output) const {
    const auto found = known_.find({Escaped(input), Escaped(output)});
    if (found == known_.end()) return Known::Nothing;
    return found->second == MarkOf(input) + ' ' + MarkOf(output) ? Known::Finished : Known::Begun;
}

void BatchJournal::Write(const std::string& line) {
    const std::lock_guard lock(guard_);
    if (!file_) return;
    std::fputs(line.c_str(), file_.get());
    if (std::fflush(file_.get()) != 0) file_.reset();
}

void BatchJournal::Begin(const std::string& input, const std::string& output) {
    // The line feed ends a line of an earlier run that broke off.
    Write(fmt::format("\n{}\t{}\t{}\n", kBegun, Escaped(input), Escaped(output)));
}

void BatchJournal::Finish(const std::string& input, const std::string& output) {
    Write(
        fmt::format("{}\t{}\t{}\t{}\t{}\n", kFinished, Escaped(input), Escaped(output), MarkOf(input), MarkOf(output)));
}

void BatchJournal::Remove() {
    const std::lock_guard lock(guard_);
    std::error_code none;
    if (file_) std::filesystem::remove(path_, none);
    file_.reset();
}
