#pragma once
#include <memory>
#include <span>
#include <vector>

#include "kestrel/storage/compound/ByteStore.h"

namespace kestrel::compound {

/// A block of memory that grows as needed. The block is shared, so that its owner can take the bytes once the compound
/// file over it is closed.
class KESTREL_API MemoryStore final : public ByteStore {
public:
    using Block = std::shared_ptr<std::vector<std::uint8_t>>;
    MemoryStore() : block_(std::make_shared<std::vector<std::uint8_t>>()) {}
    explicit MemoryStore(Block block) : block_(std::move(block)) {}

    const Block& Bytes() const { return block_; }

    bool Writable() const override { return true; }
    Result<std::uint64_t> Size() override { return block_->size(); }
    Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) override;
    Error WriteAt(std::uint64_t offset, std::span<const std::uint8_t> from) override;
    Error SetSize(std::uint64_t size) override;
    Error Flush() override { return Error::kNone; }

private:
    Block block_;
};

/// Bytes that somebody else owns and that outlive the store; they are only read.
class KESTREL_API BlobStore final : public ByteStore {
public:
    explicit BlobStore(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    bool Writable() const override { return false; }
    Result<std::uint64_t> Size() override { return bytes_.size(); }
    Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) override;
    Error WriteAt(std::uint64_t, std::span<const std::uint8_t>) override { return Error::kAccessDenied; }
    Error SetSize(std::uint64_t) override { return Error::kAccessDenied; }
    Error Flush() override { return Error::kNone; }

private:
    std::span<const std::uint8_t> bytes_;
};

}  // namespace kestrel::compound
