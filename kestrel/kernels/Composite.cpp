#include "kestrel/kernels/Composite.h"

#include <cstddef>

namespace kestrel::kernels {

void OverRow(MaskedRow under, ConstMaskedRow over) {
    std::uint8_t* const pixels = under.pixels.data();
    std::uint8_t* const mask = under.mask.data();
    for (std::size_t x = 0; x < under.mask.size(); ++x)
        OverPixel(pixels + 3 * x, mask[x], over.pixels.data() + 3 * x, over.mask[x]);
}

void PaintInnerRow(MaskedRow row, Bgr board, std::int64_t alpha) {
    for (std::size_t x = 0; x < row.mask.size(); ++x)
        PaintInnerPixel(row.pixels.data() + 3 * x, row.mask[x], board, alpha);
}

}  // namespace kestrel::kernels
