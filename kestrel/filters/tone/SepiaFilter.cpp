#include "kestrel/filters/tone/SepiaFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CSepiaFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [keep = Active().keep](const kernels::RowPair& row) { kernels::SepiaRow(row, keep); });
}

HRESULT CSepiaFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::Store(pixel, kernels::SepiaPixel(kernels::Load(pixel), Active().keep));
    return result;
}

}  // namespace kestrel
