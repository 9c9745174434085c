#include "kestrel/filters/tone/InvertMaskFilter.h"

#include <algorithm>

#include "kestrel/kernels/Composite.h"

namespace kestrel {
HRESULT CInvertMaskFilter::CommitChanges() {
    TwinFilter::CommitChanges();
    // The cache holds the whole frame. For a picture with an offset this leaves the accepted geometry unlike the
    // pending one, so that each update counts as a change.
    m_InActive.Width = m_InActive.FullWidth = std::max(m_InPending.Width, m_InPending.FullWidth);
    m_InActive.Height = m_InActive.FullHeight = std::max(m_InPending.Height, m_InPending.FullHeight);
    m_InActive.OffsetX = m_InActive.OffsetY = 0;
    return S_OK;
}

FilterResult CInvertMaskFilter::MakePixels(const PixelRequest& request) {
    return CachedWhole(request, [this] { return InvertCache(); });
}

FilterResult CInvertMaskFilter::InvertCache() {
    if (const FilterResult result = FetchIntoCache(); result.Failed()) return result;
    return WalkRows(CachedPixels(m_InActive.Width, FetchedRows().count),
                    [this](std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
                        kernels::InvertMaskRow({pixels, mask}, Active().Color(), Active().transparency);
                    });
}

HRESULT CInvertMaskFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::InvertMaskPixel(pixel, pixel[3], Active().Color(), Active().transparency);
    return result;
}

}  // namespace kestrel
