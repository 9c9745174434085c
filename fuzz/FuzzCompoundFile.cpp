// Any bytes as a compound file: it is checked, walked and read, changed where that is allowed, and repaired.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"

using namespace kestrel::compound;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxRead = 1 << 16;

void Require(bool good) {
    if (!good) std::abort();
}

void Walk(CompoundFile& file) {
    std::vector<Storage> open;
    if (auto root = file.Root()) open.push_back(std::move(*root));
    while (!open.empty()) {
        Storage storage = std::move(open.back());
        open.pop_back();
        const auto elements = storage.Elements();
        if (!elements) continue;
        for (const ElementInfo& info : *elements) {
            if (auto stream = storage.OpenStream(info.name)) {
                Bytes bytes(kMaxRead);
                const auto count = stream->Read(bytes);
                Require(!count || *count <= *stream->Size());
            } else if (auto inner = storage.OpenStorage(info.name)) {
                open.push_back(std::move(*inner));
            }
        }
    }
}

/// What was changed is there after opening again; what is clean stays clean.
void Change(const MemoryStore::Block& block) {
    MemoryStore store(block);
    const auto before = Check(store);
    {
        auto file = CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kReadWrite);
        if (!file) return;
        auto root = file->Root();
        if (!root) return;
        const auto elements = root->Elements();
        if (elements && !elements->empty() && root->Remove(elements->front().name) != Error::kNone) return;
        auto stream = root->CreateStream(u"fuzz");
        if (!stream || stream->Write(Bytes(5000, 1)) != Error::kNone || stream->SetSize(70) != Error::kNone) return;
        if (file->Commit() != Error::kNone) return;
    }
    auto file = CompoundFile::Open(std::make_unique<MemoryStore>(block), Access::kRead);
    Require(static_cast<bool>(file));
    Require(file->Root()->Find(u"fuzz")->size == 70);
    const auto after = Check(store);
    Require(before && after && (!before->Clean() || after->Clean()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    BlobStore blob(bytes);
    const auto report = Check(blob);
    if (auto file = CompoundFile::Open(std::make_unique<BlobStore>(bytes), Access::kRead)) Walk(*file);
    if (!report) return 0;

    const auto repaired = std::make_shared<Bytes>();
    if (Repair(blob, std::make_unique<MemoryStore>(repaired))) {
        MemoryStore store(repaired);
        const auto again = Check(store);
        Require(again && again->Clean());
    }
    Change(std::make_shared<Bytes>(data, data + size));
    return 0;
}
