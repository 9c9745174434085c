#include "kestrel/filters/tone/TransparencyFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CTransparencyFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [keep = Active().keep](int, const kernels::RowPair& pixels, std::span<std::uint8_t> mask) {
        kernels::CopyRow(pixels);
        kernels::TransparencyRow(mask, keep);
    });
}

HRESULT CTransparencyFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    pixel[3] = kernels::TransparencyByte(pixel[3], Active().keep);
    return result;
}

}  // namespace kestrel
