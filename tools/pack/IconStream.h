#pragma once
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel {

/// A drawing as a picture box stores a picture with its mask and without an encoded image: a header of ten bytes, then
/// deflated a position, a 24-bit record and an 8-bit mask record. `pixels` are `side` rows of `side` from the top,
/// 0xAARRGGBB with the colors multiplied by alpha. Throws `std::bad_alloc`.
std::vector<std::uint8_t> IconStream(std::span<const std::uint32_t> pixels, int side);

}  // namespace kestrel
