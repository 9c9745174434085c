#include "kestrel/storage/BuiltInData.h"

extern "C" {
// Weak, so that the tool that packs the data can be linked before there is any.
[[gnu::weak]] extern const std::uint8_t kestrel_built_in_begin[];
[[gnu::weak]] extern const std::uint8_t kestrel_built_in_end[];
}

namespace kestrel {

std::span<const std::uint8_t> BuiltInData() {
    const std::uint8_t* const begin = kestrel_built_in_begin;
    if (!begin) return {};
    return {begin, kestrel_built_in_end};
}

}  // namespace kestrel
