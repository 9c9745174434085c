#include "kestrel/filters/tone/TransparencyFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CTransparencyFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [keep = Active().keep](std::span<std::uint8_t>, std::span<std::uint8_t> mask) {
        kernels::TransparencyRow(mask, keep);
    });
}

HRESULT CTransparencyFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    pixel[3] = kernels::TransparencyByte(pixel[3], Active().keep);
    return result;
}

}  // namespace kestrel
