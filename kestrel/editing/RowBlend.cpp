#include "kestrel/editing/RowBlend.h"

#include "kestrel/kernels/Composite.h"

namespace kestrel {

void BlendRow(std::uint8_t* dst, const std::uint8_t* src, const std::uint8_t* mask, int n) {
    for (int i = 0; i < 3 * n; ++i) dst[i] = kernels::OverByte(dst[i], src[i], mask[i / 3]);
}

void BlendRowWithMask(std::uint8_t* dst, std::uint8_t* dstMask, const std::uint8_t* src, const std::uint8_t* mask,
                      int n) {
    if (n <= 0) return;
    const auto pixels = static_cast<std::size_t>(n);
    kernels::OverRow({{dst, 3 * pixels}, {dstMask, pixels}}, {{src, 3 * pixels}, {mask, pixels}});
}

}  // namespace kestrel
