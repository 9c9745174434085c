#include "kestrel/kernels/Composite.h"

#include <cstring>

namespace kestrel::kernels {

void BlendRow(std::uint8_t* dst, const std::uint8_t* src, const std::uint8_t* mask, std::size_t n) {
    for (std::size_t x = 0; x < n; ++x, dst += 3, src += 3) {
        if (mask[x] == 255) continue;
        if (mask[x] == 0)
            std::memcpy(dst, src, 3);
        else
            for (int i = 0; i < 3; ++i) dst[i] = BlendByte(dst[i], src[i], mask[x]);
    }
}

void BlendRowWithMask(std::uint8_t* dst, std::uint8_t* dstMask, const std::uint8_t* src, const std::uint8_t* mask,
                      std::size_t n) {
    for (std::size_t x = 0; x < n; ++x) OverPixel(dst + 3 * x, dstMask[x], src + 3 * x, mask[x]);
}

void PaintInnerRow(std::uint8_t* pixels, std::uint8_t* mask, std::size_t n, Bgr board, std::int64_t alpha) {
    for (std::size_t x = 0; x < n; ++x) PaintInnerPixel(pixels + 3 * x, mask[x], board, alpha);
}

}  // namespace kestrel::kernels
