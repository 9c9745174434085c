#include "kestrel/filters/tone/InvertFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {

FilterResult CInvertFilter::MakePixels(const PixelRequest& request) {
    return InPlace(
        request, [inversity = Active().inversity](const kernels::RowPair& row) { kernels::InvertRow(row, inversity); });
}

HRESULT CInvertFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    for (int channel = 0; channel < 3; ++channel)
        pixel[channel] = kernels::InvertByte(pixel[channel], Active().inversity);
    return result;
}

}  // namespace kestrel
