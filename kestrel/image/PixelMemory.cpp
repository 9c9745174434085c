#include "kestrel/image/PixelMemory.h"

#include <sys/mman.h>

#include <cstdlib>

namespace kestrel {
namespace {

/// Smaller blocks would waste most of the huge page at either end.
constexpr std::uint64_t kLargeBlock = std::uint64_t{4} << 20;
constexpr std::uintptr_t kPage = 4096;

void* AskForHugePages(void* block, std::uint64_t bytes) {
#ifdef MADV_HUGEPAGE
    if (block && bytes >= kLargeBlock) {
        const auto start = reinterpret_cast<std::uintptr_t>(block);
        const std::uintptr_t first = (start + kPage - 1) & ~(kPage - 1);
        const std::uintptr_t end = (start + bytes) & ~(kPage - 1);
        // Refused by a system without them, which is as good.
        static_cast<void>(madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
    }
#endif
    return block;
}

}  // namespace

void* AllocatePixels(std::uint64_t bytes) {
    return bytes > PTRDIFF_MAX ? nullptr : AskForHugePages(std::malloc(bytes), bytes);
}

void* AllocateZeroPixels(std::uint64_t bytes) {
    return bytes > PTRDIFF_MAX ? nullptr : AskForHugePages(std::calloc(1, bytes), bytes);
}

}  // namespace kestrel
