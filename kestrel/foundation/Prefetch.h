#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrel {

/// Bytes that the machine gets from memory at once.
inline constexpr std::size_t kCacheLine = 64;

/// Ask for bytes before they are used: worth it where the next ones are too far away for the machine to guess. To GCC a
/// function that only does this has no effect, and its calls are removed; the empty statement is one that it keeps.
inline void PrefetchToRead(std::span<const std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += kCacheLine) __builtin_prefetch(bytes.data() + i);
    asm volatile("");
}
inline void PrefetchToWrite(std::span<const std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += kCacheLine) __builtin_prefetch(bytes.data() + i, 1);
    asm volatile("");
}

}  // namespace kestrel
