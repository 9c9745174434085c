#include "kestrel/kernels/Composite.h"

#include <algorithm>
#include <cstddef>

namespace kestrel::kernels {

void OverRow(MaskedRow under, ConstMaskedRow over) {
    std::uint8_t* const pixels = under.pixels.data();
    std::uint8_t* const mask = under.mask.data();
    for (std::size_t x = 0; x < under.mask.size(); ++x)
        OverPixel(pixels + 3 * x, mask[x], over.pixels.data() + 3 * x, over.mask[x]);
}

namespace {

template <class Number>
void PaintRow(MaskedRow row, Bgr board, Number alpha) {
    constexpr std::size_t kRun = 16;
    const std::size_t size = row.mask.size();
    std::uint8_t* const mask = row.mask.data();
    for (std::size_t x = 0; x < size;) {
        const std::size_t end = std::min(x + kRun, size);
        // Most pixels of most pictures are opaque and stay as they are.
        unsigned hidden = 0;
        for (std::size_t i = x; i < end; ++i) hidden |= mask[i];
        if (hidden == 0) x = end;
        for (; x < end; ++x) PaintInnerPixel(row.pixels.data() + 3 * x, mask[x], board, alpha);
    }
}

}  // namespace

void PaintInnerRow(MaskedRow row, Bgr board, std::int64_t alpha) {
    if (alpha > 254) return;
    if (alpha >= 0)
        PaintRow(row, board, static_cast<std::int32_t>(alpha));
    else
        PaintRow(row, board, alpha);
}

}  // namespace kestrel::kernels
