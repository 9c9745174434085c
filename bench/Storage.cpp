// The compound file engine beside plain files: one large stream, many small ones, one out of many. Each writer flushes
// as often as the plain one.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "kestrel/storage/compound/CompoundFile.h"

namespace kestrel::bench {
namespace {

using namespace compound;

constexpr std::size_t kBlock = 1U << 20;

/// A folder that goes away with the program.
struct Folder {
    Folder() : path((std::filesystem::temp_directory_path() / "kestrel-bench-XXXXXX").string()) {
        if (!mkdtemp(path.data())) throw std::runtime_error("no folder for the benchmarks of storages");
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string File(const char* name) const { return path + "/" + name; }

    std::string path;
};

void Require(bool good) {
    if (!good) throw std::runtime_error("a storage could not be written or read");
}

std::u16string Name(int number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

void WritePlain(const std::string& path, std::size_t blocks) {
    const std::vector<std::uint8_t> block(kBlock, 1);
    const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    Require(file >= 0);
    for (std::size_t i = 0; i < blocks; ++i)
        Require(write(file, block.data(), block.size()) == static_cast<ssize_t>(block.size()));
    for (int flushes = 0; flushes < 3; ++flushes) Require(fdatasync(file) == 0);
    close(file);
}

void ReadPlain(const std::string& path, std::size_t blocks) {
    std::vector<std::uint8_t> block(kBlock);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    Require(file >= 0);
    for (std::size_t i = 0; i < blocks; ++i)
        Require(read(file, block.data(), block.size()) == static_cast<ssize_t>(block.size()));
    close(file);
}

/// A store of `count` streams of `blocks` times `block` bytes, in one commit.
void WriteStreams(const std::string& path, int count, std::size_t block, std::size_t blocks) {
    unlink(path.c_str());
    const std::vector<std::uint8_t> bytes(block, 1);
    auto file = CompoundFile::CreateFile(path);
    Require(static_cast<bool>(file));
    auto root = file->Root();
    for (int i = 0; i < count; ++i) {
        auto stream = root->CreateStream(Name(i));
        Require(static_cast<bool>(stream));
        for (std::size_t part = 0; part < blocks; ++part) Require(stream->Write(bytes) == Error::kNone);
    }
    Require(file->Commit() == Error::kNone);
}

void ReadStream(const std::string& path, int number, std::size_t size) {
    std::vector<std::uint8_t> block(kBlock);
    auto file = CompoundFile::OpenFile(path, Access::kRead);
    Require(static_cast<bool>(file));
    auto stream = file->Root()->OpenStream(Name(number));
    Require(static_cast<bool>(stream));
    for (std::size_t done = 0; done < size;) {
        const auto count = stream->Read(block);
        Require(count && *count > 0);
        done += *count;
    }
}

}  // namespace

void AddStorage(Worker& worker) {
    const std::size_t blocks = IsDry() ? 1 : 1024;
    const int some = IsDry() ? 10 : 10000;
    const int many = IsDry() ? 10 : 100000;
    const auto folder = std::make_shared<Folder>();
    const auto add = [&](const char* name, const char* call, std::function<void()> work) {
        worker.Add(std::string("storage/") + name, call, std::move(work));
    };
    add("write 1 GB", "a stream", [=] { WriteStreams(folder->File("large"), 1, kBlock, blocks); });
    add("write 1 GB, plain file", "write", [=] { WritePlain(folder->File("plain"), blocks); });
    add("read 1 GB", "a stream", [=] { ReadStream(folder->File("large"), 0, blocks * kBlock); });
    add("read 1 GB, plain file", "read", [=] { ReadPlain(folder->File("plain"), blocks); });
    add("10,000 streams of 4 KB", "a commit", [=] { WriteStreams(folder->File("some"), some, 4096, 1); });
    add("one of 100,000 streams", "a stream", [=] {
        if (!std::filesystem::exists(folder->File("many"))) WriteStreams(folder->File("many"), many, 4096, 1);
        ReadStream(folder->File("many"), many / 2, 4096);
    });
}

}  // namespace kestrel::bench
