#include "kestrel/image/DibModule.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <set>

#include "kestrel/image/DibRecord.h"

namespace kestrel {
namespace {

/// All blocks of all modules. `count` lets `DibFree` pass without the lock in programs that have none.
struct Registry {
    std::mutex lock;
    std::set<const Dib*> blocks;
    std::atomic<std::size_t> count{0};
};

Registry& AllBlocks() {
    static auto* registry = new Registry;  // never destroyed: blocks are freed until the very end of the process
    return *registry;
}

}  // namespace

DibModule& DibModule::Main() {
    static DibModule module;
    return module;
}

DibModule::~DibModule() {
    Registry& registry = AllBlocks();
    const std::scoped_lock guard(lock_, registry.lock);
    for (const auto& [name, dib] : records_) {
        registry.blocks.erase(dib);
        std::free(dib);
    }
    registry.count = registry.blocks.size();
}

bool DibModule::Add(const std::string& name, std::span<const std::uint8_t> record) {
    Dib header;
    if (record.size() < sizeof header) return false;
    std::memcpy(&header, record.data(), sizeof header);
    if (header.biSize < sizeof header) return false;
    // The sizes are judged on a copy: the stored record keeps its open fields.
    const std::uint64_t start = TableEnd(&header);
    const std::uint64_t masks = header.biCompression == kDibBitFields ? 12 : 0;
    const std::uint64_t rows = WalkedImageBytes(&header);
    const std::uint64_t image = header.biSizeImage ? header.biSizeImage : rows;
    if (image > record.size() || std::max(start, header.biSize + masks) + image > record.size()) return false;
    if (!SizeIsHonest(header)) return false;

    // Expanded images are walked as whole rows, wherever their size on record ends.
    if (rows > PTRDIFF_MAX - start - masks) return false;
    DibPtr block(AllocateRecord(std::max<std::uint64_t>(record.size(), start + masks + rows)));
    if (!block) return false;
    std::memcpy(static_cast<void*>(block.get()), record.data(), record.size());

    Registry& registry = AllBlocks();
    const std::scoped_lock guard(lock_, registry.lock);
    const auto [place, isNew] = records_.try_emplace(name, nullptr);
    if (!isNew) return false;
    registry.blocks.insert(block.get());
    registry.count = registry.blocks.size();
    place->second = block.release();
    return true;
}

Dib* DibModule::Find(const char* name) const {
    if (!name) return nullptr;
    const std::scoped_lock guard(lock_);
    const auto found = records_.find(std::string_view(name));
    return found == records_.end() ? nullptr : found->second;
}

bool DibModule::Owns(const Dib* dib) {
    Registry& registry = AllBlocks();
    if (registry.count == 0) return false;
    const std::scoped_lock guard(registry.lock);
    return registry.blocks.contains(dib);
}

}  // namespace kestrel
