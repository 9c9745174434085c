#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "kestrel/foundation/Export.h"
#include "kestrel/storage/compound/Error.h"

namespace kestrel::compound {

/// Where the bytes of a compound file lie: a file, a block of memory, a blob in the program. Offsets and sizes are in
/// bytes. One thread at a time.
class KESTREL_API ByteStore {
public:
    ByteStore() = default;
    ByteStore(const ByteStore&) = delete;
    ByteStore& operator=(const ByteStore&) = delete;
    virtual ~ByteStore() = default;

    virtual bool Writable() const = 0;
    virtual Result<std::uint64_t> Size() = 0;

    /// Fills `to` from `offset` on. The count is smaller than asked only at the end of the store.
    virtual Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) = 0;

    /// Writes all of `from`; a store that ends before `offset` grows, zeros between. After an error any part of the
    /// range may hold new bytes.
    virtual Error WriteAt(std::uint64_t offset, std::span<const std::uint8_t> from) = 0;

    /// Cuts the store or lets it grow by zeros.
    virtual Error SetSize(std::uint64_t size) = 0;

    /// Returns once all that was written survives a loss of power.
    virtual Error Flush() = 0;
};

}  // namespace kestrel::compound
