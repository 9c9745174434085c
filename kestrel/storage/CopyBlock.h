#pragma once
#include <cstddef>

namespace kestrel {

/// Bytes that a copy holds at a time.
inline constexpr std::size_t kCopyBlock = 1 << 20;

}  // namespace kestrel
