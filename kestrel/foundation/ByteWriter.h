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

private:
    std::FILE* file_ = nullptr;
    std::vector<std::uint8_t>* bytes_ = nullptr;
    int error_ = 0;
};

}  // namespace kestrel
