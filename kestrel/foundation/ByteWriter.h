#pragma once
#include <cstdint>
#include <cstdio>
#include <vector>

namespace kestrel {

/// Bytes in sequence into an open file or a vector; owns neither. After a failure nothing more is written.
class ByteWriter {
public:
    explicit ByteWriter(std::FILE* file) : file_(file) {}
    explicit ByteWriter(std::vector<std::uint8_t>& bytes) : bytes_(&bytes) {}

    /// False, and `errno` says why, when not all was written.
    bool Write(const void* from, std::size_t count) noexcept;
    /// Whether written bytes can be replaced: not in a pipe, and not in a file that is open for appending.
    bool CanReplace() const noexcept;
    /// Makes room for bytes that `Replace` is to write; only where it can. False likewise.
    bool Reserve(std::uint64_t count) noexcept;
    /// Replaces bytes, `position` counts from the first that was written. False likewise.
    bool Replace(std::uint64_t position, const void* from, std::size_t count) noexcept;

private:
    /// Keeps the error that `errno` tells.
    void Fail() noexcept;

    std::FILE* file_ = nullptr;
    std::vector<std::uint8_t>* bytes_ = nullptr;
    std::uint64_t written_ = 0;
    int error_ = 0;
};

}  // namespace kestrel
