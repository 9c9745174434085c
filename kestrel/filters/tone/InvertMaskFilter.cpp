#include "kestrel/filters/tone/InvertMaskFilter.h"

#include <algorithm>

namespace kestrel {
namespace {

/// Works one pixel and its mask byte in place.
void Rule(std::uint8_t* pixel, std::uint8_t& mask, const InvertMaskParameters& p) {
    const std::int64_t shown = 255 - mask;
    const std::int64_t hidden = mask;
    const std::int64_t stays = 100 - std::int64_t{p.transparency};
    const std::int64_t turns = p.transparency;
    const std::int64_t a = shown * stays;
    const std::int64_t b = hidden * turns;
    if (a + b == 0) {
        mask = 255;
        return;
    }
    pixel[0] = static_cast<std::uint8_t>((pixel[0] * a + p.blue * b) / (a + b));
    pixel[1] = static_cast<std::uint8_t>((pixel[1] * a + p.green * b) / (a + b));
    pixel[2] = static_cast<std::uint8_t>((pixel[2] * a + p.red * b) / (a + b));
    mask = static_cast<std::uint8_t>((hidden * stays + shown * turns) / 100);
}

}  // namespace

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
    return WalkRows(CachedPixels(m_InActive.Width, FetchedRows()),
                    [this](std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
                        for (std::size_t x = 0; x < mask.size(); ++x) Rule(&pixels[3 * x], mask[x], Active());
                    });
}

HRESULT CInvertMaskFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    Rule(pixel, pixel[3], Active());
    return result;
}

}  // namespace kestrel
