#pragma once
#include <cstdint>
#include <cstdio>
#include <span>

namespace kestrel {

/// Bytes in sequence, from an open seekable file or from memory; owns neither. Positions count from the start of the
/// file or of the memory. Sizes are known before anything is read, so that no reader has to believe what a file says.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::uint8_t> bytes) : bytes_(bytes), size_(bytes.size()) {}
    /// Begins at the file's position. A file that is null or cannot seek counts as empty.
    explicit ByteReader(std::FILE* file);

    std::uint64_t Size() const { return size_; }
    std::uint64_t Position() const { return position_; }
    std::uint64_t Left() const { return size_ - position_; }

    /// Bytes that were read: fewer than asked at the end or after an error.
    std::size_t Read(void* to, std::size_t count);
    /// False, and no move, when the position lies past the end.
    bool Seek(std::uint64_t position);

private:
    std::FILE* file_ = nullptr;
    std::span<const std::uint8_t> bytes_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

}  // namespace kestrel
