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

HRESULT CInvertMaskFilter::TransformWindow(const Window& window) {
    if (IsStale()) {
        EnsureWorkImages(0, 0, m_InActive.Width, m_InActive.Height);
        HRESULT result = m_Cache ? FetchWhole(*m_Cache) : S_OK;
        for (int y = m_InActive.Height - 1; y >= 0 && result == S_OK; --y) {
            if (Aborted()) result = kNotDone;
            for (int x = 0; x < m_InActive.Width && result == S_OK; ++x)
                Rule(m_Cache->Rows()[y] + std::ptrdiff_t{x} * 3, m_Cache->MaskRows()[y][x], Active());
        }
        if (result != S_OK) {
            m_Dirty = true;  // a cache that is half made must not look clean
            return result;
        }
    }
    return Deliver(window);
}

HRESULT CInvertMaskFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    Rule(pixel, pixel[3], Active());
    return result;
}

}  // namespace kestrel
