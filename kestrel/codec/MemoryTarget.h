#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <vector>

namespace kestrel {

/// Lays bytes down at a place of `to`, which grows where it has to; gaps are zeros. False without memory.
inline bool LayBytes(std::vector<std::uint8_t>& to, std::uint64_t at, const void* from, std::size_t count) noexcept {
    try {
        if (at + count > to.size()) to.resize(at + count);
    } catch (const std::exception&) {
        return false;
    }
    if (count > 0) std::memcpy(to.data() + at, from, count);
    return true;
}

/// A file in memory, for libraries that go back in what they have written.
struct MemoryTarget {
    std::vector<std::uint8_t> bytes{};
    std::uint64_t position = 0;

    /// False without memory.
    bool Write(const void* from, std::size_t count) noexcept {
        const bool laid = LayBytes(bytes, position, from, count);
        if (laid) position += count;
        return laid;
    }
    /// Bytes that were there.
    std::size_t Read(void* to, std::size_t count) noexcept {
        const std::uint64_t left = bytes.size() - std::min<std::uint64_t>(position, bytes.size());
        const std::size_t part = static_cast<std::size_t>(std::min<std::uint64_t>(left, count));
        if (part > 0) std::memcpy(to, bytes.data() + position, part);
        position += part;
        return part;
    }
};

}  // namespace kestrel
