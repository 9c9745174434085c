#include "kestrel/filters/tone/RGBColorFilter.h"

#include "kestrel/kernels/ColourRows.h"

namespace kestrel {
namespace {

kernels::ColourShift Shift(const RGBColorParameters& p) {
    const auto bytes = [](std::int64_t percent) { return percent * 255 / 100; };
    return {bytes(p.blue), bytes(p.green), bytes(p.red)};
}

}  // namespace

FilterResult CRGBColorFilter::MakePixels(const PixelRequest& request) {
    return InPlace(request, [shift = Shift(Active())](const kernels::RowPair& row) { kernels::ShiftRow(row, shift); });
}

HRESULT CRGBColorFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    // Pending on purpose: a single colour shows what a slider is about to do.
    kernels::Store(pixel, kernels::ShiftPixel(kernels::Load(pixel), Shift(Pending())));
    return result;
}

}  // namespace kestrel
