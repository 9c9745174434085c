#include "kestrel/filters/tone/BlackWhitenessFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CBlackWhitenessFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [percent = Active().blackWhiteness](const kernels::RowPair& row) {
        kernels::BlackWhiteRow(row, percent);
    });
}

HRESULT CBlackWhitenessFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, kernels::BlackWhitePixel(kernels::Load(pixel), Active().blackWhiteness));
    return result;
}

}  // namespace kestrel
