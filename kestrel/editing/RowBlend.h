#pragma once
#include <cstdint>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Lay `n` pixels of `src` (blue, green, red) over those of `dst` by a mask byte for each: 0 copies the pixel, 255
/// leaves it. Divisions cut toward zero. The rows are the caller's and do not overlap.

KESTREL_API void BlendRow(std::uint8_t* dst, const std::uint8_t* src, const std::uint8_t* mask, int n);
/// The same over pixels that have a mask of their own, which becomes that of the result.
KESTREL_API void BlendRowWithMask(std::uint8_t* dst, std::uint8_t* dstMask, const std::uint8_t* src,
                                  const std::uint8_t* mask, int n);

}  // namespace kestrel
