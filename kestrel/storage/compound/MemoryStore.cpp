#include "kestrel/storage/compound/MemoryStore.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace kestrel::compound {
namespace {

std::size_t CopyFrom(std::span<const std::uint8_t> bytes, std::uint64_t offset, std::span<std::uint8_t> to) {
    if (offset >= bytes.size()) return 0;
    const auto from = bytes.subspan(static_cast<std::size_t>(offset));
    const std::size_t count = std::min(from.size(), to.size());
    std::copy_n(from.begin(), count, to.begin());
    return count;
}

}  // namespace

Result<std::size_t> MemoryStore::ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) {
    return CopyFrom(*block_, offset, to);
}

Result<std::size_t> BlobStore::ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) {
    return CopyFrom(bytes_, offset, to);
}

Error MemoryStore::SetSize(std::uint64_t size) {
    if (size > block_->max_size()) return Error::kOutOfMemory;
    try {
        block_->resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        return Error::kOutOfMemory;
    }
    return Error::kNone;
}

Error MemoryStore::WriteAt(std::uint64_t offset, std::span<const std::uint8_t> from) {
    const std::uint64_t end = offset + from.size();
    if (end < offset) return Error::kTooLarge;
    if (end > block_->size())
        if (const Error error = SetSize(end); error != Error::kNone) return error;
    std::copy(from.begin(), from.end(), block_->begin() + static_cast<std::ptrdiff_t>(offset));
    return Error::kNone;
}

}  // namespace kestrel::compound
