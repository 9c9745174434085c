#pragma once
#include <cstdint>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"
#include "kestrel/image/Surface.h"

namespace kestrel {

// A mask has two forms with opposite values. The array holds alpha (255 visible, 0 nothing), lines from the top, no
// padding. The mask block is an 8-bit DIB of transparency (0 visible, 255 nothing); its colour table means nothing.

/// New mask block, or null: for a null array, without memory, and when no pixel is partly visible. A mask of the values
/// 0 and 255 alone therefore counts as none.
KESTREL_API Dib* ConvertMaskArrayToDib(const std::uint8_t* array, int width, int height);
/// New array of width times height bytes, freed with `std::free`; null for null and for blocks that are not 8-bit.
KESTREL_API std::uint8_t* ConvertMaskDibToArray(const Dib* dib);

/// Composes a 24-bit image with its mask (null: visible everywhere) over an area of the surface. The picture's row 0,
/// its bottom row, lands on the second line of the area from below: the lowest line of the area stays as it was, and
/// height - 1 rows are drawn. `sourceX` is the first column taken; `sourceY` has no effect. With `noBlending` partly
/// visible pixels are left out. Where image or mask have no pixel the surface stays.
KESTREL_API void DIBDrawWithMask(Surface& surface, const Dib* image, const Dib* mask, int x, int y, int width,
                                 int height, int sourceX, int sourceY, bool noBlending);

}  // namespace kestrel
